#!/usr/bin/env bash
# kqu render-text: PNG sizes, pixels present, refusals.
source "$(dirname "$0")/lib.sh"

# png_info FILE: "WIDTH HEIGHT COLOUR_TYPE OPAQUE_PIXELS" from the IHDR and the decoded rows.
png_info() {
    python3 - "$1" <<'PY'
import struct, sys, zlib
data = open(sys.argv[1], "rb").read()
assert data[:8] == b"\x89PNG\r\n\x1a\n"
width, height, depth, colour = struct.unpack(">IIBB", data[16:26])
idat, pos = b"", 8
while pos < len(data):
    length, kind = struct.unpack(">I4s", data[pos:pos + 8])
    if kind == b"IDAT": idat += data[pos + 8:pos + 8 + length]
    pos += 12 + length
raw, stride, rows, previous = zlib.decompress(idat), width * 4 + 1, [], bytearray(width * 4)
for y in range(height):
    kind, line = raw[y * stride], bytearray(raw[y * stride + 1:(y + 1) * stride])
    for i in range(len(line)):
        a = line[i - 4] if i >= 4 else 0
        b = previous[i]
        c = previous[i - 4] if i >= 4 else 0
        p = a + b - c
        pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
        line[i] = (line[i] + [0, a, b, (a + b) // 2, a if pa <= pb and pa <= pc else b if pb <= pc else c][kind]) & 255
    rows.append(line); previous = line
print(width, height, colour, sum(1 for row in rows for alpha in row[3::4] if alpha > 128))
PY
}

check "gradient text" 0 "$kqu" render-text "Hello <b>world</b>" --width 160 --height 40 --scale 2 \
    --font "DejaVu Sans 20" --gradient "#ff0000,#0000ff" --tags "b=#00ff00" --fade --shadow -o "$tmp/text.png" >/dev/null
read -r width height colour opaque <<<"$(png_info "$tmp/text.png")"
[ "$width x $height" = "320 x 80" ] || fail "gradient text size: $width x $height"
[ "$colour" = 6 ] || fail "gradient text is not RGBA: colour type $colour"
[ "${opaque:-0}" -gt 200 ] || fail "gradient text has no glyphs: $opaque opaque pixels"

out=$(check "mask" 0 "$kqu" render-text "Hello" --width 100 --height 30 --mask -o "$tmp/mask.png")
expect_contains "mask" "$out" "100x30 pixels"
read -r width height colour opaque <<<"$(png_info "$tmp/mask.png")"
[ "$width x $height" = "100 x 30" ] || fail "mask size: $width x $height"
[ "${opaque:-0}" -gt 50 ] || fail "mask has no glyphs: $opaque opaque pixels"

# Empty text still makes a (transparent) PNG; bad sizes and colours write nothing.
check "empty text" 0 "$kqu" render-text "" --width 10 --height 10 -o "$tmp/empty.png" >/dev/null
[ "$(png_info "$tmp/empty.png")" = "10 10 6 0" ] || fail "empty text: $(png_info "$tmp/empty.png")"
for arguments in "--width 0 --height 10" "--width 20000 --height 10" "--width 10000 --height 10000" \
                 "--width 10 --height 10 --scale 0.01" "--width 10 --height 10 --gradient #12,#000000" \
                 "--width 10 --height 10 --tags b=red" "--width 10 --height 10 --tags =#ff0000"; do
    # shellcheck disable=SC2086
    out=$(check "render-text $arguments" 2 "$kqu" render-text "x" $arguments -o "$tmp/refused.png")
    [ -n "$out" ] || fail "render-text $arguments: no message"
    [ -e "$tmp/refused.png" ] && fail "render-text $arguments wrote a file"
done
check "missing --height" 1 "$kqu" render-text "x" --width 10 -o "$tmp/refused.png" >/dev/null
finish
