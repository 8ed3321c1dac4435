#!/usr/bin/env bash
source "$(dirname "$0")/lib.sh"

out=$(check "plist of an Info.plist" 0 "$kqu" plist "$sample/Applications/Quill.app/Contents/Info.plist")
expect_contains "plist of an Info.plist" "$out" CFBundleIdentifier
printf 'not a plist' >"$tmp/broken.plist"
check "plist of garbage" 2 "$kqu" plist "$tmp/broken.plist" >/dev/null
finish
