#!/usr/bin/env bash
source "$(dirname "$0")/lib.sh"

# Reads a dumped multipart body back with Python's email parser, which knows
# nothing of ours: "Content-Type" from kqu's stderr, the body from stdout.
# Prints "name|filename|hex of payload" per part.
parse_multipart() {
    python3 - "$tmp/headers" "$tmp/body" <<'PY'
import email.parser, sys
headers = open(sys.argv[1], "rb").read().splitlines()
content_type = next(h for h in headers if h.startswith(b"Content-Type: "))
message = email.parser.BytesParser().parsebytes(content_type + b"\r\n\r\n" + open(sys.argv[2], "rb").read())
assert message.is_multipart()
for part in message.get_payload():
    print(part.get_param("name", header="content-disposition"),
          part.get_filename(), part.get_payload(decode=True).hex(), sep="|")
PY
}

printf 'one\n' >"$tmp/first.txt"
printf '\000\377\n--x' >"$tmp/b.bin"
"$kqu" form --field a=1 --file up="$tmp/first.txt" --field "b=x=y é" --file bin="$tmp/b.bin" --dump \
    >"$tmp/body" 2>"$tmp/headers" || fail "multipart dump: exit $?"
parts=$(parse_multipart)
expected="a|None|31
up|first.txt|6f6e650a
b|None|783d7920c3a9
bin|b.bin|00ff0a2d2d78"
[ "$parts" = "$expected" ] || fail "multipart parts in order: got $parts"
length=$(sed -n 's/^Content-Length: //p' "$tmp/headers")
[ "$length" = "$(wc -c <"$tmp/body")" ] || fail "Content-Length $length differs from the body's size"
boundary=$(sed -n 's/^Content-Type: multipart\/form-data; boundary=//p' "$tmp/headers")
tail -c 41 "$tmp/body" | cmp -s - <(printf -- '--%s--\n' "$boundary") || fail "body does not close with --B--"
grep -q $'\r' "$tmp/body" && fail "multipart body has a carriage return"

# Without files: one line of pairs, each encoding; no Content-Type.
out=$(check_stdout "base64 by default" 0 "$kqu" form --field k=abc --field n= --dump)
[ "$out" = "k=YWJj&n=" ] || fail "base64 body: $out"
grep -q Content-Type "$tmp/stderr" && fail "single-part body with a Content-Type"
out=$(check_stdout "url encoding" 0 "$kqu" form --encoding url --field "q=a b&c/é" --dump)
[ "$out" = "q=a%20b%26c%2F%C3%A9" ] || fail "url body: $out"
out=$(check_stdout "empty form" 0 "$kqu" form --dump)
[ -z "$out" ] && grep -qx "Content-Length: 0" "$tmp/stderr" || fail "empty form: '$out'"

out=$(check "field without =" 1 "$kqu" form --field novalue --dump)
expect_contains "field without =" "$out" "expected KEY=VALUE"
check "neither --dump nor --url" 1 "$kqu" form --field a=b >/dev/null
out=$(check "missing file" 2 "$kqu" form --file f="$tmp/gone" --dump)
expect_contains "missing file" "$out" "$tmp/gone: cannot be read"
out=$(check "sending" 2 "$kqu" form --field a=b --url http://127.0.0.1:9/)
expect_contains "sending" "$out" "sending is not available yet"

finish
