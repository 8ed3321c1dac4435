# Shared by the kqu end-to-end scripts: each script is run as
#   SCRIPT KQU SAMPLE_MAC
# and exits with the number of failed checks.
set -u
kqu="$1"
sample="$2"
tmp=$(mktemp -d); trap 'chmod -R u+rwX "$tmp" 2>/dev/null; rm -rf "$tmp"' EXIT

# Failures are counted in a file: most checks run inside $(...), a subshell.
fail() { echo "FAIL: $*" >&2; echo >>"$tmp/.failures"; }

# check DESCRIPTION EXPECTED_STATUS COMMAND...: runs it, prints stdout and
# stderr together, counts a failure when the exit status differs.
check() {
    local description="$1" expected="$2"; shift 2
    local output status
    output=$("$@" 2>&1); status=$?
    if [ "$status" != "$expected" ]; then
        fail "$description: exit $status, expected $expected"; head -5 <<<"$output" >&2
    fi
    printf '%s' "$output"
}

# check_stdout: as check, but prints stdout alone and leaves stderr in $tmp/stderr.
check_stdout() {
    local description="$1" expected="$2"; shift 2
    local output status
    output=$("$@" 2>"$tmp/stderr"); status=$?
    if [ "$status" != "$expected" ]; then
        fail "$description: exit $status, expected $expected"; head -5 "$tmp/stderr" >&2
    fi
    printf '%s' "$output"
}

# expect_contains DESCRIPTION TEXT NEEDLE
expect_contains() { grep -qF -- "$3" <<<"$2" || fail "$1: missing '$3' in: $(head -c 400 <<<"$2")"; }
# expect_json DESCRIPTION TEXT PYTHON_EXPRESSION_OVER_d
expect_json() {
    python3 -c "import json,sys; d=json.loads(sys.stdin.read()); assert $3" <<<"$2" 2>/dev/null \
        || fail "$1: JSON check '$3' failed on: $(head -c 400 <<<"$2")"
}

finish() {
    local failures=0
    [ -f "$tmp/.failures" ] && failures=$(wc -l <"$tmp/.failures")
    [ "$failures" = 0 ] && echo "$(basename "$0"): all checks passed"
    exit "$failures"
}
