#!/usr/bin/env bash
# bench/md5-vs-md5sum.sh KQU [SIZE_MB [FOLDER]]: times `kqu md5 --chunk-size
# 1048576` against md5sum on the same generated file (default 1024 MB under
# /dev/shm, so hashing and not the disk is measured), median of 3 runs each,
# checks that both digests agree and removes the file. Target: ratio <= 1.10.
set -euo pipefail
kqu="$1"
size_mb="${2:-1024}"
folder="${3:-/dev/shm}"
[ -w "$folder" ] || folder="${TMPDIR:-/tmp}"
file=$(mktemp "$folder/kq-md5-XXXXXX")
trap 'rm -f "$file"' EXIT

# 1 MiB of random bytes repeated: cheap to make, nothing for a hash to exploit.
python3 - "$file" "$size_mb" <<'PY'
import os, sys
block = os.urandom(1 << 20)
with open(sys.argv[1], "wb") as f:
    for _ in range(int(sys.argv[2])):
        f.write(block)
PY

# Medians of three runs each, and the two digests compared.
python3 - "$kqu" "$file" "$size_mb" "$folder" <<'PY'
import statistics, subprocess, sys, time
kqu, file, size_mb, folder = sys.argv[1:]
ours_cmd = [kqu, "md5", "--chunk-size", "1048576", file]
theirs_cmd = ["md5sum", file]
def run(cmd):
    start = time.monotonic()
    out = subprocess.run(cmd, check=True, capture_output=True, text=True).stdout
    return time.monotonic() - start, out.split()[0]
ours = [run(ours_cmd) for _ in range(3)]
theirs = [run(theirs_cmd) for _ in range(3)]
ours_time = statistics.median(t for t, _ in ours)
theirs_time = statistics.median(t for t, _ in theirs)
print(f"file: {size_mb} MB in {folder}")
print(f"kqu md5 --chunk-size 1048576 {ours_time:.3f} s   md5sum {theirs_time:.3f} s   "
      f"ratio {ours_time / theirs_time:.2f} (target <= 1.10)")
if ours[0][1] != theirs[0][1]:
    sys.exit(f"digests differ: {ours[0][1]} != {theirs[0][1]}")
print(f"digests agree: {ours[0][1]}")
PY
