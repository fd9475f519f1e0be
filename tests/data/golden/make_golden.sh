#!/bin/sh
# Writes the record of everything the library visibly produces on the committed
# fixtures: properties, RGBA blocks and channel rows, as hashes.
#
# Run it only when a change of output is intended (a fixed decode, a new
# property), and say in the commit message that the record was regenerated
# and why. A restructuring must leave this file as it is.
#
# usage: tests/data/golden/make_golden.sh BUILD_DIR [OUT]
#   BUILD_DIR holds tests/golden_hashes (any build of this tree, e.g. build-test);
#   OUT defaults to tests/data/golden/hashes.txt.
set -eu
root="$(cd "$(dirname "$0")/../../.." && pwd)"
build="$1"
out="${2:-$root/tests/data/golden/hashes.txt}"
# Every committed folder of images; the shared samples stay out, since they
# grow whenever a driver lands.
"$build/tests/golden_hashes" "$root" \
  tests/data/sunraster tests/data/ident tests/data/world tests/data/georef tests/data/lzw \
  examples fuzz/corpus/sunraster fuzz/regressions/sunraster >"$out"
