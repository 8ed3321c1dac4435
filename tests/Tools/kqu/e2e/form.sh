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
out=$(check "a device" 2 "$kqu" form --file f=/dev/zero --dump)
expect_contains "a device" "$out" "/dev/zero: a device, not a file"
# Sending: a one-shot server on 127.0.0.1 (Python's own HTTP server) answers
# STATUS to one request, keeps its request line and headers in $tmp/sent-head
# and its body in $tmp/sent-body, and gives up by itself after 20 s.
start_recorder() {
    rm -f "$tmp/port" "$tmp/sent-head" "$tmp/sent-body"
    python3 - "$1" "$tmp" <<'PY' &
import http.server, os, sys
status, out = int(sys.argv[1]), sys.argv[2]
class Recorder(http.server.BaseHTTPRequestHandler):
    def do_POST(self):
        body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        open(out + "/sent-head", "w").write(self.requestline + "\n" + str(self.headers))
        open(out + "/sent-body", "wb").write(body)
        self.send_response(status)
        self.send_header("Content-Length", "2")
        self.end_headers()
        self.wfile.write(b"ok")
    def log_message(self, *args): pass
server = http.server.HTTPServer(("127.0.0.1", 0), Recorder)
server.timeout = 20
open(out + "/port.part", "w").write(str(server.server_port))
os.rename(out + "/port.part", out + "/port")
server.handle_request()
PY
    recorder=$!
    for _ in $(seq 200); do [ -f "$tmp/port" ] && break; sleep 0.05; done
    port=$(cat "$tmp/port")
}

start_recorder 200
out=$(check_stdout "multipart POST" 0 "$kqu" form --field a=1 --file up="$tmp/first.txt" --field "b=x=y é" \
    --file bin="$tmp/b.bin" --url "http://127.0.0.1:$port/upload")
wait "$recorder"
[ "$out" = "HTTP 200" ] || fail "multipart POST printed: $out"
head -1 "$tmp/sent-head" | grep -qx "POST /upload HTTP/1.1" || fail "request line: $(head -1 "$tmp/sent-head")"
grep -i '^Content-Type: ' "$tmp/sent-head" >"$tmp/headers"
cp "$tmp/sent-body" "$tmp/body"
[ "$(parse_multipart)" = "$expected" ] || fail "posted multipart parts: $(parse_multipart)"
length=$(sed -n 's/^Content-Length: //Ip' "$tmp/sent-head")
[ "$length" = "$(wc -c <"$tmp/sent-body")" ] || fail "posted Content-Length $length, body $(wc -c <"$tmp/sent-body")"

# Any status is an answer.
start_recorder 404
out=$(check_stdout "single-part POST answered 404" 0 "$kqu" form --field k=abc --url "http://127.0.0.1:$port/")
wait "$recorder"
[ "$out" = "HTTP 404" ] || fail "404 printed: $out"
[ "$(cat "$tmp/sent-body")" = "k=YWJj" ] || fail "single-part body sent: $(cat "$tmp/sent-body")"

# No answer at all: exit 2 with the reason.
closed=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
out=$(check "refused" 2 "$kqu" form --field a=b --url "http://127.0.0.1:$closed/")
expect_contains "refused" "$out" "kqu: form: http://127.0.0.1:$closed/: "
out=$(check "no host" 2 "$kqu" form --field a=b --url "http:///path")
expect_contains "no host" "$out" "kqu: form: http:///path: "
python3 -c '
import socket, sys, time
s = socket.socket(); s.bind(("127.0.0.1", 0)); s.listen()
open(sys.argv[1], "w").write(str(s.getsockname()[1])); time.sleep(15)' "$tmp/silent-port" &
silent=$!
for _ in $(seq 200); do [ -s "$tmp/silent-port" ] && break; sleep 0.05; done
out=$(check "silent server" 2 "$kqu" form --field a=b --timeout 1 --url "http://127.0.0.1:$(cat "$tmp/silent-port")/")
kill "$silent" 2>/dev/null; wait "$silent" 2>/dev/null
expect_contains "silent server" "$out" "kqu: form: "
check "--timeout without --url" 1 "$kqu" form --field a=b --timeout 1 --dump >/dev/null

finish
