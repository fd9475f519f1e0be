#!/bin/sh
# Band values at chosen points, as GDAL reads them, for the value and bands
# commands' test (tests/tools/test_band_values.cpp). Each line of
# standard/points.txt is: file (relative to tests/data, or samples:NAME for the
# shared samples folder), sample type, x, y, then gdallocationinfo -valonly's
# value of every band. Needs gdal-bin.
set -eu
data=$(cd "$(dirname "$0")" && pwd)
samples=$(cd "$data/../../../shared/samples" 2>/dev/null && pwd || true)
out="$data/standard/points.txt"
: > "$out"
point() { # file-as-written path type x y
  values=$(gdallocationinfo -valonly "$2" "$4" "$5" | tr '\n' ' ' | sed 's/ $//')
  echo "$1 $3 $4 $5 $values" >> "$out"
}
for p in "0 0" "6 4" "3 2"; do point standard/grey8-7x5.bil "$data/standard/grey8-7x5.bil" u8 $p; done
for p in "0 0" "7 4" "2 3"; do point standard/u16-2band-8x5.bil "$data/standard/u16-2band-8x5.bil" u16 $p; done
for p in "0 0" "5 3" "1 2"; do point standard/i32-2band-6x4.bil "$data/standard/i32-2band-6x4.bil" i32 $p; done
for p in "0 0" "4 2"; do point standard/rgb8-bip-6x4.bip "$data/standard/rgb8-bip-6x4.bip" u8 $p; done
if [ -n "$samples" ]; then
  for p in "0 0" "19 19" "7 11"; do point samples:ehdr/float32.bil "$samples/ehdr/float32.bil" f32 $p; done
  for p in "0 0" "19 19" "7 11"; do point samples:ehdr/int16_rat.bil "$samples/ehdr/int16_rat.bil" i16 $p; done
fi


# GDAL's colour table of the paletted fixture, whose .clr GDAL wrote: one
# "index red green blue alpha" line per entry.
gdalinfo -json "$data/standard/palette8-7x5.bil" | python3 -c '
import json, sys
table = json.load(sys.stdin)["bands"][0]["colorTable"]
for i, e in enumerate(table["entries"]):
    print(i, *e)' > "$data/standard/palette8-7x5.palette"
