#!/bin/sh
# LZW strips written by libtiff's tiffcp, with the bytes they expand to.
#
# Needs netpbm (pamtotiff), libtiff-tools (tiffcp) and python3. Each image is
# one strip: NAME.lzw holds the compressed strip as it stands in the TIFF,
# NAME.raw the 8-bit samples it expands to.
#   gradient-64x40: a ramp and a flat area; long strings, widths 9 to 11 bits.
#   noise-96x64: 64 random levels; the table fills, so the strip holds clear
#                codes in its middle and reaches 12-bit codes.
set -eu
cd "$(dirname "$0")/lzw"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

python3 - "$tmp" <<'PY'
import random, sys
tmp = sys.argv[1]
def pgm(name, w, h, data):
    open('%s/%s.pgm' % (tmp, name), 'wb').write(b'P5\n%d %d\n255\n' % (w, h) + data)
    open('%s.raw' % name, 'wb').write(data)
pgm('gradient-64x40', 64, 40,
    bytes((x * 4 + y) % 256 if y < 20 else 77 for y in range(40) for x in range(64)))
r = random.Random(7)
pgm('noise-96x64', 96, 64, bytes(r.randrange(64) * 4 for _ in range(96 * 64)))
PY

for name in gradient-64x40 noise-96x64; do
  pamtotiff -none "$tmp/$name.pgm" > "$tmp/$name-plain.tif"
  tiffcp -c lzw -r 1000 "$tmp/$name-plain.tif" "$tmp/$name.tif"
  python3 - "$tmp/$name.tif" "$name.lzw" <<'PY'
import struct, sys
data = open(sys.argv[1], 'rb').read()
end = '<' if data[:2] == b'II' else '>'
ifd = struct.unpack(end + 'I', data[4:8])[0]
count = struct.unpack(end + 'H', data[ifd:ifd + 2])[0]
tags = {}
for i in range(count):
    tag, kind, n, value = struct.unpack(end + 'HHII', data[ifd + 2 + 12 * i:ifd + 14 + 12 * i])
    if kind == 3 and n == 1:
        value &= 0xFFFF if end == '<' else 0xFFFFFFFF
        if end == '>':
            value >>= 16
    tags[tag] = (n, value)
assert tags[259][1] == 5, 'not LZW'
assert tags[273][0] == 1, 'more than one strip'
offset, size = tags[273][1], tags[279][1]
open(sys.argv[2], 'wb').write(data[offset:offset + size])
PY
done
ls -l
