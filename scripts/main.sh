#!/usr/bin/env bash
# Builds the library and the tarnimage command, then runs them on examples/.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/setup.sh"
build="$root/build-release"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DTARN_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" -j"$(nproc)"
echo
echo "== tarnimage info examples/"
"$build/tools/tarnimage" info "$root/examples"
