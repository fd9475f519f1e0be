#!/usr/bin/python3
"""NITF 2.0 fixtures and their reference decodes.

Needs python3-gdal and python3-numpy (Debian's /usr/bin/python3). GDAL writes
NITF 2.1 only; the two versions' headers have the same widths up to FL and in
the image subheader, so each file is made a NITF 2.0 file by rewriting FHDR,
blanking the security fields (166 bytes in both versions, so FSDWNG and ISDWNG
are blank) and writing ICORDS "N" where GDAL left it blank. IMODE P and S,
which GDAL doesn't write, are made from GDAL's IMODE B file by reordering its
blocks and rewriting IMODE; GDAL reads all three.

For every .ntf, GDAL's decode of the rewritten file becomes the .pgm or .ppm of
the same name: samples divided by 2 ** (ABPP - 8) when ABPP is above 8, and a
one-band RGB/LUT image through its colour table. With the shared sample
folder present, samples.txt gets the FNV-1a hash of GDAL's values of each
NITF 2.0 sample, pixel by pixel with bands interleaved, by the same rules.

usage: tests/data/make_nitf.py
"""
import os
import sys
import tempfile

import numpy as np
from osgeo import gdal

gdal.UseExceptions()
here = os.path.dirname(os.path.abspath(__file__))
out = os.path.join(here, "nitf")
samples = os.path.join(here, "..", "..", "..", "shared", "samples", "nitf")
os.environ["GDAL_PAM_ENABLED"] = "NO"
work = tempfile.mkdtemp()


def subheader_fields(b, at):
    """Offsets in the image subheader at `at`: ICORDS, IMODE, and the end."""
    p = at + 371
    fields = {"ICORDS": p}
    icords = b[p:p + 1]
    p += 1
    if icords not in (b" ", b"N"):
        p += 60
    nicom = int(b[p:p + 1])
    p += 1 + 80 * nicom
    ic = b[p:p + 2]
    fields["IC"] = p
    p += 2
    if ic not in (b"NC", b"NM"):
        p += 4
    nbands = int(b[p:p + 1])
    p += 1
    for _ in range(nbands):
        p += 2 + 6 + 1 + 3
        nluts = int(b[p:p + 1])
        p += 1
        if nluts:
            nelut = int(b[p:p + 5])
            p += 5 + nluts * nelut
    p += 1  # ISYNC
    fields["IMODE"] = p
    return fields


def to_nitf20(b):
    b = bytearray(b)
    assert b[:9] == b"NITF02.10"
    b[0:9] = b"NITF02.00"
    b[25:39] = b"23175510ZNOV26"  # FDT in the 2.0 form
    b[120:286] = b" " * 166
    hl = int(b[354:360])
    numi = int(b[360:363])
    at = hl
    for i in range(numi):
        lish = int(b[363 + 16 * i:369 + 16 * i])
        li = int(b[369 + 16 * i:379 + 16 * i])
        b[at + 124:at + 290] = b" " * 166
        f = subheader_fields(b, at)
        if b[f["ICORDS"]:f["ICORDS"] + 1] == b" ":
            b[f["ICORDS"]] = ord("N")
        at += lish + li
    return bytes(b)


def reorder(b, mode):
    """GDAL's IMODE B image (8 bits, no mask) rewritten as IMODE P or S."""
    b = bytearray(b)
    hl = int(b[354:360])
    lish = int(b[363:369])
    f = subheader_fields(b, hl)
    p = f["IMODE"]
    nbpr, nbpc, h, v = (int(b[p + 1 + 4 * k:p + 5 + 4 * k]) for k in range(4))
    nbands = int(b[f["IC"] + 2:f["IC"] + 3])
    data = hl + lish
    blocks = np.frombuffer(bytes(b[data:data + nbpr * nbpc * nbands * h * v]), np.uint8)
    blocks = blocks.reshape(nbpc * nbpr, nbands, v * h)
    if mode == "P":
        new = blocks.transpose(0, 2, 1)
    else:
        new = blocks.transpose(1, 0, 2)
    b[data:data + blocks.size] = new.tobytes()
    b[p] = ord(mode)
    return bytes(b)


def pattern(w, h, bands, seed, dtype=np.uint8, top=255):
    rng = np.random.default_rng(seed)
    y, x = np.mgrid[0:h, 0:w]
    planes = []
    for k in range(bands):
        smooth = (x * (7 + 3 * k) + y * (11 - 2 * k) + 40 * k) % (top + 1)
        noise = rng.integers(0, 12, size=(h, w))
        planes.append(np.clip(smooth + noise, 0, top).astype(dtype))
    return np.stack(planes)


def gdal_write(name, array, options, colours=None, geo=None):
    bands, h, w = array.shape
    kind = gdal.GDT_UInt16 if array.dtype == np.uint16 else gdal.GDT_Byte
    mem = gdal.GetDriverByName("MEM").Create("", w, h, bands, kind)
    for k in range(bands):
        mem.GetRasterBand(k + 1).WriteArray(array[k])
        if bands == 3:
            mem.GetRasterBand(k + 1).SetColorInterpretation(gdal.GCI_RedBand + k)
    if colours is not None:
        ct = gdal.ColorTable()
        for i, c in enumerate(colours):
            ct.SetColorEntry(i, tuple(int(v) for v in c) + (255,))
        mem.GetRasterBand(1).SetColorTable(ct)
    if geo is not None:
        mem.SetGeoTransform(geo)
        mem.SetProjection('GEOGCS["WGS 84",DATUM["WGS_1984",SPHEROID["WGS 84",6378137,298.257223563]],'
                          'PRIMEM["Greenwich",0],UNIT["degree",0.0174532925199433]]')
    path = os.path.join(work, name + ".ntf")
    gdal.GetDriverByName("NITF").CreateCopy(path, mem, options=options)
    with open(path, "rb") as f:
        return f.read()


