#!/usr/bin/env bash
# kqu crc32 against python3's zlib.crc32.
source "$(dirname "$0")/lib.sh"

python3 -c "import random; random.seed(5); open('$tmp/random', 'wb').write(random.randbytes(5000000))"
printf '123456789' >"$tmp/check"
: >"$tmp/empty"
reference() { python3 -c "import sys, zlib; print('%08x' % zlib.crc32(open(sys.argv[1], 'rb').read(), int(sys.argv[2], 0)))" "$@"; }
for f in random check empty; do
    out=$(check "crc32 $f" 0 "$kqu" crc32 "$tmp/$f")
    [ "$out" = "$(reference "$tmp/$f" 0)" ] || fail "crc32 $f: $out"
    # A seed S starts the register at S: python's running value is its complement.
    out=$(check "crc32 $f seeded" 0 "$kqu" crc32 --seed 0x12345678 "$tmp/$f")
    [ "$out" = "$(reference "$tmp/$f" 0xedcba987)" ] || fail "crc32 $f with a seed: $out"
done
[ "$("$kqu" crc32 - <"$tmp/check")" = cbf43926 ] || fail "crc32 from standard input"
[ "$("$kqu" crc32 --seed 4294967295 --polynomial 0x82F63B78 "$tmp/check")" = e3069283 ] || fail "Castagnoli"
[ "$("$kqu" crc32 --seed 7 "$tmp/empty")" = fffffff8 ] || fail "empty input gives the seed's complement"

for bad in 0x1FFFFFFFF -1 12ab 0x ""; do
    out=$(check "seed '$bad'" 1 "$kqu" crc32 --seed "$bad" "$tmp/check")
done
out=$(check "crc32 of a missing file" 2 "$kqu" crc32 "$tmp/missing")
expect_contains "crc32 of a missing file" "$out" "$tmp/missing"
finish
