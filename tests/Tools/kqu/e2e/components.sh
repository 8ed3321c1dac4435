#!/usr/bin/env bash
source "$(dirname "$0")/lib.sh"
export LC_ALL=C; unset LANGUAGE LC_NUMERIC LANG

# Lines are "SIZE  PATH"; the size's own blank is a no-break space.
sorted() { sed 's/^ *[^ ]*  //' <<<"$1" | sort; }
lines() { printf '%s\n' "$@" | sort; }
library="$sample/Users/alex/Library"
quill=$(lines "$library/Preferences/com.example.Quill.plist" "$library/Saved Application State/com.example.Quill.savedState" \
              "$library/Containers/com.example.Quill" "$library/Logs/DiagnosticReports/Quill-2024-05-01.ips")

out=$(check_stdout "components of an installed bundle" 0 "$kqu" components "$sample/Applications/Quill.app" --root "$sample")
[ "$(sorted "$out")" = "$quill" ] || fail "components of Quill.app printed: $out"
expect_contains "components with sizes" "$out" "243"$'\xc2\xa0'"bytes  $library/Preferences/com.example.Quill.plist"
[ -s "$tmp/stderr" ] && fail "components on a Mac tree warned: $(cat "$tmp/stderr")"

# By name and identifier, as for an application already removed; --with-app adds the bundle when there is one.
json=$(check_stdout "components --name --json" 0 "$kqu" components --name Quill --bundle-id com.example.Quill \
           --with-app --json --root "$sample")
expect_json "components --name --json" "$json" \
    "sorted(d['components']) == sorted('''$quill'''.split('\n') + ['$sample/Applications/Quill.app'])"
out=$(check_stdout "components of a removed application" 0 "$kqu" components --name Orbit \
          --bundle-id com.example.Orbit --root "$sample")
expect_contains "components of a removed application" "$out" "$library/Application Support/com.example.Orbit"
expect_contains "components of a removed application" "$out" "$sample/Library/Caches/com.example.Orbit.updater"
grep -q Quill <<<"$out" && fail "another application's files were listed: $out"

# Its disk image in Downloads only with --downloads.
cp -R "$sample" "$tmp/mac"
mkdir -p "$tmp/mac/Users/alex/Downloads"
touch "$tmp/mac/Users/alex/Downloads/Quill.dmg" "$tmp/mac/Users/alex/Downloads/Other.dmg"
out=$(check_stdout "components without --downloads" 0 "$kqu" components "$tmp/mac/Applications/Quill.app" --root "$tmp/mac")
grep -q Downloads <<<"$out" && fail "components without --downloads listed Downloads: $out"
out=$(check_stdout "components --downloads" 0 "$kqu" components "$tmp/mac/Applications/Quill.app" --root "$tmp/mac" --downloads)
expect_contains "components --downloads" "$out" "$tmp/mac/Users/alex/Downloads/Quill.dmg"
grep -q Other.dmg <<<"$out" && fail "components --downloads listed another disk image: $out"

for arguments in "" "$sample/Applications/Quill.app --name Quill" "$sample/Applications/Quill.app --bundle-id x"; do
    # shellcheck disable=SC2086
    msg=$(check "components $arguments" 1 "$kqu" components $arguments --root "$sample")
    expect_contains "components $arguments" "$msg" "kqu: "
done
touch "$tmp/File.app"
msg=$(check "components of a file" 2 "$kqu" components "$tmp/File.app" --root "$sample")
expect_contains "components of a file" "$msg" "application not found: $tmp/File.app"
finish
