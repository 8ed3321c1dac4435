#!/usr/bin/env bash
source "$(dirname "$0")/lib.sh"
for k in publisher other; do
    openssl genrsa -out "$tmp/$k.pem" 2048 2>/dev/null && openssl rsa -in "$tmp/$k.pem" -pubout -out "$tmp/$k.pub" 2>/dev/null
done
echo '{"edition": "pro", "seats": 5}' >"$tmp/record.json"
"$kqu" rsa encrypt --key "$tmp/publisher.pem" "$tmp/record.json" >"$tmp/record"
"$kqu" rsa encrypt --key "$tmp/other.pem" "$tmp/record.json" >"$tmp/foreign"

mac="$tmp/mac"; me="$mac/Users/me"; app="$mac/Applications/App.app"
mkdir -p "$me/Library" "$app/Contents/_CodeSignature"
cp "$tmp/record" "$app/Contents/_CodeSignature/install.rec"
info() { "$kqu" install-info --root "$mac" --home "$me" --bundle "$app" --file-name install.rec --public-key "$tmp/publisher.pub" "$@"; }

out=$(check_stdout "record in the bundle" 0 info --json)
expect_json "record in the bundle" "$out" 'd == {"edition": "pro", "seats": 5}'
check "synchronize" 0 info --synchronize
cmp -s "$tmp/record" "$me/Library/Preferences/install.rec" || fail "synchronize copies the record to Preferences"
out=$(check "foreign record" 2 info --store "$tmp/foreign")
expect_contains "foreign record" "$out" "not a record of this public key"
cmp -s "$tmp/record" "$me/Library/Preferences/install.rec" || fail "a refused store leaves the record"
check "remove" 0 info --remove
[ -e "$me/Library/Preferences/install.rec" ] || [ -e "$app/Contents/_CodeSignature/install.rec" ] && fail "remove leaves nothing"
out=$(check "no record" 2 info)
expect_contains "no record" "$out" "no record of this public key found"
check "store" 0 info --store "$tmp/record"
out=$(check "store and remove at once" 1 info --store "$tmp/record" --remove)
out=$(check "not a public key" 2 "$kqu" install-info --file-name install.rec --public-key "$tmp/record.json")
expect_contains "not a public key" "$out" "not a PEM RSA public key"

# The Linux host: the per-user configuration folder, the installation folder, /etc.
mkdir -p "$tmp/home" "$tmp/opt/app"
printf '<plist version="1.0"><dict><key>CFBundleIdentifier</key><string>com.example.app</string></dict></plist>' >"$tmp/opt/app/Info.plist"
export HOME="$tmp/home" XDG_CONFIG_HOME="$tmp/config"
host() { "$kqu" install-info --bundle "$tmp/opt/app" --file-name install.rec --public-key "$tmp/publisher.pub" "$@"; }
out=$(check_stdout "Linux places" 0 host --paths --json)
expect_json "Linux places" "$out" "d == ['$tmp/config/com.example.app/install.rec', '$tmp/opt/app/install.rec', '/etc/com.example.app/install.rec']"
check "store on Linux" 0 host --store "$tmp/record"
cmp -s "$tmp/record" "$tmp/config/com.example.app/install.rec" || fail "stored in the configuration folder"
finish
