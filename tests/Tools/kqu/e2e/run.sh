#!/usr/bin/env bash
# kqu run: streams, status, standard input, environment and folder of the child.
source "$(dirname "$0")/lib.sh"

out=$(check_stdout "output and status" 4 "$kqu" run -- sh -c 'printf out; printf err >&2; exit 4')
[ "$out" = out ] || fail "standard output: '$out'"
[ "$(cat "$tmp/stderr")" = err ] || fail "standard error: '$(cat "$tmp/stderr")'"

# Bytes go through unchanged both ways, NULs included.
head -c 3000000 /dev/urandom >"$tmp/random"
"$kqu" run --stdin "$tmp/random" -- cat >"$tmp/copy" || fail "cat through --stdin"
cmp -s "$tmp/random" "$tmp/copy" || fail "--stdin bytes differ"
# A non-blocking standard output that fills up only makes kqu wait.
python3 - "$kqu" <<'PY' || fail "output lost on a non-blocking pipe"
import fcntl, os, subprocess, sys, time
r, w = os.pipe()
fcntl.fcntl(w, fcntl.F_SETFL, fcntl.fcntl(w, fcntl.F_GETFL) | os.O_NONBLOCK)
child = subprocess.Popen([sys.argv[1], "run", "--", "head", "-c", "3000000", "/dev/zero"], stdout=w)
os.close(w)
time.sleep(0.3)
total = 0
while chunk := os.read(r, 1 << 16):
    total += len(chunk)
sys.exit(0 if total == 3000000 and child.wait() == 0 else 1)
PY
printf 'piped' | "$kqu" run -- cat >"$tmp/inherited"
[ "$(cat "$tmp/inherited")" = piped ] || fail "standard input is inherited without --stdin"

mkdir "$tmp/here"
out=$(check_stdout "environment and folder" 0 "$kqu" run --cwd "$tmp/here" --env GREETING=hi --env EQ=a=b \
    -- sh -c 'echo "$GREETING $EQ $(pwd) ${HOME:+home}"')
[ "$out" = "hi a=b $tmp/here home" ] || fail "environment and folder: '$out'"

check "killed by a signal" 143 "$kqu" run -- sh -c 'kill -TERM $$' >/dev/null
# Terminating kqu terminates the program too, instead of leaving it behind.
"$kqu" run -- sh -c 'echo $$ >"$0"; exec sleep 30' "$tmp/child" &
runner=$!
for _ in $(seq 100); do [ -s "$tmp/child" ] && break; sleep 0.05; done
kill -TERM "$runner"
wait "$runner"; status=$?
[ "$status" = 143 ] || fail "terminated kqu run: status $status"
kill -0 "$(cat "$tmp/child")" 2>/dev/null && { kill "$(cat "$tmp/child")"; fail "the program outlived kqu run"; }
msg=$(check "missing program" 127 "$kqu" run -- kq-no-such-program)
expect_contains "missing program" "$msg" "KQUTask: cannot launch kq-no-such-program: "
msg=$(check "missing folder" 127 "$kqu" run --cwd "$tmp/none" -- true)
expect_contains "missing folder" "$msg" "KQUTask: cannot launch "
msg=$(check "bad --env" 1 "$kqu" run --env NOEQUALS -- true)
expect_contains "bad --env" "$msg" "NAME=VALUE"
msg=$(check "empty --cwd" 1 "$kqu" run --cwd '' -- true)
expect_contains "empty --cwd" "$msg" "--cwd wants a folder"
check "no program" 1 "$kqu" run >/dev/null
finish
