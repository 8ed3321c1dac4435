#!/usr/bin/env bash
source "$(dirname "$0")/lib.sh"
export LC_ALL=C; unset LANGUAGE LC_NUMERIC LANG
nbsp=$'\xc2\xa0'

# 5 + 1000 bytes of files, an empty file, and a link whose own length counts,
# not its target's: 5 + 1000 + 0 + 11 ("/etc/passwd"). Shown as file sizes,
# in bytes with --json.
mkdir -p "$tmp/tree/a/b" "$tmp/tree/empty"
printf 12345 >"$tmp/tree/a/b/five"
head -c 1000 /dev/zero >"$tmp/tree/a/thousand"
: >"$tmp/tree/a/zero"
ln -s /etc/passwd "$tmp/tree/link"

out=$(check_stdout "size" 0 "$kqu" size "$tmp/tree" "$tmp/tree/a/b/five" "$tmp/tree/empty" "$tmp/tree/link")
expected=$(printf '1016 bytes\t%s\n5 bytes\t%s\n0 bytes\t%s\n11 bytes\t%s' \
    "$tmp/tree" "$tmp/tree/a/b/five" "$tmp/tree/empty" "$tmp/tree/link")
expected=${expected// /$nbsp}
[ "$out" = "$expected" ] || fail "size printed: $out"

json=$(check_stdout "size --json" 0 "$kqu" size --json "$tmp/tree" "$tmp/tree/a/b/five")
expect_json "size --json" "$json" \
    "d == {'sizes': [{'path': '$tmp/tree', 'bytes': 1016}, {'path': '$tmp/tree/a/b/five', 'bytes': 5}]}"

# A missing path is named and fails the run, but the others are still measured.
out=$(check_stdout "size with a missing path" 2 "$kqu" size "$tmp/missing" "$tmp/tree/a/b/five")
[ "$out" = "$(printf '5%sbytes\t%s' "$nbsp" "$tmp/tree/a/b/five")" ] || fail "size with a missing path printed: $out"
expect_contains "size with a missing path" "$(cat "$tmp/stderr")" "cannot read $tmp/missing"
json=$(check_stdout "size --json with a missing path" 2 "$kqu" size --json "$tmp/missing")
expect_json "size --json with a missing path" "$json" "d == {'sizes': []}"

head -c 1536 /dev/zero >"$tmp/kilobytes"
out=$(check_stdout "size in German" 0 env -u LC_ALL LANG=de_DE.UTF-8 "$kqu" size "$tmp/kilobytes")
[ "$out" = "$(printf '1,5%sKB\t%s' "$nbsp" "$tmp/kilobytes")" ] || fail "size in German printed: $out"

check "size without a path" 1 "$kqu" size >/dev/null
finish
