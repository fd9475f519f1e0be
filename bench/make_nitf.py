#!/usr/bin/python3
"""Writes nitf-c3-blocked.ntf into DIR for the benchmark: 4096 x 4096, three
bands of the benchmark's pixels, JPEG (C3) in 256 x 256 blocks, made NITF 2.0
by the fixture script's rewrite. Needs python3-gdal and python3-numpy.

usage: bench/make_nitf.py DIR
"""
import os
import sys

import numpy as np
from osgeo import gdal

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "data"))
import make_nitf  # noqa: E402

SIZE = 4096


def main():
    target = os.path.join(sys.argv[1], "nitf-c3-blocked.ntf")
    if os.path.exists(target):
        return
    y, x = np.mgrid[0:SIZE, 0:SIZE]
    xr = x & ~7
    planes = [((xr * (k + 1) + y * 3 + ((xr ^ y) >> 4)) & 255).astype(np.uint8) for k in range(3)]
    data = make_nitf.gdal_write("bench-c3", np.stack(planes), ["IC=C3", "QUALITY=90", "BLOCKSIZE=256"])
    with open(target, "wb") as f:
        f.write(make_nitf.to_nitf20(data))


if __name__ == "__main__":
    main()
