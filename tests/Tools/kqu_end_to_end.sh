#!/usr/bin/env bash
# Runs kqu on the sample Mac and on bad input, checking output and exit status.
set -u
kqu="$1"
sample="$2"
failures=0
check() {  # description, expected status, command...
    local description="$1" expected="$2"; shift 2
    local output status
    output=$("$@" 2>&1); status=$?
    if [ "$status" != "$expected" ]; then
        echo "FAIL: $description: exit $status, expected $expected"; echo "$output" | head -5
        failures=$((failures + 1))
    fi
    printf '%s' "$output"
}
tmp=$(mktemp -d); trap 'rm -rf "$tmp"' EXIT

out=$(check "leftovers on the sample" 0 "$kqu" leftovers --root "$sample")
for expected in "KQFoundation.LeftoverType.Preferences	$sample/Users/alex/Library/Preferences/com.example.Orbit.plist" \
                "KQFoundation.LeftoverType.Container	$sample/Users/alex/Library/Containers/com.example.Orbit"; do
    grep -qF "$expected" <<<"$out" || { echo "FAIL: missing leftover line: $expected"; failures=$((failures + 1)); }
done
# Installed applications' files are never leftovers.
if grep -q "Quill\|Tally\|com.apple." <<<"$out"; then echo "FAIL: an installed or system item was reported"; failures=$((failures + 1)); fi

json=$(check "leftovers --json" 0 "$kqu" leftovers --root "$sample" --json)
python3 -c 'import json,sys; d=json.loads(sys.stdin.read()); assert d["items"] and all({"type","path"} <= set(i) for i in d["items"])' <<<"$json" \
    || { echo "FAIL: leftovers --json is not the expected document"; failures=$((failures + 1)); }

printf 'not a plist' >"$tmp/broken.plist"
msg=$(check "broken knowledge base" 2 "$kqu" leftovers --root "$sample" --knowledge-base "$tmp/broken.plist")
grep -q "broken.plist" <<<"$msg" || { echo "FAIL: the message does not name the file: $msg"; failures=$((failures + 1)); }

check "unknown option" 1 "$kqu" leftovers --no-such-option >/dev/null
check "plist of an Info.plist" 0 "$kqu" plist "$sample/Applications/Quill.app/Contents/Info.plist" | grep -q CFBundleIdentifier \
    || { echo "FAIL: kqu plist"; failures=$((failures + 1)); }
check "plist of garbage" 2 "$kqu" plist "$tmp/broken.plist" >/dev/null
matched=$(check "predicate" 0 "$kqu" predicate "path ENDSWITH[c] '.APP'" /a/Quill.app /a/b.txt)
[ "$matched" = "/a/Quill.app" ] || { echo "FAIL: predicate matched '$matched'"; failures=$((failures + 1)); }
check "predicate that does not parse" 1 "$kqu" predicate "path ENDSWITH" /a >/dev/null

[ "$failures" = 0 ] && echo "kqu end-to-end: all checks passed"
exit "$failures"
