#!/usr/bin/env bash
# kqu gzip and gunzip against gzip(1) and zcat.
source "$(dirname "$0")/lib.sh"

# to_file DESCRIPTION EXPECTED_STATUS OUTPUT_FILE COMMAND...: as check, with
# the (binary) stdout going to OUTPUT_FILE and only stderr printed.
to_file() {
    local description="$1" expected="$2" output="$3"; shift 3
    "$@" >"$output" 2>"$tmp/stderr"; local status=$?
    [ "$status" = "$expected" ] || fail "$description: exit $status, expected $expected"
    cat "$tmp/stderr"
}

python3 -c "import random; random.seed(3); open('$tmp/random', 'wb').write(random.randbytes(300000))"
seq 1 200000 >"$tmp/text"
: >"$tmp/empty"
for f in random text; do
    for level in "" "--level 0" "--level 1"; do
        # shellcheck disable=SC2086
        to_file "gzip $f $level" 0 "$tmp/$f.gz" "$kqu" gzip $level "$tmp/$f" >/dev/null
        cmp -s <(zcat "$tmp/$f.gz") "$tmp/$f" || fail "zcat of kqu gzip $level $f"
    done
    gzip -c "$tmp/$f" >"$tmp/$f.ref.gz"
    cmp -s <("$kqu" gunzip "$tmp/$f.ref.gz") "$tmp/$f" || fail "kqu gunzip of gzip(1) output for $f"
    cmp -s <("$kqu" gunzip - <"$tmp/$f.ref.gz") "$tmp/$f" || fail "kqu gunzip from standard input for $f"
done
[ "$("$kqu" gzip --level 0 "$tmp/random" | wc -c)" -gt 300000 ] || fail "level 0 stores"
[ "$("$kqu" gzip --level 1 "$tmp/text" | wc -c)" -lt "$("$kqu" gzip --level 0.1 "$tmp/text" | wc -c)" ] \
    || fail "level 1 beats level 0.1"

# Unchanged: empty input, gzip into gzip, gunzip of something else.
[ "$("$kqu" gzip "$tmp/empty" | wc -c)" = 0 ] || fail "gzip of empty input"
out=$(to_file "gzip of gzip" 0 "$tmp/twice.gz" "$kqu" gzip "$tmp/text.ref.gz")
expect_contains "gzip of gzip" "$out" "already gzip data"
cmp -s "$tmp/twice.gz" "$tmp/text.ref.gz" || fail "gzip of gzip is unchanged"
out=$(to_file "gunzip of text" 0 "$tmp/same" "$kqu" gunzip "$tmp/text")
expect_contains "gunzip of text" "$out" "not gzip data"
cmp -s "$tmp/same" "$tmp/text" || fail "gunzip of text is unchanged"

# A truncated stream: what was decompressed is still written, with status 2.
head -c 20000 "$tmp/text.ref.gz" >"$tmp/cut.gz"
out=$(to_file "gunzip of a truncated file" 2 "$tmp/cut.out" "$kqu" gunzip "$tmp/cut.gz")
expect_contains "gunzip of a truncated file" "$out" "damaged, truncated"
cmp -s <(tr -d '\0' <"$tmp/cut.out") <(head -c "$(tr -d '\0' <"$tmp/cut.out" | wc -c)" "$tmp/text") \
    || fail "truncated output starts with the text"

out=$(to_file "gzip of a folder" 2 /dev/null "$kqu" gzip "$tmp")
expect_contains "gzip of a folder" "$out" "a folder, not a file"
out=$(check "gunzip of a missing file" 2 "$kqu" gunzip "$tmp/missing")
expect_contains "gunzip of a missing file" "$out" "No such file"
check "gzip level out of range" 1 "$kqu" gzip --level 1.5 "$tmp/text" >/dev/null
finish
