#!/bin/sh
# TIFF fixtures and their reference decodes.
#
# Needs GDAL (gdal_translate), libtiff-tools (tiff2rgba), a C compiler with
# libtiff, and python3. The Python draws a 37x23 grey and colour source; GDAL
# writes it under each compression, layout and photometric kind (37x23 leaves
# partial strips and 16x16 tiles at the edges). tiff2rgba decodes each file
# through libtiff's own RGBA interface, and gdal_translate turns that into
# the .pgm (grey kinds) or .ppm beside it that the tests compare with. A small
# C program writes the text world tag 34442, which no tool here can.
set -eu
cd "$(dirname "$0")/tiff"
rm -f ./*.tif ./*.pgm ./*.ppm ./*.aux.xml
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

python3 - "$work" <<'PY'
import sys
w, h = 37, 23
d = sys.argv[1]
grey = bytes((x * 7 + y * 11 + (x * y) % 13) % 256 for y in range(h) for x in range(w))
open(d + '/grey.pgm', 'wb').write(b'P5\n%d %d\n255\n' % (w, h) + grey)
rgb = bytes(v for y in range(h) for x in range(w)
            for v in ((x * 7) % 256, (y * 11) % 256, (x * y + 40) % 256))
open(d + '/rgb.ppm', 'wb').write(b'P6\n%d %d\n255\n' % (w, h) + rgb)
alpha = bytes((x * 13 + y * 5) % 256 for y in range(h) for x in range(w))
open(d + '/alpha.pgm', 'wb').write(b'P5\n%d %d\n255\n' % (w, h) + alpha)
bits = bytes(((x // 3 + y // 2) % 2) for y in range(h) for x in range(w))
open(d + '/bits.pgm', 'wb').write(b'P5\n%d %d\n255\n' % (w, h) + bits)
quad = bytes((x + y) % 4 for y in range(h) for x in range(w))
open(d + '/quad.pgm', 'wb').write(b'P5\n%d %d\n255\n' % (w, h) + quad)
nib = bytes((x * 3 + y) % 16 for y in range(h) for x in range(w))
open(d + '/nib.pgm', 'wb').write(b'P5\n%d %d\n255\n' % (w, h) + nib)
PY

t() { # name source options...
  name=$1; src=$2; shift 2
  gdal_translate -q -of GTiff "$@" "$src" "$name.tif"
}
g="$work/grey.pgm"; c="$work/rgb.ppm"
t grey-none-strips5 "$g" -co BLOCKYSIZE=5
t grey-lzw "$g" -co COMPRESS=LZW
t grey-deflate "$g" -co COMPRESS=DEFLATE
t grey-packbits "$g" -co COMPRESS=PACKBITS
t grey-zstd "$g" -co COMPRESS=ZSTD
t grey-lzma "$g" -co COMPRESS=LZMA
t grey-jpeg-tiled16 "$g" -co COMPRESS=JPEG -co TILED=YES -co BLOCKXSIZE=16 -co BLOCKYSIZE=16
t grey-lzw-tiled16 "$g" -co COMPRESS=LZW -co TILED=YES -co BLOCKXSIZE=16 -co BLOCKYSIZE=16
t grey-lzw-predictor2 "$g" -co COMPRESS=LZW -co PREDICTOR=2 -co BLOCKYSIZE=7
t grey-bigendian "$g" -co ENDIANNESS=BIG -co BLOCKYSIZE=4
t bilevel-none "$work/bits.pgm" -co NBITS=1
t bilevel-ccitt3 "$work/bits.pgm" -co NBITS=1 -co COMPRESS=CCITTFAX3
t bilevel-ccitt4 "$work/bits.pgm" -co NBITS=1 -co COMPRESS=CCITTFAX4
t bilevel-miniswhite "$work/bits.pgm" -co NBITS=1 -co PHOTOMETRIC=MINISWHITE
t grey-2bit "$work/quad.pgm" -co NBITS=2
t grey-4bit-tiled16 "$work/nib.pgm" -co NBITS=4 -co TILED=YES -co BLOCKXSIZE=16 -co BLOCKYSIZE=16
t rgb-pixel-lzw "$c" -co COMPRESS=LZW -co INTERLEAVE=PIXEL
t rgb-band-strips3 "$c" -co INTERLEAVE=BAND -co BLOCKYSIZE=3
t rgb-band-tiled16 "$c" -co INTERLEAVE=BAND -co TILED=YES -co BLOCKXSIZE=16 -co BLOCKYSIZE=16 -co COMPRESS=DEFLATE
t rgb-pixel-tiled16-bigendian "$c" -co TILED=YES -co BLOCKXSIZE=16 -co BLOCKYSIZE=16 -co ENDIANNESS=BIG
t rgb-ycbcr-jpeg "$c" -co COMPRESS=JPEG -co PHOTOMETRIC=YCBCR
t rgb-16bit "$c" -ot UInt16 -scale 0 255 0 65535
t rgb-16bit-band "$c" -ot UInt16 -scale 0 255 0 65535 -co INTERLEAVE=BAND
gdal_translate -q -of VRT "$c" "$work/rgba.vrt" -b 1 -b 2 -b 3 -b 1
t rgba-unassociated "$work/rgba.vrt" -co ALPHA=NON-PREMULTIPLIED
t rgba-associated "$work/rgba.vrt" -co ALPHA=PREMULTIPLIED -co INTERLEAVE=BAND
t cmyk "$work/rgba.vrt" -co PHOTOMETRIC=CMYK
# A palette of 16 entries over 4-bit and 8-bit indices.
cat > "$work/pal.vrt" <<VRT
<VRTDataset rasterXSize="37" rasterYSize="23">
  <VRTRasterBand dataType="Byte" band="1">
    <ColorInterp>Palette</ColorInterp>
    <ColorTable>
$(for i in $(seq 0 15); do echo "      <Entry c1=\"$((i * 17))\" c2=\"$((255 - i * 13))\" c3=\"$((i * 40 % 256))\" c4=\"255\"/>"; done)
    </ColorTable>
    <SimpleSource><SourceFilename relativeToVRT="0">$work/nib.pgm</SourceFilename><SourceBand>1</SourceBand></SimpleSource>
  </VRTRasterBand>
</VRTDataset>
VRT
t palette-8bit "$work/pal.vrt" -co COMPRESS=PACKBITS
t palette-4bit "$work/pal.vrt" -co NBITS=4
# Georeference: a point raster, an area raster, and the text world tag.
t geo-point "$g" -a_srs EPSG:32611 -a_ullr 1000 2000 1074 1954 -mo AREA_OR_POINT=Point
t geo-area "$g" -a_srs EPSG:32611 -a_ullr 1000 2000 1074 1954
cat > "$work/worldtag.c" <<'C'
#include <tiffio.h>
/* Copies a TIFF and adds tag 34442, six numbers as text. */
static const TIFFFieldInfo info[] = {{34442, -1, -1, TIFF_ASCII, FIELD_CUSTOM, 1, 0, "WorldText"}};
int main(int argc, char** argv) {
    TIFF* in = TIFFOpen(argv[1], "r");
    TIFF* out = TIFFOpen(argv[2], "w");
    uint32_t w, h; unsigned char row[64]; uint16_t spp = 1, bps = 8;
    TIFFGetField(in, TIFFTAG_IMAGEWIDTH, &w); TIFFGetField(in, TIFFTAG_IMAGELENGTH, &h);
    TIFFMergeFieldInfo(out, info, 1);
    TIFFSetField(out, TIFFTAG_IMAGEWIDTH, w); TIFFSetField(out, TIFFTAG_IMAGELENGTH, h);
    TIFFSetField(out, TIFFTAG_BITSPERSAMPLE, bps); TIFFSetField(out, TIFFTAG_SAMPLESPERPIXEL, spp);
    TIFFSetField(out, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK); TIFFSetField(out, TIFFTAG_ROWSPERSTRIP, h);
    TIFFSetField(out, TIFFTAG_XRESOLUTION, 300.0); TIFFSetField(out, TIFFTAG_YRESOLUTION, 300.0);
    TIFFSetField(out, 34442, argv[3]);
    for (uint32_t y = 0; y < h; ++y) { TIFFReadScanline(in, row, y, 0); TIFFWriteScanline(out, row, y, 0); }
    TIFFClose(in); TIFFClose(out); return 0;
}
C
cc -o "$work/worldtag" "$work/worldtag.c" -ltiff
t plain-res300 "$g" -co PROFILE=BASELINE -co BLOCKYSIZE=23
"$work/worldtag" plain-res300.tif geo-worldtag.tif "2.5 0 0 -2.5 5000.25 7000.75"

