#!/usr/bin/env bash
source "$(dirname "$0")/lib.sh"

out=$(check "plist of an Info.plist" 0 "$kqu" plist "$sample/Applications/Quill.app/Contents/Info.plist")
expect_contains "plist of an Info.plist" "$out" CFBundleIdentifier

# Values libplist lost or died on: far dates, fractions, 2^64-1, NULs (also in UTF-16).
python3 - "$tmp/edge.plist" <<'PY'
import datetime, plistlib, sys
value = {"far": datetime.datetime(4000, 1, 1), "fraction": datetime.datetime(2024, 2, 29, 1, 2, 3, 500000),
         "big": 2**64 - 1, "nul": "a\x00b", "CFBundleIdentifier": "com.example.\u00e9\x00", "wide": "\u00e9\x00", "data": b"\x00\xff"}
open(sys.argv[1], "wb").write(plistlib.dumps(value, fmt=plistlib.FMT_BINARY))
PY
# The same file as an application's Info.plist must not take a scan down.
mkdir -p "$tmp/mac/Applications/Edge.app/Contents" "$tmp/mac/Users/me/Library"
cp "$tmp/edge.plist" "$tmp/mac/Applications/Edge.app/Contents/Info.plist"
check "leftovers beside an edge Info.plist" 0 "$kqu" leftovers --root "$tmp/mac" --home "$tmp/mac/Users/me" >/dev/null
out=$(check "plist of edge values" 0 "$kqu" plist --compact "$tmp/edge.plist")
expect_json "edge values" "$out" 'd["far"] == "4000-01-01T00:00:00Z" and d["fraction"] == "2024-02-29T01:02:03.500Z"'
expect_json "edge values" "$out" 'd["big"] == 2**64 - 1 and d["nul"] == "a\x00b" and d["wide"] == "\u00e9\x00" and d["data"] == "AP8="'

printf 'not a plist' >"$tmp/broken.plist"
out=$(check "plist of garbage" 2 "$kqu" plist "$tmp/broken.plist")
expect_contains "plist of garbage" "$out" "$tmp/broken.plist: not a readable property list"
out=$(check "plist of a folder" 2 "$kqu" plist "$tmp")
expect_contains "plist of a folder" "$out" "a folder"
truncate -s 65M "$tmp/huge.plist"
out=$(check "plist of a huge file" 2 "$kqu" plist "$tmp/huge.plist")
expect_contains "plist of a huge file" "$out" "larger than 64 MiB"
out=$(check "plist of a device" 2 "$kqu" plist /dev/zero)
expect_contains "plist of a device" "$out" "/dev/zero: not a regular file"
finish
