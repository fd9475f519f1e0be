#!/usr/bin/env python3
"""ERDAS LAN and GIS fixtures with the values written, as PGM/PPM references.

No tool writes the forms wanted here (GDAL writes only "HEAD74" without side
files), so the bytes are laid out from the format's table: a big-endian
"HEADER" file with real sizes, a .gis with its .trl colours, a .lan with a
.sta, and 4-bit files of one band (rows running on without padding, low
nibble first) and of three bands (each band row padded to a byte).
"""
import os
import struct

here = os.path.join(os.path.dirname(os.path.abspath(__file__)), 'erdas')
os.makedirs(here, exist_ok=True)


def header(magic, pack, bands, w, h, big=False, map_type=0, geo=(0, 0, 0, 0)):
    o = '>' if big else '<'
    b = bytearray(128)
    b[0:6] = magic
    b[6:10] = struct.pack(o + 'HH', pack, bands)
    b[16:24] = struct.pack(o + 'ff', w, h) if big else struct.pack('<ii', w, h)
    b[88:90] = struct.pack(o + 'H', map_type)
    b[112:128] = struct.pack(o + '4f', *geo)
    return bytes(b)


def pnm(name, w, h, planes, colours=None):
    with open(os.path.join(here, name), 'wb') as f:
        if colours:
            f.write(b'P6\n%d %d\n255\n' % (w, h))
            f.write(bytes(c for y in range(h) for x in range(w) for c in colours[planes[0][y][x]]))
        elif len(planes) == 1:
            f.write(b'P5\n%d %d\n255\n' % (w, h) + bytes(v for row in planes[0] for v in row))
        else:
            f.write(b'P6\n%d %d\n255\n' % (w, h))
            f.write(bytes(planes[k][y][x] for y in range(h) for x in range(w) for k in range(3)))


def write(name, data):
    with open(os.path.join(here, name), 'wb') as f:
        f.write(data)


def bil8(planes):
    return b''.join(bytes(planes[k][y]) for y in range(len(planes[0])) for k in range(len(planes)))


def nibbles(values):
    values = list(values) + [0] * (len(values) % 2)
    return bytes(values[i] | values[i + 1] << 4 for i in range(0, len(values), 2))


# Big-endian "HEADER", 8 bits, 3.7 x 5.2 read as 3 x 5.
w, h = 3, 5
p = [[[(x * 40 + y * 7) % 256 for x in range(w)] for y in range(h)]]
write('header-be-3x5.lan', header(b'HEADER', 0, 1, 3.7, 5.2, big=True) + bil8(p))
pnm('header-be-3x5.pgm', w, h, p)

# GIS with a .trl: colours green, red, blue at 128.
w, h = 9, 4
p = [[[(x + 3 * y) % 6 for x in range(w)] for y in range(h)]]
write('trailer-9x4.gis', header(b'HEAD74', 0, 1, w, h) + bil8(p))
red = [(i * 37) % 256 for i in range(256)]
green = [(i * 91 + 5) % 256 for i in range(256)]
blue = [(255 - i * 13) % 256 for i in range(256)]
write('trailer-9x4.trl', b'TRAIL74' + bytes(121) + bytes(green) + bytes(red) + bytes(blue))
pnm('trailer-9x4.ppm', w, h, p, [(red[i], green[i], blue[i]) for i in range(256)])

# LAN of 3 bands with a .sta whose stretch (mean 127.5, deviation 63.75: 0 to
# 255) leaves the colours as the values.
w, h = 7, 6
p = [[[(x * 31 + y * 11 + k * 60) % 256 for x in range(w)] for y in range(h)] for k in range(3)]
write('stats-3band-7x6.lan', header(b'HEAD74', 0, 3, w, h, map_type=1,
                                    geo=(500.0, 4000.0, 30.0, 30.0)) + bil8(p))
rec = b'TRAIL74' + bytes(5) + struct.pack('<f', 127.5) + bytes(8) + struct.pack('<f', 63.75)
write('stats-3band-7x6.sta', b''.join(r + bytes(1152 - len(r)) for r in (rec, rec, rec)))
pnm('stats-3band-7x6.ppm', w, h, p)

# 4 bits, one band, odd width: rows run on without padding.
w, h = 5, 3
p = [[(x * 3 + y * 5) % 16 for x in range(w)] for y in range(h)]
write('four-1band-5x3.lan', header(b'HEAD74', 1, 1, w, h) + nibbles([v for r in p for v in r]))
pnm('four-1band-5x3.pgm', w, h, [p])

# 4 bits, three bands, odd width: each band row padded to a byte.
w, h = 5, 4
p = [[[(x + y * 2 + k * 5) % 16 for x in range(w)] for y in range(h)] for k in range(3)]
write('four-3band-5x4.lan', header(b'HEAD74', 1, 3, w, h) +
      b''.join(nibbles(p[k][y]) for y in range(h) for k in range(3)))
pnm('four-3band-5x4.ppm', w, h, p)