for f in ./*.tif; do
  n=${f%.tif}
  tiff2rgba -c none "$f" "$work/rgba.tif"
  case $n in
    ./grey-*|./bilevel-*|./geo-*|./plain-*) gdal_translate -q -of PNM -b 1 "$work/rgba.tif" "$n.pgm" ;;
    *) gdal_translate -q -of PNM -b 1 -b 2 -b 3 "$work/rgba.tif" "$n.ppm" ;;
  esac
done
# libtiff rounds when it multiplies unassociated alpha in; the reader truncates
# (colour * alpha / 255), so this reference is GDAL's samples under that rule.
gdal_translate -q -of PNM -b 1 -b 2 -b 3 rgba-unassociated.tif "$work/ua.ppm"
gdal_translate -q -of PNM -b 4 rgba-unassociated.tif "$work/ua.pgm"
python3 - "$work" <<'PY'
import sys
d = sys.argv[1]
def body(path):
    parts = open(path, 'rb').read().split(b'\n', 3)
    return parts[1], parts[3]
size, rgb = body(d + '/ua.ppm')
_, alpha = body(d + '/ua.pgm')
out = bytes(rgb[i] * alpha[i // 3] // 255 for i in range(len(rgb)))
open('rgba-unassociated.ppm', 'wb').write(b'P6\n' + size + b'\n255\n' + out)
PY
rm -f ./*.aux.xml
