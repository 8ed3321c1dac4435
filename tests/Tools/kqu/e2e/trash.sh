#!/usr/bin/env bash
# kqu trash works only inside $tmp: HOME points there and so do --root/--home,
# so even a broken refusal can move nothing of the machine's.
source "$(dirname "$0")/lib.sh"
kqu=$(realpath "$kqu")
export HOME="$tmp/linux-home"
mkdir -p "$HOME" "$tmp/work/sub"
cd "$tmp/work" || exit 1
mac="$tmp/mac"
jane="$mac/Users/jane"
mkdir -p "$jane/Desktop" "$jane/.Trash"
echo report >"$jane/Desktop/report.txt"
echo outside >"$tmp/outside.txt"
ln -s "$mac" "$jane/Desktop/rootLink"
ln -s / "$tmp/work/slashLink"

check "no PATH" 1 "$kqu" trash >/dev/null
check "unknown option" 1 "$kqu" trash --no-such-option x >/dev/null

# refuse DESCRIPTION REASON ARGS...: exit 2, the reason on stderr, nothing moved.
refuse() {
    local description="$1" reason="$2"; shift 2
    local out
    out=$(check "$description" 2 "$kqu" trash "$@")
    expect_contains "$description" "$out" "$reason"
    expect_contains "$description" "$out" "left where it is"
}
refuse "dot" "'.' or '..'" .
refuse "dot dot" "'.' or '..'" ..
refuse "sub/.." "'.' or '..'" sub/..
refuse "slash" "root folder" /
refuse "slashes" "root folder" //
refuse "link to /" "root folder" slashLink
refuse "home" "home folder" "$HOME"
refuse "home with a trailing slash" "home folder" "$HOME/"
refuse "folder holding the home" "home folder" "$tmp"
refuse "tree root" "root of the inspected tree" --root "$mac" --home "$jane" "$mac"
refuse "tree root, trailing slash" "root of the inspected tree" --root "$mac" --home "$jane" "$mac/"
refuse "link to the tree root" "root of the inspected tree" --root "$mac" --home "$jane" "$jane/Desktop/rootLink"
refuse "tree home" "home folder" --root "$mac" --home "$jane" "$jane"
refuse "outside the tree" "outside the inspected tree" --root "$mac" --home "$jane" "$tmp/outside.txt"
refuse "missing item" "No such file" missing.txt
[ -e "$tmp/outside.txt" ] || fail "the item outside the tree is gone"
[ -e "$HOME/.local" ] && fail "a refused item made a trash"
ls -d "$tmp"/.Trash* "$tmp"/*/.Trash* 2>/dev/null | grep -v "$jane/.Trash" && fail "a trash was made outside the home"

# A home that does not exist is refused, and not created.
out=$(check "missing --home" 2 "$kqu" trash --root "$mac" --home "$mac/Users/nobody" "$jane/Desktop/report.txt")
expect_contains "missing --home" "$out" "home folder not found"
[ -e "$mac/Users/nobody" ] && fail "the missing --home was created"
out=$(HOME="$tmp/no/such/home" check "missing HOME" 2 "$kqu" trash "$tmp/outside.txt")
expect_contains "missing HOME" "$out" "home folder not found"
[ -e "$tmp/no" ] && fail "the missing HOME was created"

# A Mac tree: into the home's .Trash, with the original place kept on the item.
out=$(check "move in a Mac tree" 0 "$kqu" trash --root "$mac" --home "$jane" "$jane/Desktop/report.txt")
expect_contains "move in a Mac tree" "$out" "$jane/Desktop/report.txt -> $jane/.Trash/report.txt"
[ -e "$jane/Desktop/report.txt" ] && fail "the moved item is still in place"
[ "$(cat "$jane/.Trash/report.txt" 2>/dev/null)" = report ] || fail "the moved item is not in the trash"
putback=$(python3 -c 'import os,sys; print(os.getxattr(sys.argv[1], "user.kq.trash.putBackPath").decode())' \
    "$jane/.Trash/report.txt" 2>/dev/null)
[ "$putback" = "$jane/Desktop/report.txt" ] || fail "no put-back record: '$putback'"

# The Linux desktop's trash, JSON, and one bad item among good ones.
echo a >"$tmp/work/a.txt"
echo b >"$tmp/work/b.txt"
json=$("$kqu" trash --json a.txt missing.txt b.txt 2>/dev/null); status=$?
[ "$status" = 2 ] || fail "mixed items: exit $status, expected 2"
expect_json "mixed items" "$json" \
    'len(d["moved"]) == 2 and d["notMoved"][0]["path"] == "missing.txt" and d["notMoved"][0]["reason"]'
trash="$HOME/.local/share/Trash"
[ -e "$trash/files/b.txt" ] || fail "b.txt is not in the trash"
grep -qx "Path=$tmp/work/b.txt" "$trash/info/b.txt.trashinfo" 2>/dev/null || fail "b.txt has no trash record"
finish
