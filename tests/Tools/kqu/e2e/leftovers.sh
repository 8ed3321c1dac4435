#!/usr/bin/env bash
source "$(dirname "$0")/lib.sh"

out=$(check "leftovers on the sample" 0 "$kqu" leftovers --root "$sample")
for expected in "$sample/Users/alex/Library/Preferences/com.example.Orbit.plist" \
                "$sample/Users/alex/Library/Containers/com.example.Orbit"; do
    expect_contains "leftovers on the sample" "$out" "$expected"
done
# Installed applications' files are never leftovers.
if grep -q "Quill\|Tally\|com.apple." <<<"$out"; then fail "an installed or system item was reported"; fi

json=$(check "leftovers --json" 0 "$kqu" leftovers --root "$sample" --json)
expect_json "leftovers --json" "$json" 'd["items"] and all({"type","path"} <= set(i) for i in d["items"])'

printf 'not a plist' >"$tmp/broken.plist"
msg=$(check "broken knowledge base" 2 "$kqu" leftovers --root "$sample" --knowledge-base "$tmp/broken.plist")
expect_contains "broken knowledge base message" "$msg" "broken.plist"
check "unknown option" 1 "$kqu" leftovers --no-such-option >/dev/null
finish
