#!/bin/sh
# Reference colour-space conversions from Python's colorsys, for
# tests/colour/test_colormap.cpp, which checks the library's conversions in
# both directions against this table. Each row is r g b (0-255) and
# colorsys.rgb_to_hsv(r/255, g/255, b/255) as h s v to six decimals: a few
# chosen edges (greys, primaries, hues either side of 0), then LCG colours.
# The script also checks that colorsys.hsv_to_rgb of the stored h s v gives
# the colour back within 1e-5, so the rows serve both directions.
set -eu
out="$(dirname "$0")/colour/colorsys-rgb-to-hsv-200.txt"
mkdir -p "$(dirname "$out")"
python3 - "$out" <<'PY'
import colorsys, sys

colours = [(0, 0, 0), (1, 1, 1), (128, 128, 128), (255, 255, 255), (255, 0, 0),
           (0, 255, 0), (0, 0, 255), (255, 255, 0), (0, 255, 255), (255, 0, 255),
           (255, 0, 1), (255, 1, 0), (1, 0, 255), (0, 1, 255), (254, 255, 255), (10, 20, 30)]
state = 20240917
def step():
    global state
    state = (state * 1664525 + 1013904223) & 0xFFFFFFFF
    return state >> 24
while len(colours) < 200:
    colours.append((step(), step(), step()))

rows = []
for r, g, b in colours:
    h, s, v = (round(x, 6) for x in colorsys.rgb_to_hsv(r / 255.0, g / 255.0, b / 255.0))
    for got, want in zip(colorsys.hsv_to_rgb(h, s, v), (r / 255.0, g / 255.0, b / 255.0)):
        assert abs(got - want) < 1e-5, (r, g, b, h, s, v)
    rows.append("%d %d %d %.6f %.6f %.6f" % (r, g, b, h, s, v))

with open(sys.argv[1], "w") as f:
    f.write("# r g b, then colorsys.rgb_to_hsv of r/255 g/255 b/255 (see make_colour.sh)\n")
    f.write("\n".join(rows) + "\n")
PY
echo "wrote $out"
