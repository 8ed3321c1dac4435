#!/usr/bin/env bash
source "$(dirname "$0")/lib.sh"

matched=$(check "predicate" 0 "$kqu" predicate "path ENDSWITH[c] '.APP'" /a/Quill.app /a/b.txt)
[ "$matched" = "/a/Quill.app" ] || fail "predicate matched '$matched'"
check "predicate that does not parse" 1 "$kqu" predicate "path ENDSWITH" /a >/dev/null
finish
