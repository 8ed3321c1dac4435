#!/usr/bin/env bash
source "$(dirname "$0")/lib.sh"
openssl genrsa -out "$tmp/key.pem" 2048 2>/dev/null && openssl rsa -in "$tmp/key.pem" -pubout -out "$tmp/pub.pem" 2>/dev/null
head -c 600 /dev/urandom >"$tmp/plain"

# Three blocks each way, with both paddings.
for padding in 1 2; do
    check_stdout "encrypt, padding $padding" 0 "$kqu" rsa encrypt --key "$tmp/pub.pem" --padding "$padding" "$tmp/plain" >"$tmp/sealed"
    # Binary output goes straight to a file: the shell's $(...) would drop its NUL bytes.
    "$kqu" rsa decrypt --key "$tmp/key.pem" --padding "$padding" "$tmp/sealed" >"$tmp/opened" || fail "decrypt, padding $padding"
    cmp -s "$tmp/plain" "$tmp/opened" || fail "round trip with padding $padding"
done

# openssl encrypts, kqu decrypts; kqu signs (private key), openssl recovers.
head -c 100 "$tmp/plain" >"$tmp/short"
openssl pkeyutl -encrypt -pubin -inkey "$tmp/pub.pem" -in "$tmp/short" | base64 >"$tmp/from-openssl"
"$kqu" rsa decrypt --key "$tmp/key.pem" - <"$tmp/from-openssl" | cmp -s - "$tmp/short" || fail "openssl's encryption decrypted"
check_stdout "sign" 0 "$kqu" rsa encrypt --key "$tmp/key.pem" "$tmp/short" | base64 -d >"$tmp/signed"
openssl pkeyutl -verifyrecover -pubin -inkey "$tmp/pub.pem" -in "$tmp/signed" 2>/dev/null | cmp -s - "$tmp/short" \
    || fail "kqu's signature recovered by openssl"

check "no action" 1 "$kqu" rsa --key "$tmp/pub.pem" "$tmp/plain" >/dev/null
check "unknown action" 1 "$kqu" rsa sign --key "$tmp/pub.pem" "$tmp/plain" >/dev/null
out=$(check "missing key file" 2 "$kqu" rsa encrypt --key "$tmp/none.pem" "$tmp/plain")
expect_contains "missing key file" "$out" "cannot read the key file"
out=$(check "not a key" 2 "$kqu" rsa encrypt --key "$tmp/plain" "$tmp/plain")
expect_contains "not a key" "$out" "no RSA key read"
out=$(check "not base64" 2 "$kqu" rsa decrypt --key "$tmp/key.pem" "$tmp/plain")
expect_contains "not base64" "$out" "not base64 text"
out=$(check "wrong key" 2 "$kqu" rsa decrypt --key "$tmp/pub.pem" "$tmp/sealed")
expect_contains "wrong key" "$out" "decryption failed"
out=$(check "raw blocks must be whole" 2 "$kqu" rsa encrypt --padding 0 --key "$tmp/pub.pem" "$tmp/plain")
expect_contains "raw blocks must be whole" "$out" "encryption failed"
finish
