#!/usr/bin/env bash
source "$(dirname "$0")/lib.sh"

# One per line, so that branches adding subcommands merge cleanly.
subcommands="
apps
at
components
crc32
extensions
form
format-size
gunzip
gzip
install-info
json
leftovers
md5
plist
plural
predicate
reachability
render-text
rsa
run
size
sysinfo
trash
version
version-compare
version-parse
"
expect_subcommand_list() {
    local name missing=""
    for name in $subcommands; do grep -qF -- "  $name " <<<"$2" || missing+=" $name"; done
    [ -z "$missing" ] || fail "$1 does not list:$missing"
}

msg=$(check "no subcommand" 1 "$kqu")
expect_contains "no subcommand" "$msg" "usage: kqu"
expect_subcommand_list "no subcommand" "$msg"
msg=$(check "only --quiet" 1 "$kqu" --quiet)
expect_contains "only --quiet" "$msg" "usage: kqu"

for arguments in "bogus" "--quiet bogus" "bogus --json"; do
    # shellcheck disable=SC2086
    msg=$(check "kqu $arguments" 1 "$kqu" $arguments)
    expect_contains "kqu $arguments" "$msg" "unknown subcommand 'bogus'"
    expect_subcommand_list "kqu $arguments" "$msg"
done
msg=$(check "unknown global option" 1 "$kqu" --bogus)
expect_contains "unknown global option" "$msg" "unknown option '--bogus'"
msg=$(check "unknown option of a subcommand" 1 "$kqu" apps --bogus)
expect_contains "unknown option of a subcommand" "$msg" "--bogus"

# --help describes what exists: every subcommand, the global --quiet, nothing else.
help=$(check_stdout "--help" 0 "$kqu" --help)
expect_subcommand_list "--help" "$help"
expect_contains "--help" "$help" "--quiet"
listed=$(sed -n '/^Subcommands:/,$p' <<<"$help" | awk 'NR > 1 { if (!NF) exit; print $1 }' | xargs)
[ "$listed" = "$(xargs <<<"$subcommands")" ] || fail "--help lists '$listed'"
for name in $subcommands; do
    check "$name --help" 0 "$kqu" "$name" --help >/dev/null
done

# No Mac tree under the root: nothing found, a warning naming --root, and --quiet (before or after
# the subcommand) silences it.
mkdir -p "$tmp/empty"
for arguments in "apps" "leftovers" "components --name Orbit"; do
    # shellcheck disable=SC2086
    out=$(check_stdout "$arguments on an empty folder" 0 "$kqu" $arguments --root "$tmp/empty" --home "$tmp/empty")
    [ -z "$out" ] || fail "$arguments on an empty folder printed: $out"
    expect_contains "$arguments on an empty folder" "$(cat "$tmp/stderr")" "no Mac tree found"
    expect_contains "$arguments on an empty folder" "$(cat "$tmp/stderr")" "--root"
    # shellcheck disable=SC2086
    check_stdout "$arguments --quiet" 0 "$kqu" --quiet $arguments --root "$tmp/empty" --home "$tmp/empty" >/dev/null
    [ -s "$tmp/stderr" ] && fail "kqu --quiet $arguments warned: $(cat "$tmp/stderr")"
done
check_stdout "apps --quiet after the subcommand" 0 "$kqu" apps --root "$tmp/empty" --home "$tmp/empty" -q >/dev/null
[ -s "$tmp/stderr" ] && fail "apps -q warned: $(cat "$tmp/stderr")"
# A tree with only a home Library is still a Mac tree.
mkdir -p "$tmp/home/Library"
check_stdout "apps on a home with a Library" 0 "$kqu" apps --root "$tmp/empty" --home "$tmp/home" >/dev/null
[ -s "$tmp/stderr" ] && fail "apps on a home with a Library warned: $(cat "$tmp/stderr")"
finish
