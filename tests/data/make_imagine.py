#!/usr/bin/python3
# IMAGINE (.img) fixtures under tests/data/imagine, written by GDAL's HFA
# driver: every integer pixel type, float 32, NBITS 1, 2 and 4, run-length
# blocks (COMPRESSED=YES), three layers, a colour table, a spill file
# (USE_SPILL=YES) and 40 layers; some with statistics, some without. Each
# <name>.values holds "width height bands" and then, row by row, one line per
# band of the values GDAL reads back (float 32 as its bit patterns). Files of
# one or three 8-bit or 16-bit bands get a PGM or PPM too (the colour-table
# file a PPM of its colours), and expected.txt lists for each file what GDAL
# reports: width, height, bands, GDAL's origin x and y (corner of the
# upper-left pixel), pixel width and height, colour entries.
# Needs python3-gdal (Debian: gdal-bin python3-gdal). Run from anywhere.
import os
import struct

import numpy as np
from osgeo import gdal

gdal.UseExceptions()
here = os.path.dirname(os.path.abspath(__file__))
out = os.path.join(here, "imagine")
os.makedirs(out, exist_ok=True)
for f in os.listdir(out):
    os.remove(os.path.join(out, f))

GT = (1000.0, 10.0, 0.0, 2000.0, 0.0, -10.0)


def pattern(bands, rows, cols, lo, hi, seed):
    v = np.zeros((bands, rows, cols), dtype=np.float64)
    span = hi - lo + 1
    for b in range(bands):
        for y in range(rows):
            for x in range(cols):
                v[b, y, x] = lo + ((x * 7 + y * 13 + b * 29 + seed) * 2654435761 % span)
    return v


