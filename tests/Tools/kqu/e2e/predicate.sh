#!/usr/bin/env bash
source "$(dirname "$0")/lib.sh"

matched=$(check "predicate" 0 "$kqu" predicate "path ENDSWITH[c] '.APP'" /a/Quill.app /a/b.txt)
[ "$matched" = "/a/Quill.app" ] || fail "predicate matched '$matched'"
check "predicate that does not parse" 1 "$kqu" predicate "path ENDSWITH" /a >/dev/null

# Nesting is bounded: a clean refusal naming where, not a crashed stack.
deep=$(python3 -c 'print("(" * 60000 + "path == \"/a\"" + ")" * 60000)')
out=$(check "predicate nested 60000 deep" 1 "$kqu" predicate "$deep" /a)
expect_contains "deep nesting message" "$out" "nests deeper than 256 levels at position 256"

# A pattern that backtracks without end on one path is reported; the others still answer.
slow="/$(printf 'a%.0s' $(seq 1 60))!"
out=$("$kqu" predicate "lastPathComponent MATCHES '(a+)+' OR path ENDSWITH '.app'" \
      /x/Quill.app "$slow" /y/aa /z/b.txt 2>"$tmp/stderr"); status=$?
[ "$status" = 2 ] || fail "regex time-out: exit $status, expected 2"
[ "$out" = "$(printf '/x/Quill.app\n/y/aa')" ] || fail "regex time-out printed '$out'"
expect_contains "regex time-out names the path" "$(cat "$tmp/stderr")" "$slow"
expect_contains "regex time-out says why" "$(cat "$tmp/stderr")" "U_REGEX_TIME_OUT"
finish
