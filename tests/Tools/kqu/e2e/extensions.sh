#!/usr/bin/env bash
source "$(dirname "$0")/lib.sh"
export LC_ALL=C; unset LANGUAGE LC_NUMERIC LANG XDG_CONFIG_HOME

sample=$(cd "$sample" && pwd)
support="$sample/Users/alex/Library/Application Support"
chrome="$support/Google/Chrome"
translator=aapbdbdomjkkjkaonfhkkikfgjllcleb
docs=ghbmnnjooekpmoecnnnilnnbdlolhkhi

# The sample Mac: one Safari archive, two Chrome extensions (store and default,
# one with leftovers), one unpacked Firefox extension, in scan order.
json=$(check_stdout "extensions --json" 0 "$kqu" extensions --json --root "$sample")
expect_json "scan order" "$json" \
    "[(e['browser'], e['name']) for e in d['extensions']] == [('Safari', 'Reading Notes'), ('Chrome', 'Page Translator'), ('Chrome', 'Offline Docs'), ('Firefox', 'Quiet Reader')]"
expect_json "Safari record" "$json" \
    "d['extensions'][0] == {'type': 1, 'browser': 'Safari', 'name': 'Reading Notes', 'path': '$sample/Users/alex/Library/Safari/Extensions/Reading Notes.safariextz', 'sourceType': 2, 'size': 1166, 'leftovers': [], 'hasIcon': True, 'permissions': {'hasAccessToAllWebsites': False, 'accessibleWebsites': ['*.example.com', 'news.example.org'], 'APIUsage': 0}}"
expect_json "Chrome store record with leftovers" "$json" \
    "d['extensions'][1]['leftovers'] == ['$chrome/Local Extension Settings/$translator', '$chrome/Local Storage/chrome-extension_${translator}_0.localstorage'] and d['extensions'][1]['sourceType'] == 2 and d['extensions'][1]['hasIcon'] and d['extensions'][1]['permissions'] == {'hasAccessToAllWebsites': False, 'accessibleWebsites': ['https://translate.example.com/*'], 'APIUsage': 24}"
expect_json "Chrome size counts the leftovers" "$json" "d['extensions'][1]['size'] > 600"
expect_json "Chrome default record" "$json" \
    "d['extensions'][2]['sourceType'] == 1 and d['extensions'][2]['path'] == '$chrome/Default/Extensions/$docs' and d['extensions'][2]['permissions'] == {'hasAccessToAllWebsites': True, 'accessibleWebsites': None, 'APIUsage': 70}"
expect_json "Firefox record" "$json" \
    "d['extensions'][3]['type'] == 2 and d['extensions'][3]['sourceType'] == 0 and not d['extensions'][3]['hasIcon'] and d['extensions'][3]['permissions'] == {'hasAccessToAllWebsites': False, 'accessibleWebsites': None, 'APIUsage': 0}"

# One line per extension: browser, name, origin, size, path.
out=$(check_stdout "extensions" 0 "$kqu" extensions --root "$sample" --browser safari)
[ "$(wc -l <<<"$out")" = 1 ] || fail "extensions --browser safari printed: $out"
expect_contains "human line" "$out" "Safari  Reading Notes  store"
expect_contains "human line" "$out" $'1.1\xc2\xa0KB  '"$sample/Users/alex/Library/Safari/Extensions/Reading Notes.safariextz"
json=$(check_stdout "--browser chrome --browser firefox" 0 "$kqu" extensions --json --root "$sample" --browser firefox --browser chrome)
expect_json "--browser keeps the scan order" "$json" "[e['browser'] for e in d['extensions']] == ['Chrome', 'Chrome', 'Firefox']"
check "unknown browser" 1 "$kqu" extensions --browser opera >/dev/null

# The Linux host: Chrome and the other Chromium browsers under ~/.config, Firefox under ~/.mozilla.
home="$tmp/home"
manifest() { mkdir -p "$1"; printf '{"name": "%s", "version": "1"}' "$2" >"$1/manifest.json"; }
manifest "$home/.config/google-chrome/Default/Extensions/$docs/1_0" "Chrome Docs"
manifest "$home/.config/BraveSoftware/Brave-Browser/Default/Extensions/$docs/1_0" "Brave Docs"
manifest "$home/.mozilla/firefox/p1.default/extensions/reader@example.org" "Profile Reader"
printf '[General]\n' >"$home/.mozilla/firefox/profiles.ini"
json=$(check_stdout "extensions on the Linux host" 0 "$kqu" extensions --json --home "$home")
expect_json "Linux host" "$json" \
    "[(e['type'], e['browser'], e['name']) for e in d['extensions']] == [(3, 'Chrome', 'Chrome Docs'), (3, 'Brave', 'Brave Docs'), (2, 'Firefox', 'Profile Reader')]"
json=$(check_stdout "--google-chrome-only" 0 "$kqu" extensions --json --home "$home" --google-chrome-only)
expect_json "--google-chrome-only" "$json" "[e['browser'] for e in d['extensions']] == ['Chrome', 'Firefox']"
json=$(check_stdout "nothing installed" 0 "$kqu" extensions --json --home "$tmp/empty")
expect_json "nothing installed" "$json" "d == {'extensions': []}"

finish
