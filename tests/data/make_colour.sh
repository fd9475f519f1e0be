#!/bin/sh
# Reference colour-space conversions from Python's colorsys, for
# tests/colour/test_colormap.cpp. The colours come from a 32-bit LCG that the
# test reproduces: state = state * 1664525 + 1013904223 (mod 2^32), seed
# 20240917; each colour takes three steps, red, green, blue = state >> 24.
# Each row holds colorsys.rgb_to_hsv of that colour as h s v, each times 1e8
# and rounded. The script also checks that colorsys.hsv_to_rgb of the stored
# values gives the colour back within 1e-7, so the rows serve both directions.
set -eu
out="$(dirname "$0")/colour/colorsys_hsv.txt"
mkdir -p "$(dirname "$out")"
python3 - "$out" <<'PY'
import colorsys, sys

COUNT = 10000
state = 20240917

def step():
    global state
    state = (state * 1664525 + 1013904223) & 0xFFFFFFFF
    return state >> 24

rows = []
for _ in range(COUNT):
    r, g, b = step(), step(), step()
    h, s, v = colorsys.rgb_to_hsv(r / 255.0, g / 255.0, b / 255.0)
    H, S, V = (int(round(x * 1e8)) for x in (h, s, v))
    back = colorsys.hsv_to_rgb(H / 1e8, S / 1e8, V / 1e8)
    for got, want in zip(back, (r / 255.0, g / 255.0, b / 255.0)):
        assert abs(got - want) < 1e-7, (r, g, b, back)
    rows.append("%d %d %d" % (H, S, V))

with open(sys.argv[1], "w") as f:
    f.write("# colorsys.rgb_to_hsv of %d LCG colours (see make_colour.sh), h s v times 1e8\n" % COUNT)
    f.write("\n".join(rows) + "\n")
PY
echo "wrote $out"
