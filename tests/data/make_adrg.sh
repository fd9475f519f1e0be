#!/usr/bin/env bash
# Expected values of the shared ADRG sample, from GDAL (gdal-bin): the size,
# the geotransform GDAL reads from the GEN, and for every row one FNV-1a hash
# per band of the values gdal_translate writes. The sample stays outside.
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
samples="${1:-$here/../../../shared/samples}"
tmp="$(mktemp -d)"
trap 'rm -rf "$tmp"' EXIT
gen="$samples/adrg/SMALL_ADRG/ABCDEF01.GEN"
gdal_translate -q -of ENVI "$gen" "$tmp/a.raw"
{
  echo "# size rows columns bands; origin x y and pixel size x y; per row, FNV-1a 32 of each band's values"
  gdalinfo "$gen" | sed -n 's/^Size is \([0-9]*\), \([0-9]*\)$/size \2 \1 3/p'
  gdalinfo "$gen" | sed -n 's/^Origin = (\(.*\),\(.*\))$/origin \1 \2/p'
  gdalinfo "$gen" | sed -n 's/^Pixel Size = (\(.*\),-\(.*\))$/pixel \1 \2/p'
  python3 - "$tmp/a.raw" <<'PY'
import sys
data = open(sys.argv[1], 'rb').read()
w = h = 128
for y in range(h):
    hashes = []
    for b in range(3):
        v = 2166136261
        for x in data[(b * h + y) * w:(b * h + y + 1) * w]:
            v = ((v ^ x) * 16777619) & 0xffffffff
        hashes.append("%08x" % v)
    print("row %d %s" % (y, " ".join(hashes)))
PY
} > "$here/adrg/SMALL_ADRG.txt"
