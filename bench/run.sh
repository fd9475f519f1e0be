#!/usr/bin/env bash
# Builds and runs the getData benchmark, then the GDAL comparison on the same
# pixels, side by side in one run.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/setup.sh" libbenchmark-dev gdal-bin python3-gdal
build="$root/build-bench"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DTARN_BUILD_TESTS=OFF -DTARN_BUILD_BENCH=ON >/dev/null
cmake --build "$build" -j"$(nproc)" --target bench_getdata
data="${TARN_BENCH_DIR:-/tmp/tarn-bench}"
mkdir -p "$data"
"$build/bench/bench_getdata" --keep "$data" --benchmark_out="$data/bench.json" --benchmark_out_format=json
echo
/usr/bin/python3 "$root/bench/gdal_compare.py" "$data" "$data/bench.json"
