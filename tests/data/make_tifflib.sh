#!/bin/sh
# Fixtures of the TIFF tag library and the type-7 strip reader, with what
# independent tools say of them.
#
# Needs GDAL (gdal_translate, and its Python module under /usr/bin/python3),
# ImageMagick (convert), libtiff-tools (tiffdump, tiffinfo) and python3.
# Usage: make_tifflib.sh [BUILD]; with a build directory (tests built) it also
# writes written-rgb.tif with the tag library's write side and records what
# tiffinfo and GDAL read back from it.
#
# A 24x20 RGB source (and a grey one) is written by GDAL under each layout the
# reader takes (strips of 4, 5 and 10 rows divide the 20 rows; one of 6 leaves
# a partial last strip), by ImageMagick with fill order 2, and under the kinds
# the reader refuses. For each file: NAME.ppm (or .pgm) is GDAL's decode,
# NAME.tiffdump the tags as tiffdump lists them; blocks.txt lists, per file,
# band and strip row, the offset and size that GDAL's BLOCK_OFFSET and
# BLOCK_SIZE metadata give. samples/ and tiff/ hold tiffdump's and
# tiffinfo's listings of the shared TIFF samples (SAMPLES, by default the
# folder beside the repository) and of ../tiff's georeferenced files.
set -eu
build=${1:-}
case $build in ''|/*) ;; *) build="$PWD/$build" ;; esac
cd "$(dirname "$0")/tifflib"
rm -f ./*.tif ./*.pgm ./*.ppm ./*.tiffdump ./*.tiffinfo ./*.aux.xml blocks.txt
rm -rf samples tiff && mkdir samples tiff
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

python3 - "$work" <<'PY'
import sys
w, h = 24, 20
d = sys.argv[1]
rgb = bytes(v for y in range(h) for x in range(w)
            for v in ((x * 11 + y) % 256, (y * 13 + x * 3) % 256, (x * y * 7 + 5) % 256))
open(d + '/rgb.ppm', 'wb').write(b'P6\n%d %d\n255\n' % (w, h) + rgb)
grey = bytes((x * 9 + y * 17) % 256 for y in range(h) for x in range(w))
open(d + '/grey.pgm', 'wb').write(b'P5\n%d %d\n255\n' % (w, h) + grey)
PY

c="$work/rgb.ppm"; g="$work/grey.pgm"
t() { # name source options...
  name=$1; src=$2; shift 2
  gdal_translate -q -of GTiff "$@" "$src" "$name.tif"
}
# Read by the type-7 driver.
t rgb-none-strips4 "$c" -co BLOCKYSIZE=4
t rgb-none-onestrip "$c" -co BLOCKYSIZE=20
t rgb-none-strips10 "$c" -co BLOCKYSIZE=10
t rgb-packbits-strips10 "$c" -co COMPRESS=PACKBITS -co BLOCKYSIZE=10
t rgb-none-strips12 "$c" -co BLOCKYSIZE=12
t rgb-packbits-strips5 "$c" -co COMPRESS=PACKBITS -co BLOCKYSIZE=5
t rgb-band-strips4 "$c" -co INTERLEAVE=BAND -co BLOCKYSIZE=4
t rgb-band-packbits-strips10 "$c" -co INTERLEAVE=BAND -co COMPRESS=PACKBITS -co BLOCKYSIZE=10
t rgb-bigendian-strips4 "$c" -co ENDIANNESS=BIG -co BLOCKYSIZE=4
t rgb-bigendian-band-packbits "$c" -co ENDIANNESS=BIG -co INTERLEAVE=BAND -co COMPRESS=PACKBITS -co BLOCKYSIZE=5
t rgb-band-strips6 "$c" -co INTERLEAVE=BAND -co BLOCKYSIZE=6
t grey-strips4 "$g" -co BLOCKYSIZE=4
convert "$c" -define tiff:fill-order=lsb -compress none -depth 8 rgb-fillorder2.tif
# Refused.
t rgb-lzw "$c" -co COMPRESS=LZW
t rgb-lzw-predictor2 "$c" -co COMPRESS=LZW -co PREDICTOR=2
t rgb-tiled16 "$c" -co TILED=YES -co BLOCKXSIZE=16 -co BLOCKYSIZE=16
t rgb-jpeg "$c" -co COMPRESS=JPEG
t rgb-deflate "$c" -co COMPRESS=DEFLATE
gdal_translate -q -of VRT "$c" "$work/rgba.vrt" -b 1 -b 2 -b 3 -b 1
t rgba "$work/rgba.vrt" -co ALPHA=NON-PREMULTIPLIED
t rgb-16bit "$c" -ot UInt16 -scale 0 255 0 65535

for f in ./*.tif; do
  n=${f%.tif}
  case $n in
    ./grey-*) gdal_translate -q -of PNM "$f" "$n.pgm" ;;
    ./rgb-16bit|./rgba|./rgb-lzw*|./rgb-tiled16|./rgb-jpeg|./rgb-deflate) ;;
    *) gdal_translate -q -of PNM -b 1 -b 2 -b 3 "$f" "$n.ppm" ;;
  esac
  tiffdump -m 100000 "$f" | sed 1d > "$n.tiffdump"
done

# Tags of the shared samples and of the TIFF 6 driver's georeferenced
# fixtures, as tiffdump and tiffinfo list them (tiffinfo gives the doubles
# with six decimals).
samples=${SAMPLES:-../../../../shared/samples/tiff}
for f in "$samples"/*.tif "$samples"/*.tiff ../tiff/geo-*.tif ../tiff/plain-res300.tif; do
  [ -f "$f" ] || continue
  case $f in ../tiff/*) dir=tiff ;; *) dir=samples ;; esac
  n=$(basename "$f")
  tiffdump -m 100000 "$f" | sed 1d > "$dir/$n.tiffdump"
  tiffinfo "$f" 2>/dev/null > "$dir/$n.tiffinfo"
done

/usr/bin/python3 - <<'PY' > blocks.txt
import glob
from osgeo import gdal
for name in sorted(glob.glob('*.tif')):
    ds = gdal.Open(name)
    for b in range(1, ds.RasterCount + 1):
        band = ds.GetRasterBand(b)
        bw, bh = band.GetBlockSize()
        if bw != ds.RasterXSize:
            continue  # tiles
        for y in range((ds.RasterYSize + bh - 1) // bh):
            off = band.GetMetadataItem('BLOCK_OFFSET_0_%d' % y, 'TIFF')
            size = band.GetMetadataItem('BLOCK_SIZE_0_%d' % y, 'TIFF')
            if off is not None:
                print(name, b, y, off, size)
PY

# The write side: the unit test writes the file where it is told to.
if [ -n "$build" ]; then
  TARN_TIFFLIB_WRITE="$PWD/written-rgb.tif" "$build/tests/tarn_unit_tests" --gtest_filter='TiffWriter.*' >/dev/null
  tiffinfo written-rgb.tif > written-rgb.tiffinfo 2>&1
  tiffdump -m 100000 written-rgb.tif | sed 1d > written-rgb.tiffdump
  gdal_translate -q -of PNM written-rgb.tif written-rgb.ppm
fi
rm -f ./*.aux.xml
