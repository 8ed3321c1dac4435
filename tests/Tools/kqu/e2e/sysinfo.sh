#!/usr/bin/env bash
source "$(dirname "$0")/lib.sh"

# The facts of this machine vary; their shape does not.
json=$(check_stdout "sysinfo --json" 0 "$kqu" sysinfo --json)
expect_json "sysinfo --json" "$json" \
    "(isinstance(d['MachineType'], str) and d['HumanMachineType'] and d['CPUCoresCount'] >= 1 and
      sorted(d['Memory']) == sorted(['wired', 'active', 'inactive', 'compressed', 'free', 'stolen']) and
      all(isinstance(v, int) and v >= 0 for v in d['Memory'].values()))"
out=$(check_stdout "sysinfo" 0 "$kqu" sysinfo)
expect_contains "sysinfo" "$out" "HumanMachineType: "
grep -qE '^Memory:$' <<<"$out" && grep -qE '^  free: [0-9]+$' <<<"$out" || fail "sysinfo does not indent Memory: $out"

# The model name and memory size come from the system profiler.
cat >"$tmp/profiler" <<'PROFILER'
#!/bin/sh
[ "$1" = SPHardwareDataType ] && printf 'Hardware:\n\n    Hardware Overview:\n\n      Model Name: Test Station 9\n      Memory: 12 GB\n'
exit 0
PROFILER
chmod +x "$tmp/profiler"
json=$(KQ_SYSTEM_PROFILER="$tmp/profiler" check_stdout "sysinfo with a profiler" 0 "$kqu" sysinfo --json)
expect_json "sysinfo with a profiler" "$json" \
    "d['HumanMachineType'] == 'Test Station 9' and d['HumanReadableMemorySize'] == '12 GB'"
grep -q profiler "$tmp/stderr" && fail "sysinfo with a profiler warned: $(cat "$tmp/stderr")"

# Without one the answer is the bare "Mac", and stderr says why (unless --quiet); stdout stays one JSON document.
json=$(KQ_SYSTEM_PROFILER="$tmp/missing" check_stdout "sysinfo without a profiler" 0 "$kqu" sysinfo --json)
expect_json "sysinfo without a profiler" "$json" "d['HumanMachineType'] == 'Mac' and 'HumanReadableMemorySize' not in d"
expect_contains "sysinfo without a profiler" "$(cat "$tmp/stderr")" "kqu: warning: "
expect_contains "sysinfo without a profiler" "$(cat "$tmp/stderr")" "$tmp/missing"
[ "$(grep -c "$tmp/missing" "$tmp/stderr")" = 1 ] || fail "the profiler's warning was not shown exactly once: $(cat "$tmp/stderr")"
json=$(KQ_SYSTEM_PROFILER="$tmp/missing" check_stdout "sysinfo --quiet without a profiler" 0 "$kqu" sysinfo --json --quiet)
expect_json "sysinfo --quiet without a profiler" "$json" "d['HumanMachineType'] == 'Mac'"
[ -s "$tmp/stderr" ] && fail "sysinfo --quiet wrote to stderr: $(cat "$tmp/stderr")"

check "sysinfo with an argument" 1 "$kqu" sysinfo extra >/dev/null
finish
