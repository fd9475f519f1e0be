#!/usr/bin/env python3
"""Times GDAL on the pixels bench_getdata read, and prints one table of both.

usage: gdal_compare.py DIR BENCH_JSON [PEAK_LINE...]

DIR holds the files that bench_getdata --keep DIR wrote; BENCH_JSON is its
--benchmark_out file. For every case GDAL reads the same window of the same
pixels with nearest resampling into a buffer of the output size: the raw band
values (one byte or two per band), and for the paletted image also RGBA, its
colour-table expansion. Each read opens the file afresh with a 256 MB block
cache, as getData opens its file; the page cache serves both. Our figures
include colour assignment and 4-byte RGBA packing. GDAL is a yardstick here,
not part of the build or the tests.
"""
import json
import os
import sys
import time

from osgeo import gdal

LARGE = 8192

# Our case -> the file GDAL reads for the same pixels (it has no Sun raster
# reader: the BIL copies hold the same samples and colours).
GDAL_FILE = {
    "sun-palette8": "gdal-palette8.bil",
    "sun-rgb24": "rgb8.bil",
    "bil-rgb8": "rgb8.bil",
    "bil-gray16-stretch": "gray16.bil",
    "tiff-lzw-strips": "lzw-strips.tif",
    "tiff-deflate-strips": "deflate-strips.tif",
    "tiff-lzw-tiles": "lzw-tiles.tif",
    "tiff-deflate-tiles": "deflate-tiles.tif",
    "nitf-c3-blocked": "nitf-c3-blocked.ntf",
    "cadrg": "U_3058B.NTF",
}
# Cases whose GDAL reading is an index band: RGBA is timed too.
PALETTED = ("sun-palette8", "cadrg")


def best_of(read, repeats=3):
    best = None
    for _ in range(repeats):
        start = time.perf_counter()
        read()
        elapsed = time.perf_counter() - start
        best = elapsed if best is None else min(best, elapsed)
    return best


def window_read(path, x, y, w, h, out_w, out_h, rgba):
    def read():
        ds = gdal.Open(path)
        if rgba:
            ds = gdal.Translate("", ds, format="VRT", rgbExpand="rgba")
        ds.ReadRaster(x, y, w, h, out_w, out_h, resample_alg=gdal.GRIORA_NearestNeighbour)
        ds = None
    return read


def rate(path, scale, clip, rgba):
    ds = gdal.Open(path)
    side = ds.RasterXSize
    ds = None
    if clip:
        x = y = (side - clip) // 2
        w = h = clip
    else:
        x = y = 0
        w = h = side
    out = int(w / scale)
    return out * out / best_of(window_read(path, x, y, w, h, out, out, rgba)) / 1e6


def tiles_rate(directory, rgba):
    requests = [tuple(map(int, line.split())) for line in open(f"{directory}/tiles.txt")]
    path = f"{directory}/gdal-palette8-8192.bil"

    def read():
        ds = gdal.Open(path)
        if rgba:
            ds = gdal.Translate("", ds, format="VRT", rgbExpand="rgba")
        for x, y, s in requests:
            ds.ReadRaster(x, y, 256 * s, 256 * s, 256, 256, resample_alg=gdal.GRIORA_NearestNeighbour)
        ds = None
    return len(requests) / best_of(read, repeats=1)


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    directory, bench_json = sys.argv[1], sys.argv[2]
    # Enough cache for a whole row of blocks: tiled files are read once each.
    gdal.SetCacheMax(256 * 1024 * 1024)
    gdal.PushErrorHandler("CPLQuietErrorHandler")
    ours = {}
    with open(bench_json) as f:
        for b in json.load(f)["benchmarks"]:
            ours[b["name"].removesuffix("/real_time")] = b.get("out_MP/s", b.get("tiles/s", 0.0))

    print(f"{'read (megapixels of output per second)':42} {'tarnimage':>10} {'GDAL raw':>9} "
          f"{'GDAL RGBA':>10} {'ours/raw':>9}")
    for case, gdal_file in GDAL_FILE.items():
        path = f"{directory}/{gdal_file}"
        if not os.path.exists(path):
            continue
        paletted = case in PALETTED
        for kind, scale, clip in (("getData", 1, 0), ("getData", 2, 0), ("getData", 8, 0), ("clip512", 1, 512)):
            name = f"{kind}/{case}/scale{scale}"
            mine = ours.get(name)
            raw = rate(path, scale, clip, False)
            expanded = rate(path, scale, clip, True) if paletted else None
            mine_text = f"{mine:10.1f}" if mine else f"{'-':>10}"
            expanded_text = f"{expanded:10.1f}" if expanded else f"{'':>10}"
            ratio = f"{mine / raw:9.2f}" if mine else f"{'-':>9}"
            print(f"{name:42} {mine_text} {raw:9.1f} {expanded_text} {ratio}")

    print()
    print(f"{'tile workload (tiles per second)':42} {'tarnimage':>10} {'GDAL raw':>9} {'GDAL RGBA':>10} {'ours/raw':>9}")
    mine = ours.get("tiles/sun-palette8-8192")
    mine_text = f"{mine:10.1f}" if mine else f"{'-':>10}"
    # GDAL keeps its dataset open through the 2000 requests: with a cache that
    # holds the whole image it reads the file once; with 1 MB it reads from the
    # file as getData does.
    for cache, label in ((1024 * 1024, "GDAL cache 1 MB"), (256 * 1024 * 1024, "GDAL cache 256 MB")):
        gdal.SetCacheMax(cache)
        raw, expanded = tiles_rate(directory, False), tiles_rate(directory, True)
        ratio = f"{mine / raw:9.2f}" if mine else f"{'-':>9}"
        print(f"{'2000 x 256x256, scales 1-16, ' + label:42} {mine_text} {raw:9.1f} {expanded:10.1f} {ratio}")
    gdal.SetCacheMax(256 * 1024 * 1024)

    print()
    print(f"{'TIFF, whole image at scale 1 (MP/s)':42} {'tarnimage':>10} {'libtiff':>9} {'time vs libtiff':>16}")
    for case in GDAL_FILE:
        if not case.startswith("tiff"):
            continue
        mine = ours.get(f"getData/{case}/scale1")
        floor = ours.get(f"libtiff/{case}")
        if mine and floor:
            print(f"{case:42} {mine:10.1f} {floor:9.1f} {floor / mine:16.2f}")

    if len(sys.argv) > 3:
        print()
        print("\n".join(sys.argv[3:]))


if __name__ == "__main__":
    main()