def runs(rows, cols, modulus):
    v = np.zeros((1, rows, cols))
    for y in range(rows):
        for x in range(cols):
            v[0, y, x] = (x // 9 + y) % modulus
    return v


def write(name, dtype, data, options=(), geo=True, stats=False, colours=None):
    path = os.path.join(out, name + ".img")
    bands, rows, cols = data.shape
    ds = gdal.GetDriverByName("HFA").Create(path, cols, rows, bands, dtype, list(options))
    if geo:
        ds.SetGeoTransform(GT)
    for b in range(bands):
        band = ds.GetRasterBand(b + 1)
        band.WriteArray(data[b])
        if colours:
            ct = gdal.ColorTable()
            for i, c in enumerate(colours):
                ct.SetColorEntry(i, c)
            band.SetColorTable(ct)
        if stats:
            band.ComputeStatistics(False)
    ds = None
    aux = path + ".aux.xml"
    if os.path.exists(aux):
        os.remove(aux)
    # What GDAL reads back is the reference.
    ds = gdal.Open(path)
    back = ds.ReadAsArray()
    if back.ndim == 2:
        back = back[None]
    if back.dtype == np.float32:
        back = back.view(np.uint32)
    with open(os.path.join(out, name + ".values"), "w") as f:
        f.write("%d %d %d\n" % (cols, rows, bands))
        for y in range(rows):
            for b in range(bands):
                f.write(" ".join(str(int(v)) for v in back[b, y]) + "\n")
    gt = ds.GetGeoTransform()
    ct = ds.GetRasterBand(1).GetColorTable()
    ncol = ct.GetCount() if ct else 0
    with open(os.path.join(out, "expected.txt"), "a") as f:
        f.write("%s.img %d %d %d %.6f %.6f %.6f %.6f %d\n" % (name, cols, rows, bands, gt[0], gt[3], gt[1], -gt[5], ncol))
    maxval = int(back.max()) if back.size else 0
    if (bands in (1, 3)) and back.dtype == np.uint8 and not ct:
        magic = "P5" if bands == 1 else "P6"
        mv = 255 if maxval < 256 else 65535
        fmt = ">u1" if mv == 255 else ">u2"
        with open(os.path.join(out, name + (".pgm" if bands == 1 else ".ppm")), "wb") as f:
            f.write(("%s\n%d %d\n%d\n" % (magic, cols, rows, mv)).encode())
            f.write(np.transpose(back, (1, 2, 0)).astype(fmt).tobytes())
    if ct:
        with open(os.path.join(out, name + ".ppm"), "wb") as f:
            f.write(("P6\n%d %d\n255\n" % (cols, rows)).encode())
            for y in range(rows):
                for x in range(cols):
                    f.write(bytes(ct.GetColorEntry(int(back[0, y, x]))[:3]))


write("u8-stats-7x5", gdal.GDT_Byte, pattern(1, 5, 7, 0, 255, 1), stats=True)
write("s8-7x5", gdal.GDT_Byte, pattern(1, 5, 7, 0, 255, 2), ["PIXELTYPE=SIGNEDBYTE"], geo=False)
write("u16-stats-7x5", gdal.GDT_UInt16, pattern(1, 5, 7, 0, 65535, 3), stats=True)
write("s16-7x5", gdal.GDT_Int16, pattern(1, 5, 7, -32768, 32767, 4))
write("u32-stats-7x5", gdal.GDT_UInt32, pattern(1, 5, 7, 0, 4294967295, 5), stats=True)
write("s32-7x5", gdal.GDT_Int32, pattern(1, 5, 7, -2147483648, 2147483647, 6))
write("f32-stats-7x5", gdal.GDT_Float32, pattern(1, 5, 7, -100000, 100000, 7) / 8.0, stats=True)
write("nbits1-9x4", gdal.GDT_Byte, pattern(1, 4, 9, 0, 1, 8), ["NBITS=1"])
write("nbits2-9x4", gdal.GDT_Byte, pattern(1, 4, 9, 0, 3, 9), ["NBITS=2"], stats=True)
write("nbits4-9x4", gdal.GDT_Byte, pattern(1, 4, 9, 0, 15, 10), ["NBITS=4"])
write("rle-u8-70x3", gdal.GDT_Byte, runs(3, 70, 5), ["COMPRESSED=YES", "BLOCKSIZE=32"])
write("rle-s16-9x4", gdal.GDT_Int16, pattern(1, 4, 9, -300, 300, 11), ["COMPRESSED=YES"], stats=True)
write("rgb-6x4", gdal.GDT_Byte, pattern(3, 4, 6, 0, 255, 12), stats=True)
write("palette-7x5", gdal.GDT_Byte, pattern(1, 5, 7, 0, 4, 13),
      colours=[(0, 0, 0, 255), (255, 0, 0, 255), (0, 128, 0, 255), (10, 20, 250, 255), (200, 200, 7, 255)])
write("spill-6x4", gdal.GDT_Byte, pattern(1, 4, 6, 0, 255, 14), ["USE_SPILL=YES"])
write("layers40-3x2", gdal.GDT_Byte, pattern(40, 2, 3, 0, 255, 15), ["COMPRESSED=YES", "BLOCKSIZE=32"], geo=False)

# FNV-1a hashes of the shared samples as GDAL reads them, pixel by pixel with
# bands interleaved (float 32 as bit patterns), for tests/drivers/test_imagine.cpp.
samples = os.path.join(here, "..", "..", "..", "shared", "samples", "imagine")
if os.path.isdir(samples):
    for name in sorted(os.listdir(samples)):
        if not name.endswith(".img"):
            continue
        ds = gdal.Open(os.path.join(samples, name))
        a = ds.ReadAsArray()
        if a.ndim == 2:
            a = a[None]
        if a.dtype == np.float32:
            a = a.view(np.uint32)
        h = 2166136261
        for v in np.transpose(a, (1, 2, 0)).reshape(-1):
            h = ((h ^ int(v)) * 16777619) & 0xFFFFFFFF
        print("%s %d %d %d 0x%08x" % (name, ds.RasterYSize, ds.RasterXSize, ds.RasterCount, h))