def gdal_values(path):
    """GDAL's samples by the driver's rules: ABPP above 8 divided, RGB/LUT expanded."""
    ds = gdal.Open(path)
    a = ds.ReadAsArray().astype(np.int64)
    if a.ndim == 2:
        a = a[None]
    abpp = int(ds.GetMetadataItem("NITF_ABPP") or 8)
    if abpp > 8:
        a = a // (2 ** (abpp - 8))
    irep = (ds.GetMetadataItem("NITF_IREP") or "").strip()
    ct = ds.GetRasterBand(1).GetColorTable()
    if ds.RasterCount == 1 and irep == "RGB/LUT" and ct is not None:
        lut = np.array([ct.GetColorEntry(i)[:3] for i in range(ct.GetCount())])
        a = np.stack([lut[a[0], k] for k in range(3)])
    return a


def write_pnm(path, a):
    bands, h, w = a.shape
    magic = b"P6" if bands == 3 else b"P5"
    with open(path, "wb") as f:
        f.write(b"%s\n%d %d\n255\n" % (magic, w, h) + a.transpose(1, 2, 0).astype(np.uint8).tobytes())


def fixture(name, b):
    path = os.path.join(out, name + ".ntf")
    with open(path, "wb") as f:
        f.write(b)
    a = gdal_values(path)
    write_pnm(os.path.join(out, name + (".ppm" if a.shape[0] == 3 else ".pgm")), a)


def without_block(b, index):
    """A masked image whose mask records block `index` as absent."""
    b = bytearray(b)
    hl = int(b[354:360])
    lish = int(b[363:369])
    data = hl + lish
    code = (int.from_bytes(b[data + 8:data + 10], "big") + 7) // 8
    at = data + 10 + code + 4 * index
    b[at:at + 4] = b"\xff\xff\xff\xff"
    return bytes(b)


def main():
    os.makedirs(out, exist_ok=True)
    for name in os.listdir(out):
        if name.endswith((".ntf", ".pgm", ".ppm")):
            os.remove(os.path.join(out, name))
    geo = (11.5, 0.025, 0, -16.25, 0, -0.02)
    # Uncompressed: 37 x 23 in blocks of 16, so the right and bottom blocks are padded.
    nc3 = to_nitf20(gdal_write("nc-rgb", pattern(37, 23, 3, 1), ["IC=NC", "BLOCKSIZE=16"], geo=geo))
    fixture("nc-imode-b-rgb-37x23", nc3)
    fixture("nc-imode-p-rgb-37x23", reorder(nc3, "P"))
    fixture("nc-imode-s-rgb-37x23", reorder(nc3, "S"))
    fixture("nc-grey-single-block-29x13", to_nitf20(gdal_write("nc-grey", pattern(29, 13, 1, 2), ["IC=NC"])))
    fixture("nc-12bit-abpp-21x17",
            to_nitf20(gdal_write("nc-12", pattern(21, 17, 1, 3, np.uint16, 4095), ["IC=NC", "ABPP=12", "BLOCKSIZE=16"])))
    lut_colours = [((i * 97) % 256, (i * 53 + 40) % 256, (255 - i * 31) % 256) for i in range(256)]
    fixture("nc-rgb-lut-25x19", to_nitf20(gdal_write("nc-lut", pattern(25, 19, 1, 4) % 200, ["IC=NC"], colours=lut_colours)))
    # JPEG: one block, and blocks of 16 (padded at the edges), one band and three.
    fixture("c3-grey-one-block-40x24", to_nitf20(gdal_write("c3-1", pattern(40, 24, 1, 5), ["IC=C3", "QUALITY=90"])))
    fixture("c3-grey-blocked-37x23",
            to_nitf20(gdal_write("c3-b1", pattern(37, 23, 1, 6), ["IC=C3", "QUALITY=90", "BLOCKSIZE=16"])))
    fixture("c3-rgb-blocked-37x23",
            to_nitf20(gdal_write("c3-b3", pattern(37, 23, 3, 7), ["IC=C3", "QUALITY=90", "BLOCKSIZE=16"], geo=geo)))
    fixture("m3-grey-blocked-37x23",
            to_nitf20(gdal_write("m3-b1", pattern(37, 23, 1, 8), ["IC=M3", "QUALITY=90", "BLOCKSIZE=16"])))


    fixture("m3-grey-absent-block-37x23",
            without_block(to_nitf20(gdal_write("m3-a", pattern(37, 23, 1, 10), ["IC=M3", "QUALITY=90", "BLOCKSIZE=16"])), 4))
    fixture("m3-rgb-blocked-37x23",
            to_nitf20(gdal_write("m3-b3", pattern(37, 23, 3, 9), ["IC=M3", "QUALITY=90", "BLOCKSIZE=16"])))

    if os.path.isdir(samples):
        lines = ["# NITF 2.0 samples: rows columns bands and the FNV-1a hash of GDAL's values"]
        for name in ["U_1034A.NTF", "U_2001A.NTF", "U_3002A.NTF", "U_3010A.NTF", "U_3050B.NTF", "U_4007A.NTF",
                     "U_1125C.NTF"]:
            a = gdal_values(os.path.join(samples, name))
            bands, h, w = a.shape
            hsh = 2166136261
            for v in a.transpose(1, 2, 0).reshape(-1):
                hsh = ((hsh ^ int(v)) * 16777619) & 0xFFFFFFFF
            lines.append("%s %d %d %d %08x" % (name, h, w, bands, hsh))
        with open(os.path.join(out, "samples.txt"), "w") as f:
            f.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
