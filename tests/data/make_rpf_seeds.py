#!/usr/bin/python3
"""Small hand-cut RPF frames: the fuzz seeds of the frame parser, CADRG and CIB.

The sample frames (../shared/samples/cadrg) are 150-300 KB, mostly lookup
tables and spatial data. Each seed keeps a frame's headers and RPF sections up
to the compression section as they are, then writes lookup tables of 16
records (the first 16 of each table) and one subframe whose codes are brought
below 16, and rewrites the location records, the aggregate length, FL and LI
to match. Without a mask the frame is cut to 256 x 256 (one subframe); with
one, the first subframe is stored and the others are absent.

usage: tests/data/make_rpf_seeds.py
"""
import os
import struct
import sys

here = os.path.dirname(os.path.abspath(__file__))
samples = os.path.join(here, "..", "..", "..", "shared", "samples", "cadrg")
corpus = os.path.join(here, "..", "..", "fuzz", "corpus")
if not os.path.isdir(samples):
    sys.exit("no sample folder at " + samples)

RECORDS = 16


def cut(name, iid):
    b = bytearray(open(os.path.join(samples, name), "rb").read())
    hl = int(b[354:360])
    lish = int(b[363:369])
    data_start = hl + lish
    at = b.find(b"RPFIMG") + 11
    count = struct.unpack(">H", b[at + 6:at + 8])[0]
    recs = [list(struct.unpack(">HII", b[at + 14 + 10 * i:at + 24 + 10 * i])) for i in range(count)]
    where = {r[0]: r for r in recs}
    # Everything before the lookup subsection stays where it is.
    keep = where[132][2]
    out = bytearray(b[:keep])
    # Lookup subsection: offset table offset, record length, four table
    # records, then the tables one after another.
    old = where[132][2]
    ntables = struct.unpack(">H", b[where[131][2] + 2:where[131][2] + 4])[0]
    sec = bytearray(b[old:old + 6])
    tables = bytearray()
    p = old + 6
    for t in range(ntables):
        tid, n, values, bits, off = struct.unpack(">HIHHI", b[p:p + 14])
        size = values * bits // 8
        sec += struct.pack(">HIHHI", tid, RECORDS, values, bits, 6 + 14 * ntables + t * RECORDS * size)
        p += 14
    for t in range(ntables):
        tid, n, values, bits, off = struct.unpack(">HIHHI", b[old + 6 + 14 * t:old + 20 + 14 * t])
        size = values * bits // 8
        tables += b[p:p + RECORDS * size]
        p += n * size
    sec += tables
    where[132][1] = len(sec)
    out += sec
    # Spatial data: the first stored subframe, codes below 16.
    mask_at = where[138][2] if 138 in where else None
    first = 0
    masked = False
    if mask_at is not None:
        seq, tseq, codelen = struct.unpack(">HHH", b[mask_at:mask_at + 6])
        table = mask_at + 6 + (1 if codelen == 8 else 0)
        if seq:
            masked = True
            entries = 36
            offsets = struct.unpack(">%dI" % entries, b[table:table + 4 * entries])
            first = min(o for o in offsets if o != 0xFFFFFFFF)
            for i in range(entries):
                out[table + 4 * i:table + 4 * i + 4] = struct.pack(">I", 0 if i == 0 else 0xFFFFFFFF)
    sub = bytearray(b[where[140][2] + first:where[140][2] + first + 6144])
    for g in range(0, 6144, 3):
        sub[g] = 0
        sub[g + 1] &= 0xF0
        sub[g + 2] &= 0x0F
    where[140][2] = len(out)
    where[140][1] = 6144
    out += sub
    # Sections past the spatial data are dropped: their records point at the end.
    for sid in where:
        if sid > 140:
            where[sid][1] = 0
            where[sid][2] = len(out)
    for i, r in enumerate(recs):
        out[at + 14 + 10 * i:at + 24 + 10 * i] = struct.pack(">HII", *where[r[0]])
    out[at + 10:at + 14] = struct.pack(">I", sum(r[1] for r in recs))
    out[hl + 2:hl + 12] = iid.ljust(10).encode()
    if not masked:
        out[hl + 333:hl + 349] = b"0000025600000256"  # NROWS, NCOLS
    out[342:354] = b"%012d" % len(out)
    out[369:379] = b"%010d" % (len(out) - data_start)
    return bytes(out)


seeds = {
    "masked-one-subframe": ("U_3058B.NTF", False),
    "polar-transparent-256": ("zone9/RPF/ZONE9/00027010.ON9", False),
}
for target, iid in (("cadrg", "CADRG"), ("cib", "CIB"), ("rpf", "CADRG")):
    os.makedirs(os.path.join(corpus, target), exist_ok=True)
    for seed, (name, _) in seeds.items():
        with open(os.path.join(corpus, target, seed + ".ntf"), "wb") as f:
            f.write(cut(name, iid))
