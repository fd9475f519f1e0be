#!/bin/sh
# Makes the world-file fixtures with GDAL. Needs gdal_translate (gdal-bin).
# The rotated grid has every term of the transform non-zero, so a reader that
# swaps any two of the six lines gets a different answer. The values are exact
# binary fractions, so the decimal text GDAL prints is exact too.
set -eu
out=$(cd "$(dirname "$0")" && pwd)/world
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
mkdir -p "$out"

# GeoTransform: x0, xscale, xskew, y0, yskew, yscale (top-left corner).
cat > "$tmp/rotated.vrt" <<'VRT'
<VRTDataset rasterXSize="4" rasterYSize="3">
  <GeoTransform>440720.0, 2.5, 0.125, 3751320.0, -0.25, -2.5</GeoTransform>
  <VRTRasterBand dataType="Byte" band="1"/>
</VRTDataset>
VRT
gdal_translate -q -of GTiff -co TFW=YES "$tmp/rotated.vrt" "$tmp/rotated-4x3.tif"
cp "$tmp/rotated-4x3.tfw" "$out/rotated-4x3.tfw"

# A north-up UTM grid with 30 m cells, as most world files are.
cat > "$tmp/utm.vrt" <<'VRT'
<VRTDataset rasterXSize="5" rasterYSize="2">
  <GeoTransform>500000.0, 30.0, 0.0, 4100000.0, 0.0, -30.0</GeoTransform>
  <VRTRasterBand dataType="Byte" band="1"/>
</VRTDataset>
VRT
gdal_translate -q -of GTiff -co TFW=YES "$tmp/utm.vrt" "$tmp/northup-30m-5x2.tif"
cp "$tmp/northup-30m-5x2.tfw" "$out/northup-30m-5x2.tfw"
