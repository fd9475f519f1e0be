#!/usr/bin/env bash
# Builds the library and the tarnimage command, lists the images in examples/
# and renders each of them whole into out/NAME.png.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/setup.sh"
build="$root/build-release"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DTARN_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" -j"$(nproc)"
tool="$build/tools/tarnimage"
out="$root/out"
mkdir -p "$out"
echo
echo "== tarnimage info examples/"
"$tool" info "$root/examples"
echo
echo "== tarnimage render"
for file in "$root"/examples/*; do
  name="$(basename "$file")"
  [ -f "$file" ] || continue
  case "$name" in *.sh) continue ;; esac
  printf '%s: ' "$name"
  "$tool" render "$root/examples" "$name" -o "$out/${name%.*}.png"
done
echo
echo "PNG files are in $out/"
