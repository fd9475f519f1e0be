#!/bin/sh
# Fixtures for format identification, all made by independent tools from one
# 7 x 5 grey ramp (values 0 to 190): netpbm for the Sun raster, GDAL for ERDAS
# LAN, EHdr BIL, BMP and GeoTIFF. Needs netpbm and gdal-bin.
set -eu
out="$(cd "$(dirname "$0")" && pwd)/ident"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$out"
export GDAL_PAM_ENABLED=NO   # no .aux.xml beside the outputs

{
  printf 'P2\n7 5\n255\n'
  for r in 0 1 2 3 4; do
    for c in 0 1 2 3 4 5 6; do printf '%d ' $((r * 40 + c * 5)); done
    echo
  done
} | pgmtopgm > "$work/ramp.pgm"

# A Sun raster has a signature and no customary suffix: identified by content.
pnmtorast "$work/ramp.pgm" > "$out/sun-grey-7x5"
gdal_translate -q -of LAN "$work/ramp.pgm" "$out/erdas-head74-grey-7x5.lan"
gdal_translate -q -of EHdr "$work/ramp.pgm" "$out/ehdr-grey-7x5.bil"
gdal_translate -q -of BMP "$work/ramp.pgm" "$out/bmp-grey-7x5.bmp"
gdal_translate -q -of GTiff -a_srs EPSG:4326 -a_ullr 10 50 17 45 \
  "$work/ramp.pgm" "$out/geotiff-le-grey-7x5.tif"
gdal_translate -q -of GTiff -co ENDIANNESS=BIG -a_srs EPSG:4326 -a_ullr 10 50 17 45 \
  "$work/ramp.pgm" "$out/geotiff-be-grey-7x5.tif"
rm -f "$out"/*.prj "$out"/*.aux.xml
ls -l "$out"
