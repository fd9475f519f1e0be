#!/usr/bin/python3
# Raw band files with their headers under tests/data/standard. GDAL's EHdr
# writer makes the BIL files (8-bit 1 and 3 bands, 16- and 32-bit 2 bands
# with .stx, 1 band with .clr, map keys); this script writes the layouts and
# keys GDAL does not write (BIP, BSQ, BYTEORDER M, SKIPBYTES, row padding, 1-
# and 4-bit rows) and checks that GDAL reads each back as the array it wrote.
# Each <name>.values holds "width height bands" and then, row by row, the
# band values one row of a band to a line: what GDAL reads, or for the 4-bit
# BIP file (whose samples come by 32-bit little-endian words) the script's own
# array. 8-bit files with 1 or 3 bands get a PGM or PPM as well; the 1-bit
# file a PBM (1 black). Also prints the FNV-1a hashes of the shared samples in
# ../shared/samples/ehdr, pixel by pixel with bands interleaved.
# Needs python3-gdal (Debian: gdal-bin python3-gdal). Run from anywhere.
import os
import struct
import sys

import numpy as np
from osgeo import gdal

gdal.UseExceptions()
here = os.path.dirname(os.path.abspath(__file__))
out = os.path.join(here, "standard")
os.makedirs(out, exist_ok=True)


def pattern(bands, rows, cols, modulus, seed):
    v = np.zeros((bands, rows, cols), dtype=np.int64)
    for b in range(bands):
        for y in range(rows):
            for x in range(cols):
                v[b, y, x] = (seed + 37 * b + 11 * y * cols + 7 * x + x * y) % modulus
    return v


def gdal_values(path):
    ds = gdal.Open(path)
    a = ds.ReadAsArray()
    if a.ndim == 2:
        a = a[np.newaxis]
    return a, ds


def write_values(name, a, bits=None):
    bands, rows, cols = a.shape
    with open(os.path.join(out, name + ".values"), "w") as f:
        f.write("%d %d %d\n" % (cols, rows, bands))
        for y in range(rows):
            for b in range(bands):
                row = a[b, y]
                if bits is not None:
                    row = row.astype(bits).view(np.uint32 if bits == np.float32 else bits)
                f.write(" ".join(str(int(v)) for v in row) + "\n")


def write_pnm(name, a, bitmap=False):
    bands, rows, cols = a.shape
    path = os.path.join(out, name + (".pbm" if bitmap else ".pgm" if bands == 1 else ".ppm"))
    with open(path, "wb") as f:
        if bitmap:
            f.write(b"P4\n%d %d\n" % (cols, rows))
            for y in range(rows):
                f.write(np.packbits(a[0, y].astype(np.uint8)).tobytes())
        else:
            f.write(b"%s\n%d %d\n255\n" % (b"P5" if bands == 1 else b"P6", cols, rows))
            f.write(np.transpose(a, (1, 2, 0)).astype(np.uint8).tobytes())


def gdal_bil(name, a, dtype, geo=None, stats=False, colours=None):
    bands, rows, cols = a.shape
    path = os.path.join(out, name + ".bil")
    ds = gdal.GetDriverByName("EHdr").Create(path, cols, rows, bands, dtype)
    if geo:
        ds.SetGeoTransform(geo)
    for b in range(bands):
        band = ds.GetRasterBand(b + 1)
        band.WriteArray(a[b])
        if colours:
            ct = gdal.ColorTable()
            for i, c in enumerate(colours):
                ct.SetColorEntry(i, c)
            band.SetColorTable(ct)
        if stats:
            band.SetStatistics(float(a[b].min()), float(a[b].max()), float(a[b].mean()),
                               float(a[b].std()))
    ds = None
    for extra in (".bil.aux.xml", ".prj"):
        if os.path.exists(path[:-4] + extra):
            os.remove(path[:-4] + extra)
    got, _ = gdal_values(path)
    assert (got == a).all(), name
    return got


