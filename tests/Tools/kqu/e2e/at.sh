#!/usr/bin/env bash
source "$(dirname "$0")/lib.sh"

# A date one to two seconds ahead, in local time: the program runs no earlier,
# its output streams through and its status becomes kqu's.
when=$(date -d '+2 seconds' +%Y-%m-%dT%H:%M:%S)
target=$(date -d "$when" +%s)
out=$(check_stdout "a date ahead" 3 "$kqu" at "$when" -- sh -c 'date +%s; echo "to stderr" >&2; exit 3')
[ "$out" -ge "$target" ] 2>/dev/null || fail "a date ahead: ran at '$out', before $target"
[ "$out" -le $((target + 2)) ] 2>/dev/null || fail "a date ahead: ran at '$out', long after $target"
expect_contains "a date ahead" "$(cat "$tmp/stderr")" "to stderr"

# Dates in the past run at once, in every zone form; arguments pass unchanged.
for when in "2001-01-01T00:00Z" "2001-01-01T00:00:00+02:00" "2001-01-01T00:00:00.5-0130" "2001-01-01 00:00"; do
    out=$(check_stdout "past date $when" 0 "$kqu" at "$when" -- printf '%s|' "two words" "-x" "")
    [ "$out" = "two words|-x||" ] || fail "past date $when printed '$out'"
done
check "a failing program" 1 "$kqu" at 2001-01-01T00:00Z -- false >/dev/null

# Terminating kqu ends the wait, or the program once it runs, with 128 + SIGTERM.
"$kqu" at 2001-01-01T00:00Z -- sh -c 'echo $$ >"$0"; exec sleep 30' "$tmp/child" &
runner=$!
for _ in $(seq 100); do [ -s "$tmp/child" ] && break; sleep 0.05; done
kill -TERM "$runner"
wait "$runner"; status=$?
[ "$status" = 143 ] || fail "terminated kqu at: status $status"
kill -0 "$(cat "$tmp/child")" 2>/dev/null && { kill "$(cat "$tmp/child")"; fail "the program outlived kqu at"; }
"$kqu" at "$(date -d '+1 hour' +%Y-%m-%dT%H:%M)" -- touch "$tmp/ran" &
runner=$!
sleep 0.3
kill -TERM "$runner"
wait "$runner"; status=$?
[ "$status" = 143 ] || fail "kqu at terminated while waiting: status $status"

# A bad date or a missing program fails before anything runs.
for when in "tomorrow" "2026-02-30T10:00" "2026-05-01T25:00" "2026-05-01" "2026-05-01T10:00+25:00"; do
    msg=$(check "bad date $when" 2 "$kqu" at "$when" -- touch "$tmp/ran")
    expect_contains "bad date $when" "$msg" "'$when' is not a date and time in ISO 8601"
done
msg=$(check "missing program" 127 "$kqu" at 2001-01-01T00:00Z -- "$tmp/missing")
expect_contains "missing program" "$msg" "program not found"
check "no program" 1 "$kqu" at 2001-01-01T00:00Z >/dev/null
[ -e "$tmp/ran" ] && fail "a refused date ran the program"
finish
