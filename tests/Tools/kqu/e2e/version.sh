#!/usr/bin/env bash
source "$(dirname "$0")/lib.sh"

out=$(check_stdout "version" 0 "$kqu" version)
[[ "$out" =~ ^kqu\ [0-9]+\.[0-9]+\.[0-9]+\ \(KQFoundation\ [0-9]+\.[0-9]+\.[0-9]+\)$ ]] || fail "version printed '$out'"
[ -s "$tmp/stderr" ] && fail "version wrote to stderr: $(cat "$tmp/stderr")"
check "version with an argument" 1 "$kqu" version extra >/dev/null
finish
