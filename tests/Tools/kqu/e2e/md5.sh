#!/usr/bin/env bash
# kqu md5 against md5sum.
source "$(dirname "$0")/lib.sh"

python3 -c "import random; random.seed(9); open('$tmp/random', 'wb').write(random.randbytes(3000000))"
for chunk in 1 4096 1048576; do
    out=$(check "md5 chunk $chunk" 0 "$kqu" md5 --chunk-size $chunk "$tmp/random")
    [ "$out" = "$(md5sum "$tmp/random")" ] || fail "md5 with chunk size $chunk: $out"
done
# Without a chunk size nothing is read: the digest of no bytes.
out=$(check "md5 default chunk" 0 "$kqu" md5 "$tmp/random")
[ "$out" = "d41d8cd98f00b204e9800998ecf8427e  $tmp/random" ] || fail "md5 without a chunk size: $out"
check "md5 --help" 0 "$kqu" md5 --help | grep -q d41d8cd98f00b204e9800998ecf8427e || fail "--help explains the default"

# A folder: its regular files in walk order, links skipped.
mkdir -p "$tmp/tree/b/c" "$tmp/tree/empty"
printf 'one' >"$tmp/tree/a"; printf 'two' >"$tmp/tree/b/c/d"; printf 'three' >"$tmp/tree/b/e"
ln -s a "$tmp/tree/link"
expected=$(cat "$tmp/tree/a" "$tmp/tree/b/c/d" "$tmp/tree/b/e" | md5sum | cut -d' ' -f1)
out=$(check "md5 of a folder" 0 "$kqu" md5 --chunk-size 2 "$tmp/tree")
[ "$out" = "$expected  $tmp/tree" ] || fail "md5 of a folder: $out"

out=$(check "md5 of an empty folder" 2 "$kqu" md5 --chunk-size 64 "$tmp/tree/empty")
expect_contains "md5 of an empty folder" "$out" "no regular file"
out=$(check "md5 of a missing file" 2 "$kqu" md5 "$tmp/missing")
expect_contains "md5 of a missing file" "$out" "no such file"
check "md5 bad chunk size" 1 "$kqu" md5 --chunk-size -3 "$tmp/random" >/dev/null
finish
