#!/usr/bin/env bash
source "$(dirname "$0")/lib.sh"

for row in "1.2 1.2.0 <" "1.10 1.9 >" "v10.6.8 10.6.8 =" "2.0b 2.0 <" "2.0a 2.0a7 ="; do
    set -- $row
    out=$(check_stdout "version-compare $1 $2" 0 "$kqu" version-compare "$1" "$2")
    [ "$out" = "$3" ] || fail "version-compare $1 $2 printed '$out', not '$3'"
done
out=$(check "version-compare with junk" 2 "$kqu" version-compare 1.2 junk)
expect_contains "the message names the bad text" "$out" "'junk'"

out=$(check_stdout "version-parse --json" 0 "$kqu" version-parse "1.2b3" --json)
[ "$out" = '{"components":[1,2],"stage":1,"string":"1.2","stringWithStage":"1.2 beta","coderString":"1.2b"}' ] \
    || fail "version-parse --json printed '$out'"
out=$(check_stdout "version-parse" 0 "$kqu" version-parse "Version 3.0a")
[ "$out" = "3.0 alpha" ] || fail "version-parse printed '$out'"
check "version-parse of a bare number" 2 "$kqu" version-parse 7 >/dev/null
finish
