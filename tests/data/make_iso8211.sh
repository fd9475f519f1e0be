#!/usr/bin/env bash
# Writes iso8211/usrp_colours.txt: GDAL's colour table of each USRP sample
# product, one line per entry: product, index, red, green, blue.
# Needs gdal-bin and the shared samples beside the checkout.
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
samples="${1:-$here/../../../shared/samples}"
out="$here/iso8211/usrp_colours.txt"
mkdir -p "$here/iso8211"
: >"$out"
for product in USRP_PCB0 USRP_PCB4 USRP_PCB8; do
  gdalinfo "$samples/srp/$product/FKUSRP01.IMG" |
    sed -n '/Color Table/,$p' |
    sed -n 's/^ *\([0-9]*\): \([0-9]*\),\([0-9]*\),\([0-9]*\),[0-9]*$/\1 \2 \3 \4/p' |
    sed "s/^/$product /" >>"$out"
done
