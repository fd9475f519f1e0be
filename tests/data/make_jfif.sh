#!/bin/sh
# JFIF fixtures and their reference decodes.
#
# Needs libjpeg-turbo-progs (cjpeg, djpeg) and python3. The inline Python draws
# grey and colour pictures as PGM and PPM; cjpeg writes them as baseline,
# progressive, arithmetic-coded, restart-marked, 4:2:0 and unsubsampled JPEG
# files, and one copy loses its JFIF APP0 segment (it starts FF D8 FF DB).
# djpeg's decode of every .jpg becomes the .pgm or .ppm of the same name.
#
# With the shared sample folder present, samples.txt gets, for each 8-bit
# sample djpeg decodes to PGM or PPM, its size and the FNV-1a hash of djpeg's
# samples, pixel by pixel with the components interleaved.
set -eu
here="$(cd "$(dirname "$0")" && pwd)"
out="$here/jfif"
samples="$here/../../../shared/samples/jfif"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$out"
rm -f "$out"/*.jpg "$out"/*.pgm "$out"/*.ppm "$out"/samples.txt

python3 - "$work" <<'PY'
import random, sys
work = sys.argv[1]
random.seed(7)
def picture(name, w, h, channels):
    data = bytearray()
    for y in range(h):
        for x in range(w):
            for c in range(channels):
                data.append((x * (9 + 4 * c) + y * (13 - 3 * c) + 50 * c + random.randrange(16)) % 256)
    magic = b"P6" if channels == 3 else b"P5"
    with open(f"{work}/{name}", "wb") as f:
        f.write(b"%s\n%d %d\n255\n" % (magic, w, h) + bytes(data))
picture("grey.pgm", 23, 17, 1)
picture("colour.ppm", 37, 21, 3)
PY

cjpeg -quality 85 -outfile "$out/grey-baseline-23x17.jpg" "$work/grey.pgm"
cjpeg -quality 85 -outfile "$out/rgb-420-37x21.jpg" "$work/colour.ppm"
cjpeg -quality 90 -sample 1x1 -outfile "$out/rgb-444-37x21.jpg" "$work/colour.ppm"
cjpeg -quality 85 -progressive -outfile "$out/rgb-progressive-37x21.jpg" "$work/colour.ppm"
cjpeg -quality 85 -restart 1 -outfile "$out/grey-restart-23x17.jpg" "$work/grey.pgm"
cjpeg -quality 85 -arithmetic -outfile "$out/rgb-arithmetic-37x21.jpg" "$work/colour.ppm"
# The same grey picture without its APP0 segment.
python3 - "$out/grey-baseline-23x17.jpg" "$out/grey-no-app0-23x17.jpg" <<'PY'
import sys
b = open(sys.argv[1], "rb").read()
assert b[2:4] == b"\xff\xe0"
n = (b[4] << 8) | b[5]
open(sys.argv[2], "wb").write(b[:2] + b[4 + n:])
PY
for f in "$out"/*.jpg; do
  base="${f%.jpg}"
  case "$f" in
    *grey*) djpeg -pnm -outfile "$base.pgm" "$f" ;;
    *) djpeg -pnm -outfile "$base.ppm" "$f" ;;
  esac
done

if [ -d "$samples" ]; then
  echo "# 8-bit samples: rows columns components and the FNV-1a hash of djpeg's samples" >"$out/samples.txt"
  for f in "$samples"/*.jpg; do
    djpeg -pnm -outfile "$work/s.pnm" "$f" 2>/dev/null || continue
    python3 - "$work/s.pnm" "$(basename "$f")" "$f" >>"$out/samples.txt" <<'PY'
import sys
# Files of four components (CMYK) open with four bands and no planes: left out.
j = open(sys.argv[3], "rb").read()
at = 2
while at + 9 < len(j) and j[at] == 0xFF:
    marker, length = j[at + 1], (j[at + 2] << 8) | j[at + 3]
    if marker in (0xC0, 0xC1, 0xC2) and j[at + 9] == 4:
        sys.exit(0)
    at += 2 + length
d = open(sys.argv[1], "rb").read()
magic, size, top, data = d.split(b"\n", 3)
if magic not in (b"P5", b"P6"):
    sys.exit(0)
w, h = map(int, size.split())
c = 3 if magic == b"P6" else 1
v = 2166136261
for s in data[:w * h * c]:
    v = ((v ^ s) * 16777619) & 0xFFFFFFFF
print("%s %d %d %d %08x" % (sys.argv[2], h, w, c, v))
PY
  done
fi
