#!/bin/sh
# Makes the bundled example rasters with netpbm and ImageMagick (not needed to
# build or test; the results are committed). pnmtorast run-encodes by default
# and always writes 24-bit files plain.
set -eu
cd "$(dirname "$0")"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
convert rose: "$tmp/rose.ppm"                                   # 70 x 46 colour photo
pnmtorast -standard "$tmp/rose.ppm" > rose-24bit.ras 2>/dev/null
pnmquant 16 "$tmp/rose.ppm" > "$tmp/rose16.ppm" 2>/dev/null
pnmtorast "$tmp/rose16.ppm" > rose-palette16-rle.ras 2>/dev/null
pgmramp -diagonal 96 64 > "$tmp/ramp.pgm"
pnmtorast -standard "$tmp/ramp.pgm" > ramp-grey.ras 2>/dev/null
pbmmake -gray 61 37 > "$tmp/check.pbm"
pnmtorast "$tmp/check.pbm" > stipple-1bit-rle.ras 2>/dev/null
