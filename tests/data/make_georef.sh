#!/bin/sh
# Sun rasters with world files beside them, from the fixtures of make_ident.sh
# and make_world.sh, so that the golden record covers georeferences: one world
# file under the 8.3 name (.rsw), one under the full name (.rasw).
set -eu
data=$(cd "$(dirname "$0")" && pwd)
out="$data/georef"
mkdir -p "$out"
cp "$data/ident/sun-grey-7x5" "$out/rotated.ras"
cp "$data/world/rotated-4x3.tfw" "$out/rotated.rsw"
cp "$data/ident/sun-grey-7x5" "$out/northup.ras"
cp "$data/world/northup-30m-5x2.tfw" "$out/northup.rasw"
