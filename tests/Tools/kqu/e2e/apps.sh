#!/usr/bin/env bash
source "$(dirname "$0")/lib.sh"

sorted() { sort <<<"$1"; }

out=$(check_stdout "apps on the sample" 0 "$kqu" apps --root "$sample")
expected=$(printf '%s\n' "$sample/Applications/Quill.app" "$sample/Applications/Tally.app" \
                         "$sample/Users/alex/Applications/Sketchbook.app")
[ "$(sorted "$out")" = "$expected" ] || fail "apps on the sample printed: $out"
[ -s "$tmp/stderr" ] && fail "apps on a Mac tree warned: $(cat "$tmp/stderr")"

json=$(check_stdout "apps --json" 0 "$kqu" apps --root "$sample" --json)
expect_json "apps --json lists what the text lists" "$json" \
    "sorted(d['applications']) == '''$expected'''.split('\n') and list(d) == ['applications']"

# Without the system folders and the profiler (never asked with --root) nothing is left to find.
out=$(check_stdout "apps --skip-system-directories" 0 "$kqu" apps --root "$sample" --skip-system-directories)
[ -z "$out" ] || fail "apps --skip-system-directories printed: $out"

# Applications inside an application, and on a user's Desktop.
mkdir -p "$tmp/mac/Applications/Big.app/Contents/Helpers/Child.app/Contents" \
         "$tmp/mac/Users/ann/Desktop/Loose.app/Contents" "$tmp/mac/Users/ann/Library"
out=$(check_stdout "apps with a child application" 0 "$kqu" apps --root "$tmp/mac")
expected=$(printf '%s\n' "$tmp/mac/Applications/Big.app" "$tmp/mac/Applications/Big.app/Contents/Helpers/Child.app" \
                         "$tmp/mac/Users/ann/Desktop/Loose.app")
[ "$(sorted "$out")" = "$expected" ] || fail "apps with a child application printed: $out"
out=$(check_stdout "apps --skip-child-applications" 0 "$kqu" apps --root "$tmp/mac" --skip-child-applications)
grep -q Child.app <<<"$out" && fail "apps --skip-child-applications printed the child: $out"

# The home is the one user folder under ROOT/Users; with two, --home must say which.
mkdir -p "$tmp/mac/Users/bob/Library"
msg=$(check "apps with two users and no --home" 1 "$kqu" apps --root "$tmp/mac")
expect_contains "apps with two users and no --home" "$msg" "--home is needed"
out=$(check_stdout "apps with --home" 0 "$kqu" apps --root "$tmp/mac" --home "$tmp/mac/Users/bob")
grep -q Loose.app <<<"$out" && fail "apps looked in another user's Desktop: $out"

msg=$(check "apps with a missing root" 2 "$kqu" apps --root "$tmp/missing")
expect_contains "apps with a missing root" "$msg" "root folder not found: $tmp/missing"
check "apps with an unknown option" 1 "$kqu" apps --no-such-option >/dev/null
finish
