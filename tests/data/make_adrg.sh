#!/usr/bin/env bash
# ADRG fixtures and expected values, from GDAL (gdal-bin):
# - gdal-384x256.tgz, gdal-128x128.tgz: rectangles GDAL's ADRG writer made
#   from a patterned PPM (packed: the image files are 49152 bytes a tile);
# - for those and for the shared samples (which stay outside): the size, the
#   geotransform GDAL reads from the GEN, and for every row one FNV-1a hash
#   per band of the values gdal_translate writes.
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
samples="${1:-$here/../../../shared/samples}"
tmp="$(mktemp -d)"
trap 'rm -rf "$tmp"' EXIT

# expected DATASET OUT: GDAL's view of one image as the test's text file.
expected() {
  local dataset="$1" out="$2"
  gdal_translate -q -of ENVI "$dataset" "$tmp/a.raw"
  {
    echo "# size rows columns bands; origin x y and pixel size x y; per row, FNV-1a 32 of each band's values"
    gdalinfo "$dataset" | sed -n 's/^Size is \([0-9]*\), \([0-9]*\)$/size \2 \1 3/p'
    gdalinfo "$dataset" | sed -n 's/^Origin = (\(.*\),\(.*\))$/origin \1 \2/p'
    gdalinfo "$dataset" | sed -n 's/^Pixel Size = (\(.*\),-\(.*\))$/pixel \1 \2/p'
    local size
    size="$(gdalinfo "$dataset" | sed -n 's/^Size is \([0-9]*\), \([0-9]*\)$/\1 \2/p')"
    python3 - "$tmp/a.raw" $size <<'PY'
import sys
data = open(sys.argv[1], 'rb').read()
w, h = int(sys.argv[2]), int(sys.argv[3])
for y in range(h):
    hashes = []
    for b in range(3):
        v = 2166136261
        for x in data[(b * h + y) * w:(b * h + y + 1) * w]:
            v = ((v ^ x) * 16777619) & 0xffffffff
        hashes.append("%08x" % v)
    print("row %d %s" % (y, " ".join(hashes)))
PY
  } > "$out"
}

expected "$samples/adrg/SMALL_ADRG/ABCDEF01.GEN" "$here/adrg/SMALL_ADRG.txt"
sub="$samples/adrg/subdataset"
expected "ADRG:$sub/XXXXXX01.GEN,$sub/XXXXXX02.IMG" "$here/adrg/subdataset-02.txt"

# Three bands of ramps and blocks: every tile differs, and gzip keeps them small.
for size in 384x256 128x128; do
  w="${size%x*}" h="${size#*x}"
  python3 - "$tmp/src.ppm" "$w" "$h" <<'PY'
import sys
w, h = int(sys.argv[2]), int(sys.argv[3])
bands = [lambda x, y: (x + 2 * y) % 256,
         lambda x, y: (x // 8 * 16 + y // 8 * 5) % 256,
         lambda x, y: ((x // 16) * 37 + (y // 16) * 11) % 256]
with open(sys.argv[1], 'wb') as f:
    f.write(b'P6\n%d %d\n255\n' % (w, h))
    f.write(bytes(f_(x, y) for y in range(h) for x in range(w) for f_ in bands))
PY
  rm -rf "$tmp/g" && mkdir "$tmp/g"
  gdal_translate -q -a_srs EPSG:4326 -a_ullr 2 47.5 2.384 47.244 "$tmp/src.ppm" "$tmp/src.tif"
  gdal_translate -q -of ADRG "$tmp/src.tif" "$tmp/g/ABCDEF01.GEN"
  rm -f "$tmp/g/"*.aux.xml
  tar czf "$here/adrg/gdal-$size.tgz" -C "$tmp/g" --sort=name --owner=0 --group=0 --mtime=@0 .
  expected "$tmp/g/ABCDEF01.GEN" "$here/adrg/gdal-$size.txt"
done