def own(name, suffix, header, data, want, gdal_reads_it=True):
    with open(os.path.join(out, name + ".hdr"), "w") as f:
        f.write(header)
    path = os.path.join(out, name + suffix)
    with open(path, "wb") as f:
        f.write(data)
    try:
        got, _ = gdal_values(path)
        agrees = got.shape == want.shape and (got == want).all()
    # GDAL 3.6 takes rows of 1 and 4 bits as one run of bits, not padded to
    # bytes, and fails on the 1-bit file.
    except RuntimeError:
        agrees = False
    assert agrees == gdal_reads_it, name
    if not agrees:
        print("%s: GDAL reads this file differently; the values are the script's" % name)
    for extra in (suffix + ".aux.xml",):
        if os.path.exists(path + ".aux.xml"):
            os.remove(path + ".aux.xml")


def hdr(rows, cols, bands, bits, layout, order="I", **keys):
    text = "BYTEORDER %s\nLAYOUT %s\nNROWS %d\nNCOLS %d\nNBANDS %d\nNBITS %d\n" % (
        order, layout, rows, cols, bands, bits)
    for k, v in keys.items():
        text += "%s %s\n" % (k.upper(), v)
    return text


# GDAL's writer.
grey = pattern(1, 5, 7, 256, 3)
gdal_bil("grey8-7x5", grey, gdal.GDT_Byte, geo=(500000.0, 30.0, 0.0, 4100000.0, 0.0, -30.0))
write_values("grey8-7x5", grey)
write_pnm("grey8-7x5", grey)

rgb = pattern(3, 6, 9, 256, 5)
gdal_bil("rgb8-9x6", rgb, gdal.GDT_Byte)
write_values("rgb8-9x6", rgb)
write_pnm("rgb8-9x6", rgb)

u16 = pattern(2, 5, 8, 65536, 40000) * 3 % 65536
gdal_bil("u16-2band-8x5", u16, gdal.GDT_UInt16, stats=True)
write_values("u16-2band-8x5", u16)

i32 = pattern(2, 4, 6, 1 << 31, 123456789) * 17 - (1 << 30)
gdal_bil("i32-2band-6x4", i32, gdal.GDT_Int32, stats=True)
write_values("i32-2band-6x4", i32, bits=np.uint32)

pal = pattern(1, 5, 7, 6, 0)
gdal_bil("palette8-7x5", pal, gdal.GDT_Byte,
         colours=[(255, 0, 0, 255), (0, 255, 0, 255), (0, 0, 255, 255), (10, 20, 30, 255),
                  (200, 100, 50, 255), (1, 2, 3, 255)])
write_values("palette8-7x5", pal)

# This script's own files.
bip = pattern(3, 4, 6, 256, 9)
own("rgb8-bip-6x4", ".bip", hdr(4, 6, 3, 8, "BIP"),
    np.transpose(bip, (1, 2, 0)).astype(np.uint8).tobytes(), bip)
write_values("rgb8-bip-6x4", bip)
write_pnm("rgb8-bip-6x4", bip)

bsq = pattern(3, 5, 4, 256, 21)
own("rgb8-bsq-skip-4x5", ".bsq", hdr(5, 4, 3, 8, "BSQ", skipbytes=13),
    b"\x55" * 13 + bsq.astype(np.uint8).tobytes(), bsq)
write_values("rgb8-bsq-skip-4x5", bsq)
write_pnm("rgb8-bsq-skip-4x5", bsq)

be = pattern(2, 3, 5, 65536, 1000) * 251 % 65536
own("be16-2band-5x3", ".bil", hdr(3, 5, 2, 16, "BIL", order="M"),
    np.transpose(be, (1, 0, 2)).astype(">u2").tobytes(), be)
write_values("be16-2band-5x3", be)

