#!/usr/bin/env bash
# Expected values of the shared USRP samples, from GDAL (gdal-bin): for each
# product the colour table gdalinfo gives, then one FNV-1a hash per row of the
# pixel indices gdal_translate writes. The samples themselves stay outside.
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
samples="${1:-$here/../../../shared/samples}"
tmp="$(mktemp -d)"
trap 'rm -rf "$tmp"' EXIT
for p in USRP_PCB0 USRP_PCB4 USRP_PCB8; do
  img="$samples/srp/$p/FKUSRP01.IMG"
  gdal_translate -q -of ENVI "$img" "$tmp/$p.raw"
  gdalinfo "$img" | sed -n 's/^ *\([0-9]*\): \([0-9]*\),\([0-9]*\),\([0-9]*\),255$/colour \1 \2 \3 \4/p' > "$tmp/$p.colours"
  python3 - "$tmp/$p.raw" "$tmp/$p.colours" > "$here/srp/$p.txt" <<'PY'
import sys
data = open(sys.argv[1], 'rb').read()
print("# rows columns; colours (index r g b); FNV-1a 32 of each row's indices")
print("size 128 128")
sys.stdout.write(open(sys.argv[2]).read())
for y in range(128):
    h = 2166136261
    for b in data[y * 128:(y + 1) * 128]:
        h = ((h ^ b) * 16777619) & 0xffffffff
    print("row %d %08x" % (y, h))
PY
done
