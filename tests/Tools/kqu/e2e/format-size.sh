#!/usr/bin/env bash
source "$(dirname "$0")/lib.sh"
# Words and separators follow the environment: start from the C locale.
export LC_ALL=C; unset LANGUAGE LC_NUMERIC LANG
nbsp=$'\xc2\xa0'

while IFS='|' read -r expected arguments; do
    # shellcheck disable=SC2086
    out=$(check_stdout "format-size $arguments" 0 "$kqu" format-size $arguments)
    [ "$out" = "${expected// /$nbsp}" ] || fail "format-size $arguments printed '$out', expected '$expected'"
done <<'ROWS'
1 byte|1
16.0 EB|18446744073709551615
1.0 KB|1000 --metric
10239 bytes|10239 --min-length 2
10.0 KB|10240 --min-length=2
ROWS

while IFS='|' read -r expected arguments; do
    out=$(check_stdout "format-size $arguments" 0 "$kqu" format-size $arguments)
    [ "$out" = "$expected" ] || fail "format-size $arguments printed '$out', expected '$expected'"
done <<'ROWS'
500 bytes|500 --compact
1.5 GB|1610612736 --compact
ROWS

# German words and decimal comma; LC_ALL overrides LANG.
out=$(check_stdout "format-size in German" 0 env -u LC_ALL LANG=de_DE.UTF-8 "$kqu" format-size 1536)
[ "$out" = "1,5${nbsp}KB" ] || fail "format-size in German printed '$out'"
out=$(check_stdout "format-size --compact in French" 0 env -u LC_ALL LANG=fr_FR.UTF-8 "$kqu" format-size --compact 1610612736)
[ "$out" = "1,5 GB" ] || fail "format-size --compact in French printed '$out'"
out=$(check_stdout "format-size with LC_ALL=C" 0 env LC_ALL=C LANG=de_DE.UTF-8 "$kqu" format-size 1536)
[ "$out" = "1.5${nbsp}KB" ] || fail "format-size with LC_ALL=C printed '$out'"

for arguments in "abc" "-- -1" "18446744073709551616" "1.5" "" "5 --compact --metric" "5 --compact --min-length 2" \
                 "5 --min-length x"; do
    # shellcheck disable=SC2086
    msg=$(check "format-size $arguments" 1 "$kqu" format-size $arguments)
    expect_contains "format-size $arguments" "$msg" "kqu: "
done
msg=$(check "format-size of too large a number" 1 "$kqu" format-size 99999999999999999999)
expect_contains "format-size of too large a number" "$msg" "does not fit in 64 bits"
finish