bebip = pattern(3, 2, 4, 1 << 32, 77) * 65599 % (1 << 32)
own("be32-bip-4x2", ".bip", hdr(2, 4, 3, 32, "BIP", order="M"),
    np.transpose(bebip, (1, 2, 0)).astype(">u4").tobytes(), bebip.astype(np.uint32))
write_values("be32-bip-4x2", bebip)

# BIL rows of 2 bands of 16 bits: each band row padded to 14 bytes, each row
# to 32. GDAL 3.6 places the bands by the unpadded sizes here.
pad = pattern(2, 3, 5, 65536, 7) * 97 % 65536
data = b""
for y in range(3):
    row = b""
    for b in range(2):
        row += pad[b, y].astype("<u2").tobytes() + b"\xee" * 4
    data += row + b"\xdd" * 4
own("padded16-2band-5x3", ".bil", hdr(3, 5, 2, 16, "BIL", bandrowbytes=14, totalrowbytes=32),
    data, pad, gdal_reads_it=False)
write_values("padded16-2band-5x3", pad)

# BSQ planes of 6-byte rows for 5 columns, 3 bytes between planes; GDAL
# again goes by the unpadded sizes.
bsqpad = pattern(2, 4, 5, 256, 60)
data = b""
for b in range(2):
    for y in range(4):
        data += bsqpad[b, y].astype(np.uint8).tobytes() + b"\xaa"
    data += b"\xbb" * 3
own("padded8-bsq-5x4", ".bsq", hdr(4, 5, 2, 8, "BSQ", bandrowbytes=6, totalrowbytes=6,
                                   bandgapbytes=3), data, bsqpad, gdal_reads_it=False)
write_values("padded8-bsq-5x4", bsqpad)

bits1 = pattern(1, 4, 13, 2, 1)
own("bw1-13x4", ".bil", hdr(4, 13, 1, 1, "BIL"),
    b"".join(np.packbits(bits1[0, y].astype(np.uint8)).tobytes() for y in range(4)), bits1,
    gdal_reads_it=False)
write_values("bw1-13x4", bits1)
write_pnm("bw1-13x4", bits1, bitmap=True)


def pack4(values):
    v = list(values) + [0] * (len(values) % 2)
    return bytes((v[i] << 4) | v[i + 1] for i in range(0, len(v), 2))


nib = pattern(2, 3, 7, 16, 2)
data = b"".join(pack4(nib[b, y]) for y in range(3) for b in range(2))
own("nibble4-2band-7x3", ".bil", hdr(3, 7, 2, 4, "BIL"), data, nib, gdal_reads_it=False)
write_values("nibble4-2band-7x3", nib)

# 4-bit BIP: 3 bands of 8 columns, 12 bytes a row. GDAL reads the samples in
# file order; the library takes 8 at a time from each 32-bit little-endian
# word, highest nibble first, so the values file holds that order.
nibbip = pattern(3, 2, 8, 16, 4)
data = b"".join(pack4(np.transpose(nibbip[:, y], (1, 0)).reshape(-1)) for y in range(2))
own("nibble4-bip-8x2", ".bip", hdr(2, 8, 3, 4, "BIP"), data, nibbip, gdal_reads_it=False)
words = np.zeros((3, 2, 8), dtype=np.int64)
for y in range(2):
    row = data[y * 12:(y + 1) * 12]
    samples = []
    for w in range(3):
        word = struct.unpack("<I", row[4 * w:4 * w + 4])[0]
        samples += [(word >> (28 - 4 * k)) & 15 for k in range(8)]
    for x in range(8):
        for b in range(3):
            words[b, y, x] = samples[3 * x + b]
write_values("nibble4-bip-8x2", words)

