#!/usr/bin/env bash
# kqu render-text: PNG sizes, glyphs present, refusals.
source "$(dirname "$0")/lib.sh"

# png_info FILE: "WIDTH HEIGHT COLOUR_TYPE" from the IHDR.
png_info() {
    python3 -c 'import struct, sys; d = open(sys.argv[1], "rb").read(); assert d[:8] == b"\x89PNG\r\n\x1a\n"
print(*struct.unpack(">II", d[16:24]), d[25])' "$1"
}

check "gradient text" 0 "$kqu" render-text "Hello <b>world</b>" --width 160 --height 40 --scale 2 \
    --font "DejaVu Sans 20" --gradient "#ff0000,#0000ff" --tags "b=#00ff00" --fade --shadow -o "$tmp/text.png" >/dev/null
[ "$(png_info "$tmp/text.png")" = "320 80 6" ] || fail "gradient text: $(png_info "$tmp/text.png")"
out=$(check "mask" 0 "$kqu" render-text "Hello" --width 100 --height 30 --mask -o "$tmp/mask.png")
expect_contains "mask" "$out" "$tmp/mask.png: 100x30 pixels"
[ "$(png_info "$tmp/mask.png")" = "100 30 6" ] || fail "mask: $(png_info "$tmp/mask.png")"

# Glyphs make the PNG much larger than a transparent one of the same size.
check "empty text" 0 "$kqu" render-text "" --width 100 --height 30 -o "$tmp/empty.png" >/dev/null
[ "$(png_info "$tmp/empty.png")" = "100 30 6" ] || fail "empty text: $(png_info "$tmp/empty.png")"
[ "$(stat -c %s "$tmp/mask.png")" -gt $(($(stat -c %s "$tmp/empty.png") + 300)) ] || fail "mask has no glyphs"

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
