#!/usr/bin/env bash
source "$(dirname "$0")/lib.sh"

printf 'junk {"a" : 1 "b":[1 2,null], "c":null, "s":"\\q \\u00e9\\/"}' >"$tmp/lenient.json"
out=$(check_stdout "json of a lenient object" 0 "$kqu" json "$tmp/lenient.json")
[ "$out" = '{"a":1,"b":[1,2,null],"c":null,"s":"\\q é\/"}' ] || fail "json of a lenient object: $out"
out=$(check_stdout "json without nulls" 0 "$kqu" json --ignore-null "$tmp/lenient.json")
expect_json "json without nulls" "$out" 'd == {"a": 1, "b": [1, 2], "s": "\\q \u00e9/"}'

out=$(check_stdout "json array from stdin" 0 "$kqu" json --array - <<<'1, 2.5, "x"]')
[ "$out" = '[1,2.5,"x"]' ] || fail "json array from stdin: $out"

printf '{"a":1' >"$tmp/open.json"
out=$(check "json of an unclosed object" 2 "$kqu" json "$tmp/open.json")
expect_contains "json of an unclosed object" "$out" "$tmp/open.json: no readable JSON object"
out=$(check "json array of an object" 2 "$kqu" json --array "$tmp/lenient.json")
expect_contains "json array of an object" "$out" "no readable JSON array"
out=$(check "json of a missing file" 2 "$kqu" json "$tmp/missing.json")
expect_contains "json of a missing file" "$out" "$tmp/missing.json: no such file"
out=$(check "json of a folder" 2 "$kqu" json "$tmp")
expect_contains "json of a folder" "$out" "a folder"
python3 -c 'print("[" * 600 + "]" * 600)' >"$tmp/deep.json"
check "json of deep nesting" 2 "$kqu" json --array "$tmp/deep.json" >/dev/null
finish
