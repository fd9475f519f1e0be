#!/bin/sh
# Compares what the library produces today with the committed record; any
# difference is printed. Regenerate with tests/data/golden/make_golden.sh.
set -eu
build="$1"
root="$2"
out="$(mktemp)"
trap 'rm -f "$out"' EXIT
"$root/tests/data/golden/make_golden.sh" "$build" "$out"
if ! diff -u "$root/tests/data/golden/hashes.txt" "$out"; then
  echo "golden record differs: see the diff above (- recorded, + now)"
  exit 1
fi
echo "golden record matches ($(wc -l <"$out") lines)"
