#!/usr/bin/env bash
# Builds and runs the getData benchmark, then GDAL on the same pixels, and
# prints one table of both (bench/gdal_compare.py). TARN_BENCH_DIR keeps the
# generated files between runs (about 400 MB).
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/setup.sh" libbenchmark-dev gdal-bin python3-gdal python3-numpy
build="$root/build-bench"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DTARN_BUILD_TESTS=OFF -DTARN_BUILD_BENCH=ON >/dev/null
cmake --build "$build" -j"$(nproc)" --target bench_getdata
data="${TARN_BENCH_DIR:-/tmp/tarn-bench}"
mkdir -p "$data"
/usr/bin/python3 "$root/bench/make_nitf.py" "$data"
frame="$root/../shared/samples/cadrg/U_3058B.NTF"
[ -f "$frame" ] && ln -sf "$(cd "$(dirname "$frame")" && pwd)/U_3058B.NTF" "$data/U_3058B.NTF"
"$build/bench/bench_getdata" --keep "$data" --benchmark_out="$data/bench.json" --benchmark_out_format=json \
  --benchmark_min_time=0.5s "$@"
# Peak memory in fresh processes: one whole-image read each.
peak1="$("$build/bench/bench_getdata" --peak "$data" palette8.ras)"
peak2="$("$build/bench/bench_getdata" --peak "$data" rgb24.ras)"
echo
/usr/bin/python3 "$root/bench/gdal_compare.py" "$data" "$data/bench.json" "Peak memory of one getData at scale 1:" \
  "  $peak1" "  $peak2"
