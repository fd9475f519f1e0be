#!/usr/bin/env python3
"""Times GDAL reading the same window of the same pixels as bench_getdata, and
prints both figures with their ratio.

usage: gdal_compare.py DIR BENCH_JSON

DIR holds the EHdr copies that bench_getdata --keep DIR wrote; BENCH_JSON is its
--benchmark_out file. GDAL reads raw band values (one byte per band) with
nearest resampling into a buffer of the output size, with a 1 MB block cache
and a fresh open per read; our figure includes colour assignment and 4-byte
RGBA packing. GDAL is only a yardstick here: it is not part of the build or
tests.
"""
import json
import sys
import time

from osgeo import gdal

SIZE = 4096


def gdal_rate(path, scale, repeats=5):
    # Each read opens the file afresh, as getData does, so GDAL's block cache
    # carries nothing from one read to the next; the OS page cache serves both.
    out = int(SIZE / scale)
    best = None
    for _ in range(repeats):
        start = time.perf_counter()
        ds = gdal.Open(path)
        ds.ReadRaster(0, 0, SIZE, SIZE, out, out, resample_alg=gdal.GRIORA_NearestNeighbour)
        ds = None
        elapsed = time.perf_counter() - start
        best = elapsed if best is None else min(best, elapsed)
    return out * out / best / 1e6


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    directory, bench_json = sys.argv[1], sys.argv[2]
    gdal.SetCacheMax(1024 * 1024)
    ours = {}
    with open(bench_json) as f:
        for b in json.load(f)["benchmarks"]:
            ours[b["name"]] = b.get("out_MP/s", 0.0) / 1e0
    print(f"{'window (4096x4096 source)':34} {'tarnimage MP/s':>15} {'GDAL MP/s':>10} {'ratio':>6}")
    for ras, ehdr in (("palette8.ras", "gdal-gray8.bil"), ("rgb24.ras", "gdal-rgb24.bil")):
        for scale in (1, 2, 8):
            name = f"getData/{ras}/scale{scale}"
            mine = ours.get(name)
            theirs = gdal_rate(f"{directory}/{ehdr}", scale)
            if mine is None:
                print(f"{name:34} {'-':>15} {theirs:10.1f} {'-':>6}")
            else:
                print(f"{name:34} {mine:15.1f} {theirs:10.1f} {mine / theirs:6.2f}")


if __name__ == "__main__":
    main()
