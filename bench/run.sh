#!/usr/bin/env bash
# Builds and runs the getData benchmark, then GDAL on the same pixels, and
# prints one table of both (bench/gdal_compare.py). TARN_BENCH_DIR keeps the
# generated files between runs (about 400 MB).
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/setup.sh" libbenchmark-dev gdal-bin python3-gdal
build="$root/build-bench"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DTARN_BUILD_TESTS=OFF -DTARN_BUILD_BENCH=ON >/dev/null
cmake --build "$build" -j"$(nproc)" --target bench_getdata
data="${TARN_BENCH_DIR:-/tmp/tarn-bench}"
mkdir -p "$data"
"$build/bench/bench_getdata" --keep "$data" --benchmark_out="$data/bench.json" --benchmark_out_format=json \
  --benchmark_min_time=0.5s "$@"
# Peak memory in fresh processes: one whole-image read each.
peak1="$("$build/bench/bench_getdata" --peak "$data" palette8.ras)"
peak2="$("$build/bench/bench_getdata" --peak "$data" rgb24.ras)"
echo
/usr/bin/python3 "$root/bench/gdal_compare.py" "$data" "$data/bench.json" "Peak memory of one getData at scale 1:" \
  "  $peak1" "  $peak2"
