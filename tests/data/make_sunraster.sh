#!/bin/sh
# Sun raster fixtures and their reference decodes.
#
# Needs netpbm (pnmtorast, rasttopnm) and python3. The inline Python draws the
# source images as PBM, PGM and PPM, and pnmtorast writes each as a plain
# (-standard) and, for 1 and 8 bits, a byte-run-encoded (-rle) Sun raster.
# pnmtorast writes grey and few-colour images as 8 bits with a 256-entry
# colour map and switches to 24 bits above 256 colours; it writes 24 bits only
# plain, and neither 32-bit files nor 8-bit files without a map. Those kinds
# the Python writes itself, the encoded ones by re-encoding pnmtorast's plain
# rows with a run encoder of the same scheme. rasttopnm decodes every .ras
# into the .pnm of the same name, which the tests compare with what the driver
# delivers.
set -eu
cd "$(dirname "$0")/sunraster"
rm -f ./*.ras ./*.pnm

python3 - <<'PY'
import struct
import subprocess

def pbm(w, h, bit):
    rows = []
    for y in range(h):
        bits = [bit(x, y) for x in range(w)] + [0] * (-w % 8)
        rows.append(bytes(int(''.join(str(b) for b in bits[i:i + 8]), 2)
                          for i in range(0, len(bits), 8)))
    return b'P4\n%d %d\n' % (w, h) + b''.join(rows)

def pgm(w, h, value):
    return b'P5\n%d %d\n255\n' % (w, h) + bytes(value(x, y) for y in range(h) for x in range(w))

def ppm(w, h, colour):
    return b'P6\n%d %d\n255\n' % (w, h) + bytes(c for y in range(h) for x in range(w)
                                                for c in colour(x, y))

def header(w, h, depth, length, kind, maptype=0, maplength=0):
    return struct.pack('>8I', 0x59a66a95, w, h, depth, length, kind, maptype, maplength)

def encode(data):
    # 128 is the only escape: 128,0 is one 128; 128,n,v is n+1 bytes v.
    out, i = bytearray(), 0
    while i < len(data):
        j = i
        while j < len(data) and data[j] == data[i] and j - i < 256:
            j += 1
        n = j - i
        if n > 2 or (data[i] == 128 and n == 2):
            out += bytes([128, n - 1, data[i]])
        elif data[i] == 128:
            out += bytes([128, 0])
            n = 1
        else:
            out += bytes([data[i]])
            n = 1
        i += n
    return bytes(out)

def pnmtorast(name, source, rle=True):
    std = subprocess.run(['pnmtorast', '-quiet', '-standard'], input=source,
                         check=True, capture_output=True).stdout
    open('std-%s.ras' % name, 'wb').write(std)
    if rle:
        enc = subprocess.run(['pnmtorast', '-quiet', '-rle'], input=source,
                             check=True, capture_output=True).stdout
        open('rle-%s.ras' % name, 'wb').write(enc)
    return std

def reencode(name, std):
    w, h, depth, _, _, maptype, maplength = struct.unpack('>7I', std[4:32])
    enc = encode(std[32 + maplength:])
    open('rle-%s.ras' % name, 'wb').write(
        header(w, h, depth, len(enc), 2, maptype, maplength) + std[32:32 + maplength] + enc)

pnmtorast('bw-1bit-13x7', pbm(13, 7, lambda x, y: int((x * y + x) % 3 == 0)))
pnmtorast('bw-1bit-37x5', pbm(37, 5, lambda x, y: int((x + 2 * y) % 5 < 2)))
# White margins and blank rows: runs of zero bytes cross row ends.
pnmtorast('bw-1bit-70x6',
          pbm(70, 6, lambda x, y: int(y in (2, 3) and 9 < x < 60 and (x + y) % 4 != 0)))

pnmtorast('grey-8bit-13x7', pgm(13, 7, lambda x, y: (x * 19 + y * 7) % 256))

def escapes(x, y):
    # Byte 128 alone, in pairs and in long runs; flat rows under a run that
    # covers whole rows and more; runs that cross from one row into the next.
    if y == 0:
        return 128 if x in (3, 7, 8, 20, 21, 22, 23) else x * 5
    if y in (1, 2):
        return 200
    if y == 3:
        return 200 if x < 30 else 128
    return 128 if x < 4 else (x * 7 + y) % 256
pnmtorast('grey-8bit-38x6', pgm(38, 6, escapes))

pal = [(255, 0, 0), (0, 128, 0), (0, 0, 255), (200, 200, 20)]
pnmtorast('palette-8bit-13x7', ppm(13, 7, lambda x, y: pal[(x // 3 + y) % 4]))
pnmtorast('palette-8bit-37x5', ppm(37, 5, lambda x, y: ((x * 40) % 256, (y * 60) % 256, 90)))

# More than 256 colours make pnmtorast write 24 bits.
std = pnmtorast('rgb-24bit-37x9',
                ppm(37, 9, lambda x, y: ((x * 7) % 256, (y * 29) % 256, (x * y * 3) % 256)),
                rle=False)
reencode('rgb-24bit-37x9', std)
def patches(x, y):
    if y < 5:
        return (128, 128, 128) if x < 10 else (30, 60, 90)
    return ((x * 13) % 256, (y * 17) % 256, 255 - x - y)
std = pnmtorast('rgb-24bit-29x15', ppm(29, 15, patches), rle=False)
reencode('rgb-24bit-29x15', std)

w, h = 13, 7
grey = b''.join(bytes((x * 11 + y * 23) % 256 for x in range(w)) + b'\0' for y in range(h))
open('std-grey-8bit-nomap-13x7.ras', 'wb').write(header(w, h, 8, len(grey), 1) + grey)

# 32-bit pixels: a pad byte, then blue, green, red.
rgb32 = b''.join(bytes(c for x in range(w) for c in
                       (0, (x * y * 9) % 256, (y * 31) % 256, (x * 19) % 256)) for y in range(h))
open('std-rgb-32bit-13x7.ras', 'wb').write(header(w, h, 32, len(rgb32), 1) + rgb32)
def flat_pixel(x, y):
    if y >= 4:
        return (0, x, y, 128)
    return (0, 10, 20, 30) if x < 6 else (0, 128, 128, 128)
flat = b''.join(bytes(c for x in range(w) for c in flat_pixel(x, y)) for y in range(h))
enc = encode(flat)
open('rle-rgb-32bit-13x7.ras', 'wb').write(header(w, h, 32, len(enc), 2) + enc)
PY

for ras in ./*.ras; do
  rasttopnm -quiet "$ras" > "${ras%.ras}.pnm"
done
