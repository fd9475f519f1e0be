#!/bin/sh
# BMP fixtures and their reference decodes.
#
# Needs ImageMagick (convert) and python3. ImageMagick writes the 40-byte
# (BMP3:), 124-byte (BMP:) and 12-byte (BMP2:) forms at 1, 4, 8 (also RLE8),
# 16 (5-5-5 and 5-6-5 bit fields), 24 and 32 bits. The inline Python writes
# what ImageMagick does not: RLE4, RLE8 with delta and end-of-line escapes,
# top-down rows, 52- and 56-byte headers, and small seeds for the fuzzer.
# ImageMagick's own decode of every .bmp is the .ppm of the same name.
set -eu
cd "$(dirname "$0")/bmp"
rm -f ./*.bmp ./*.ppm

python3 - <<'PY'
import struct
def ppm(name, w, h, f):
    with open(name, 'wb') as o:
        o.write(b'P6\n%d %d\n255\n' % (w, h))
        o.write(bytes(c for y in range(h) for x in range(w) for c in f(x, y)))
# Smooth colours for the true-colour files, few flat ones for the palettes.
ppm('src-rgb.ppm', 29, 9, lambda x, y: ((x * 9) % 256, (y * 29) % 256, (x * y * 7 + 40) % 256))
flat = [(0, 0, 0), (255, 255, 255), (200, 30, 40), (20, 180, 60), (30, 40, 220), (250, 220, 0),
        (0, 200, 200), (128, 128, 128), (90, 10, 120), (250, 140, 0), (60, 60, 60), (10, 90, 40)]
ppm('src-12.ppm', 37, 7, lambda x, y: flat[(x // 3 + y) % 12])
ppm('src-2.ppm', 37, 7, lambda x, y: flat[(x * 3 + y) % 7 % 2])
PY

im() { convert "$@"; }
im src-2.ppm -type palette -colors 2 BMP3:pal-1bit-bmp3-37x7.bmp
im src-12.ppm -type palette -colors 16 BMP3:pal-4bit-bmp3-37x7.bmp
im src-rgb.ppm -type palette -colors 200 -compress None BMP3:pal-8bit-bmp3-29x9.bmp
im src-rgb.ppm -type palette -colors 200 -compress RLE BMP3:rle8-bmp3-29x9.bmp
im src-12.ppm -type palette -colors 16 BMP:pal-4bit-bmp5-37x7.bmp
im src-rgb.ppm -type palette -colors 200 -compress None BMP:pal-8bit-bmp5-29x9.bmp
im src-rgb.ppm -type palette -colors 200 BMP2:pal-8bit-os2-29x9.bmp
im src-rgb.ppm -type truecolor BMP3:rgb-24bit-bmp3-29x9.bmp
im src-rgb.ppm -type truecolor BMP:rgb-24bit-bmp5-29x9.bmp
im src-rgb.ppm -type truecolor BMP2:rgb-24bit-os2-29x9.bmp
im src-rgb.ppm -define bmp:subtype=RGB555 BMP:rgb-16bit-555-29x9.bmp
im src-rgb.ppm -define bmp:subtype=RGB565 BMP:rgb-16bit-565-29x9.bmp
im src-rgb.ppm -alpha set -channel A -evaluate set 100% +channel BMP:rgb-32bit-bmp5-29x9.bmp
im src-rgb.ppm -alpha set -channel A -evaluate set 100% +channel BMP3:rgb-32bit-bmp3-29x9.bmp

python3 - <<'PY'
import struct
def headers(w, h, bits, comp, palette, data, size=40, masks=None):
    info = struct.pack('<IiiHHIIiiII', size, w, h, 1, bits, comp, len(data), 2835, 2835,
                       len(palette) // 4, 0)
    if size > 40:
        info += b''.join(struct.pack('<I', m) for m in (masks or (0, 0, 0)))
        info += b'\0' * (size - len(info))
    offset = 14 + len(info) + len(palette)
    return b'BM' + struct.pack('<IHHI', offset + len(data), 0, 0, offset) + info + palette + data
pal16 = b''.join(bytes((b, g, r, 0)) for r, g, b in
                 [(0, 0, 0), (255, 0, 0), (0, 255, 0), (0, 0, 255), (255, 255, 0), (0, 255, 255),
                  (255, 0, 255), (128, 128, 128), (255, 255, 255), (128, 0, 0), (0, 128, 0),
                  (0, 0, 128), (128, 128, 0), (0, 128, 128), (128, 0, 128), (64, 64, 64)])
pal256 = b''.join(bytes((i, 255 - i, (i * 7) % 256, 0)) for i in range(256))
# RLE4, 11 x 4: runs of two alternating nibbles, a literal of 5, a delta
# that skips pixels (left 0), rows ended early.
rle4 = bytes([4, 0x12, 0, 5, 0x34, 0x56, 0x70, 0, 2, 0x9A, 0, 0,   # row 0 (bottom)
              11, 0xF1, 0, 0,                                      # row 1
              2, 0x33, 0, 2, 3, 1, 3, 0x88, 0, 0,                  # row 2, delta to row 3 col 5
              0, 1])
open('rle4-11x4.bmp', 'wb').write(headers(11, 4, 4, 2, pal16, rle4))
# RLE8, 9 x 5: runs, an odd literal with its pad byte, a delta, lines ended
# early, the end of the bitmap before the last row.
rle8 = bytes([3, 10, 0, 3, 20, 21, 22, 0, 3, 30, 0, 0,
              9, 40, 0, 0,
              2, 45, 0, 2, 4, 1, 2, 50, 0, 0,
              1, 60, 0, 0, 0, 1])
open('rle8-delta-9x5.bmp', 'wb').write(headers(9, 5, 8, 1, pal256, rle8))
# Top-down 8-bit: a negative height.
rows = [bytes((x * 17 + y * 40) % 256 for x in range(13)) + b'\0' * 3 for y in range(6)]
open('topdown-8bit-13x6.bmp', 'wb').write(headers(13, -6, 8, 0, pal256, b''.join(rows)))
# 24-bit top-down.
rows = [bytes(c for x in range(7) for c in ((x * 30) % 256, (y * 50) % 256, 99)) + b'\0' * 3
        for y in range(5)]
open('topdown-24bit-7x5.bmp', 'wb').write(headers(7, -5, 24, 0, b'', b''.join(rows)))
# 52- and 56-byte headers with 16- and 32-bit fields.
px = [(x * 2113 + y * 977) & 0xFFFF for y in range(4) for x in range(6)]
data = b''.join(struct.pack('<H', p) for p in px)
open('fields-16bit-52-6x4.bmp', 'wb').write(headers(6, 4, 16, 3, b'', data, 52, (0xF800, 0x07E0, 0x001F)))
px = [(x * 0x10305 + y * 0x402010) & 0xFFFFFFFF for y in range(4) for x in range(5)]
data = b''.join(struct.pack('<I', p) for p in px)
open('fields-32bit-56-5x4.bmp', 'wb').write(headers(5, 4, 32, 3, b'', data, 56, (0xFF000000, 0xFF0000, 0xFF00)))
PY

for f in ./*.bmp; do convert "$f" -depth 8 "ppm:${f%.bmp}.ppm"; done
rm -f src-*.ppm
