#!/usr/bin/env bash
source "$(dirname "$0")/lib.sh"

# Python's own HTTP server on a free loopback port, a port that accepts but never answers,
# and a port that refuses; it gives up by itself after 60 s.
python3 - "$tmp/ports" <<'PY' &
import http.server, socket, sys, threading
class Quiet(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        self.send_response(204); self.end_headers()
    def log_message(self, *args): pass
server = http.server.HTTPServer(("127.0.0.1", 0), Quiet)
silent = socket.socket(); silent.bind(("127.0.0.1", 0)); silent.listen(8)
closed = socket.socket(); closed.bind(("127.0.0.1", 0)); closed_port = closed.getsockname()[1]; closed.close()
with open(sys.argv[1] + ".new", "w") as f:
    print(server.server_address[1], silent.getsockname()[1], closed_port, file=f)
import os; os.rename(sys.argv[1] + ".new", sys.argv[1])
threading.Timer(60, server.shutdown).start()
server.serve_forever()
PY
server_pid=$!
for _ in $(seq 100); do [ -s "$tmp/ports" ] && break; sleep 0.1; done
read -r port silent_port closed_port <"$tmp/ports" || { fail "the test server did not start"; finish; }
line='[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}[+-][0-9]{4}'

out=$(check_stdout "answering server" 0 "$kqu" reachability "http://127.0.0.1:$port/")
[ "$(grep -Ecx "$line [0-3] [A-Za-z]+" <<<"$out")" = 2 ] && [ "$(cut -d' ' -f2- <<<"$out")" = $'1 Checking\n3 Reachable' ] \
    || fail "answering server printed: $out"

out=$(check_stdout "answering server, JSON" 0 "$kqu" reachability --json "http://127.0.0.1:$port/")
expect_json "first JSON line" "$(head -1 <<<"$out")" 'd["status"] == 1 and d["name"] == "Checking" and len(d["time"]) == 24'
expect_json "last JSON line" "$(tail -1 <<<"$out")" 'd["status"] == 3 and d["name"] == "Reachable"'

out=$(check_stdout "refused port" 2 "$kqu" reachability "http://127.0.0.1:$closed_port/")
expect_contains "refused port" "$(tail -1 <<<"$out")" " 0 NotReachable"

out=$(check_stdout "silent server with a short time-out" 2 "$kqu" reachability --timeout 0.5 "http://127.0.0.1:$silent_port/")
expect_contains "silent server" "$(tail -1 <<<"$out")" " 0 NotReachable"

# --watch keeps going after the first outcome; only changes are printed.
timeout 2 "$kqu" reachability --watch "http://127.0.0.1:$port/" >"$tmp/watch"
[ $? = 124 ] || fail "--watch ended before it was stopped"
[ "$(cut -d' ' -f2- "$tmp/watch" | xargs)" = "1 Checking 3 Reachable" ] || fail "--watch printed: $(cat "$tmp/watch")"

msg=$(check "a URL without a host" 2 "$kqu" reachability "not a url")
expect_contains "a URL without a host" "$msg" "reachability: not a url"
# The message quotes the URL as given, not its decoded host with raw control bytes.
msg=$(check "a host with a line break" 2 "$kqu" reachability "http://a%0d%0ab/")
expect_contains "a host with a line break" "$msg" "reachability: http://a%0d%0ab/: cannot watch this host"
check "no URL" 1 "$kqu" reachability >/dev/null
check "a time-out of zero" 1 "$kqu" reachability --timeout 0 "http://127.0.0.1:$port/" >/dev/null

kill "$server_pid" 2>/dev/null
finish
