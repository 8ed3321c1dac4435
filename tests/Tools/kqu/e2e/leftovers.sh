#!/usr/bin/env bash
source "$(dirname "$0")/lib.sh"
export LC_ALL=C; unset LANGUAGE LC_NUMERIC LANG

out=$(check "leftovers on the sample" 0 "$kqu" leftovers --root "$sample")
listed=${out%%Kept,*}
for expected in "$sample/Users/alex/Library/Preferences/com.example.Orbit.plist" \
                "$sample/Users/alex/Library/Containers/com.example.Orbit" \
                "com.example.Orbit  (" "net.example.Drift  (5 items, 764"$'\xc2\xa0'"bytes)" \
                "  Preferences " "  Saved State " "Total: "; do
    expect_contains "leftovers on the sample" "$listed" "$expected"
done
if grep -q "KQFoundation.LeftoverType" <<<"$out"; then fail "leftover types are not in plain words"; fi
# Installed applications' files, and files installed software still uses, are never leftovers.
if grep -q "Quill\|Tally\|com.apple.\|homebrew\|group.com.example$" <<<"$listed"; then
    fail "an installed or system item was reported: $listed"
fi
expect_contains "vendor-wide file kept" "$out" "Group Containers/group.com.example  (vendor-wide name"
expect_contains "launch agent kept" "$out" "net.example.TallySync.agent.plist  (its program"
expect_contains "Homebrew service kept" "$out" "homebrew.mxcl.redis.plist  (the Homebrew formula redis"

json=$(check "leftovers --json" 0 "$kqu" leftovers --root "$sample" --json)
expect_json "leftovers --json" "$json" \
    'd["items"] and all({"type","path","reason","size","application"} <= set(i) and i["reason"] for i in d["items"])'
expect_json "leftovers --json groups" "$json" \
    '{i["application"] for i in d["items"]} == {"com.example.Orbit", "net.example.Drift"}'
expect_json "leftovers --json reason" "$json" \
    'any(i["reason"].startswith("knowledge-base entry ") and "~/Library/Preferences" in i["reason"] for i in d["items"])'

# --trash: never without an answer; with --yes everything found goes to the trash of the copy.
cp -a "$sample" "$tmp/mac"
orbit="$tmp/mac/Users/alex/Library/Preferences/com.example.Orbit.plist"
msg=$(check "--trash without a terminal" 1 "$kqu" leftovers --root "$tmp/mac" --trash </dev/null)
expect_contains "--trash without a terminal" "$msg" "nothing was moved to the trash"
[ -e "$orbit" ] || fail "--trash without a terminal moved $orbit"
moved=$(check "--trash --yes" 0 "$kqu" leftovers --root "$tmp/mac" --trash --yes </dev/null)
expect_contains "--trash --yes" "$moved" "Moved to the trash: "
expect_contains "--trash --yes" "$moved" "$orbit -> $tmp/mac/Users/alex/.Trash/com.example.Orbit.plist"
[ -e "$orbit" ] && fail "--trash --yes left $orbit"
[ -e "$tmp/mac/Users/alex/Library/Group Containers/group.com.example" ] || fail "--trash moved a kept item"
again=$(check "leftovers after --trash" 0 "$kqu" leftovers --root "$tmp/mac")
expect_contains "leftovers after --trash" "$again" "Total: 0 items"

printf 'not a plist' >"$tmp/broken.plist"
msg=$(check "broken knowledge base" 2 "$kqu" leftovers --root "$sample" --knowledge-base "$tmp/broken.plist")
expect_contains "broken knowledge base message" "$msg" "broken.plist"
check "unknown option" 1 "$kqu" leftovers --no-such-option >/dev/null
finish
