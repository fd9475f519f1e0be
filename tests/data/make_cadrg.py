#!/usr/bin/python3
"""Reference values of the CADRG sample frames, from GDAL's command-line tools.

For each frame of the shared sample folder (../shared/samples/cadrg), GDAL
expands its colour table (`gdal_translate -expand rgb`, pixel-interleaved raw
bytes); the FNV-1a hash of those values, pixel by pixel with bands
interleaved, goes to cadrg/samples.txt, and the hash of the red plane alone
stands for the CIB copy of U_3058B.NTF that the test makes (same pixels,
image identifier "CIB  ").

cadrg/coverage.txt holds each frame's coverage section as stored: the twelve
big-endian doubles of section 130, found through the location table of the
"RPFIMG" record, and the twelfth character of FTITLE (the zone).

Needs gdal-bin. usage: tests/data/make_cadrg.py
"""
import os
import struct
import subprocess
import sys
import tempfile

here = os.path.dirname(os.path.abspath(__file__))
out = os.path.join(here, "cadrg")
samples = os.path.join(here, "..", "..", "..", "shared", "samples", "cadrg")
frames = ["U_3058B.NTF", "001zc013.on1", "0000M033.GN3", "zone9/RPF/ZONE9/00027010.ON9"]
if not os.path.isdir(samples):
    sys.exit("no sample folder at " + samples)
os.makedirs(out, exist_ok=True)
os.environ["GDAL_PAM_ENABLED"] = "NO"
work = tempfile.mkdtemp()


def fnv(values, h=2166136261):
    for v in values:
        h = ((h ^ v) * 16777619) & 0xFFFFFFFF
    return h


def expanded(path):
    """GDAL's RGB expansion as (width, height, pixel-interleaved bytes)."""
    raw = os.path.join(work, "x.raw")
    subprocess.run(["gdal_translate", "-q", "-expand", "rgb", "-of", "ENVI", "-co", "INTERLEAVE=BIP", path, raw],
                   check=True)
    info = subprocess.run(["gdalinfo", raw], check=True, capture_output=True, text=True).stdout
    size = [l for l in info.splitlines() if l.startswith("Size is")][0]
    w, h = (int(v) for v in size[len("Size is "):].split(","))
    with open(raw, "rb") as f:
        return w, h, f.read()


def coverage(path):
    with open(path, "rb") as f:
        b = f.read()
    at = b.find(b"RPFIMG") + 11
    count = struct.unpack(">H", b[at + 6:at + 8])[0]
    records = [struct.unpack(">HII", b[at + 14 + 10 * i:at + 24 + 10 * i]) for i in range(count)]
    # Coverage is the first section after the location records.
    assert records[0][0] == 130 or any(r[0] == 130 for r in records)
    start = at + 14 + 10 * count
    values = struct.unpack(">12d", b[start:start + 96])
    zone = chr(b[39 + 11])
    return zone, values


lines = ["# CADRG samples: rows columns bands and the FNV-1a hash of GDAL's RGB expansion"]
for name in frames:
    w, h, data = expanded(os.path.join(samples, name))
    lines.append("%s %d %d 3 %08x" % (name, h, w, fnv(data)))
    if name == "U_3058B.NTF":
        lines.append("cib:%s %d %d 1 %08x" % (name, h, w, fnv(data[0::3])))
with open(os.path.join(out, "samples.txt"), "w") as f:
    f.write("\n".join(lines) + "\n")

lines = ["# frame, zone character, then nw lat, nw lon, sw lat, sw lon, ne lat, ne lon, se lat, se lon,",
         "# ns resolution, ew resolution, lat interval, lon interval as stored (%.17g)"]
for name in frames:
    zone, values = coverage(os.path.join(samples, name))
    lines.append("%s %s %s" % (name, zone, " ".join("%.17g" % v for v in values)))
with open(os.path.join(out, "coverage.txt"), "w") as f:
    f.write("\n".join(lines) + "\n")