# The shared samples' hashes and georeference, as the tests expect them.
samples = os.path.join(here, "..", "..", "..", "shared", "samples", "ehdr")
if os.path.isdir(samples):
    for name, view in (("gen_rgbsmall.bil", None), ("gen_rgbsmall_bip.bip", None),
                       ("gen_rgbsmall_bsq.bsq", None), ("float32.bil", np.uint32),
                       ("int16_rat.bil", np.uint16)):
        a, ds = gdal_values(os.path.join(samples, name))
        if view is not None:
            a = a.view(view)
        h = 2166136261
        bands, rows, cols = a.shape
        for y in range(rows):
            for x in range(cols):
                for b in range(bands):
                    h = ((h ^ int(a[b, y, x])) * 16777619) & 0xFFFFFFFF
        gt = ds.GetGeoTransform()
        centre = (gt[0] + gt[1] / 2, gt[3] + gt[5] / 2)
        print("%s %dx%dx%d hash 0x%08x centre %r %r dims %r %r" % (
            name, cols, rows, bands, h, np.float32(centre[0]), np.float32(centre[1]),
            np.float32(gt[1]), np.float32(-gt[5])))
    a, _ = gdal_values(os.path.join(samples, "gen_rgbsmall.bil"))
    write_pnm("gen_rgbsmall", a)
    os.replace(os.path.join(out, "gen_rgbsmall.ppm"), os.path.join(out, "gen_rgbsmall-gdal.ppm"))
print("written to", out, file=sys.stderr)

# What the library's writers give for the record of test_standard.cpp, in
# their line formats, and GDAL's reading of it: size, layout, georeference,
# colours.
written = {
    "hdr": "BYTEORDER      M\nLAYOUT       BIP\nNROWS         3\nNCOLS         4\n"
           "NBANDS        2\nNBITS         16\nULXMAP       %f\nULYMAP       %f\n"
           "XDIM         %f\nYDIM         %f\nBANDROWBYTES         0\n"
           "TOTALROWBYTES        0\nBANDGAPBYTES         0\n" % (100.5, 200.25, 2, 3),
    "clr": "# value red green blue\n\n4 255 0 1\n5 0 128 2\n6 7 8 9\n",
    "stx": "1 3 900 450.5 12.5 10.0 800.0\n2 0 65535 # # 5.0 60000.0\n3 1 2 1.5 0.5\n4 7 8 # # \n",
}
for suffix, text in written.items():
    with open(os.path.join(out, "written." + suffix), "w") as f:
        f.write(text)
tmp = os.path.join(out, "tmp-written")
os.makedirs(tmp, exist_ok=True)
with open(os.path.join(tmp, "w.hdr"), "w") as f:
    f.write(written["hdr"])
with open(os.path.join(tmp, "w.bip"), "wb") as f:
    f.write(bytes(range(48)))
ds = gdal.Open(os.path.join(tmp, "w.bip"))
assert (ds.RasterXSize, ds.RasterYSize, ds.RasterCount) == (4, 3, 2)
assert ds.GetRasterBand(1).DataType == gdal.GDT_UInt16
assert ds.GetGeoTransform() == (99.5, 2.0, 0.0, 201.75, 0.0, -3.0), ds.GetGeoTransform()
assert ds.GetRasterBand(2).ReadAsArray()[0, 0] == 0x0203  # by pixel, big-endian
ds = None
with open(os.path.join(tmp, "w.hdr"), "w") as f:
    f.write(written["hdr"].replace("NBANDS        2", "NBANDS        1")
            .replace("NBITS         16", "NBITS         8"))
with open(os.path.join(tmp, "w.clr"), "w") as f:
    f.write(written["clr"])
ds = gdal.Open(os.path.join(tmp, "w.bip"))
ct = ds.GetRasterBand(1).GetColorTable()
assert [ct.GetColorEntry(i)[:3] for i in (4, 5, 6)] == [(255, 0, 1), (0, 128, 2), (7, 8, 9)]
ct = ds = None
for name in os.listdir(tmp):
    os.remove(os.path.join(tmp, name))
os.rmdir(tmp)
