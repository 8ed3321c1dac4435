#!/usr/bin/env bash
source "$(dirname "$0")/lib.sh"

# A Russian table in UTF-8 and a Czech one in UTF-16 with a byte-order mark.
mkdir -p "$tmp/app/ru.lproj" "$tmp/app/cs.lproj"
cat >"$tmp/app/ru.lproj/Localizable.strings" <<'TABLE'
"[=0]%?d files" = "нет файлов";
"[=1]%?d files" = "один файл";
"[One]%?d files" = "%d файл";
"[Few]%?d files" = "%d файла";
"[Many]%?d files" = "%d файлов";
TABLE
python3 -c 'import sys; open(sys.argv[1], "wb").write("\"[One]%?d files\" = \"%d soubor\";\n\"[Few]%?d files\" = \"%d soubory\";\n\"[Many]%?d files\" = \"%d souborů\";\n".encode("utf-16"))' \
    "$tmp/app/cs.lproj/Localizable.strings"

for row in "ru 0 нет файлов" "ru 21 21 файл" "ru 2.5 2 файла" "cs 102 102 soubory" "cs 0 0 files"; do
    set -- $row
    lang=$1 number=$2; shift 2
    out=$(check_stdout "plural $lang $number" 0 "$kqu" plural --lang "$lang" --bundle "$tmp/app" "%?d files" "$number")
    [ "$out" = "$*" ] || fail "plural --lang $lang $number printed '$out', not '$*'"
done

for row in "ru 112 [Many]" "en 1 [=1]" "en 2.0 [Many]"; do
    set -- $row
    out=$(check_stdout "plural --tag $1 $2" 0 "$kqu" plural --lang "$1" --tag "%?d files" "$2")
    [ "$out" = "$3" ] || fail "plural --tag --lang $1 $2 printed '$out', not '$3'"
done

out=$(check_stdout "a format without a mark" 0 "$kqu" plural --lang ru --bundle "$tmp/app" "%d files" 3)
[ "$out" = "3 files" ] || fail "an unmarked format printed '$out'"
out=$(check "--tag without a mark" 1 "$kqu" plural --lang ru --tag "%d files" 3)
expect_contains "the message shows the mark" "$out" "%?d"
check "a number that is none" 1 "$kqu" plural --lang ru "%?d" 12abc >/dev/null
check "a missing bundle folder" 2 "$kqu" plural --lang ru --bundle "$tmp/none" "%?d" 1 >/dev/null
finish
