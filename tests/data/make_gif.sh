#!/bin/sh
# GIF fixtures and their reference decodes.
#
# Needs gdal-bin, imagemagick and python3. The inline Python draws one-band
# index images as PGM, each with a colour table in a GDAL VRT beside it; GDAL
# writes them as GIF (2 to 256 colours, interlaced and not, 1 x 1 and odd
# sizes). ImageMagick writes an animation of three frames and a frame smaller
# than its screen. For every .gif, GDAL's decode (its indices through its
# colour table) becomes the .ppm of the same name, which the tests compare
# with the colours the driver delivers.
#
# With the shared sample folder present, samples.txt gets, for each sample GDAL
# reads, its size and two FNV-1a hashes of GDAL's decode: of the indices, and of
# the red, green, blue of every pixel through GDAL's colour table.
set -eu
here="$(cd "$(dirname "$0")" && pwd)"
out="$here/gif"
samples="$here/../../../shared/samples/gif"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$out"
rm -f "$out"/*.gif "$out"/*.ppm
export GDAL_PAM_ENABLED=NO
# Debian's ImageMagick, ahead of any other convert on the path.
convert=$(command -v /usr/bin/convert || command -v convert)

python3 - "$work" <<'PY'
import random, sys
work = sys.argv[1]
random.seed(20)

def write(name, w, h, colours, value):
    pixels = bytes(value(x, y) % colours for y in range(h) for x in range(w))
    with open(f"{work}/{name}.pgm", "wb") as f:
        f.write(b"P5\n%d %d\n255\n" % (w, h) + pixels)
    entries = "".join(
        f'<Entry c1="{(i * 97) % 256}" c2="{(i * 53 + 40) % 256}" c3="{(255 - i * 31) % 256}" c4="255"/>'
        for i in range(colours))
    with open(f"{work}/{name}.vrt", "w") as f:
        f.write(f"""<VRTDataset rasterXSize="{w}" rasterYSize="{h}">
  <VRTRasterBand dataType="Byte" band="1">
    <ColorInterp>Palette</ColorInterp>
    <ColorTable>{entries}</ColorTable>
    <SimpleSource><SourceFilename relativeToVRT="1">{name}.pgm</SourceFilename><SourceBand>1</SourceBand></SimpleSource>
  </VRTRasterBand>
</VRTDataset>
""")

write("gdal-2c-13x7", 13, 7, 2, lambda x, y: (x + y) // 2)
write("gdal-4c-1x1", 1, 1, 4, lambda x, y: 3)
write("gdal-16c-37x11", 37, 11, 16, lambda x, y: x * y + x // 3)
write("gdal-16c-interlaced-37x11", 37, 11, 16, lambda x, y: x + 3 * y)
write("gdal-256c-29x17", 29, 17, 256, lambda x, y: x * 9 + y * 29)
write("gdal-256c-interlaced-1x9", 1, 9, 256, lambda x, y: y * 30 + 7)
write("gdal-256c-interlaced-13x3", 13, 3, 256, lambda x, y: x * 19 + y)
# Noise fills the code table, so the stream holds clear codes and 12-bit codes.
write("gdal-256c-noise-64x64", 64, 64, 256, lambda x, y: random.randrange(256))
write("gdal-200c-noise-interlaced-45x31", 45, 31, 200, lambda x, y: random.randrange(200))

# Sources for ImageMagick: three frames of few colours, and a small frame.
def ppm(name, w, h, rgb):
    with open(f"{work}/{name}.ppm", "wb") as f:
        f.write(b"P6\n%d %d\n255\n" % (w, h) + bytes(c for y in range(h) for x in range(w) for c in rgb(x, y)))
ppm("frame1", 23, 14, lambda x, y: ((x * 40) % 256, (y * 60) % 256, 128))
ppm("frame2", 23, 14, lambda x, y: (255 - x * 10, 30, y * 18))
ppm("frame3", 23, 14, lambda x, y: (0, 200, (x + y) * 7))
ppm("small", 10, 8, lambda x, y: (x * 25, 90, y * 30))
PY

for vrt in "$work"/gdal-*.vrt; do
  name=$(basename "$vrt" .vrt)
  case "$name" in *interlaced*) il=YES ;; *) il=NO ;; esac
  gdal_translate -q -of GIF -co INTERLACING=$il "$vrt" "$out/$name.gif"
done
"$convert" -delay 20 "$work/frame1.ppm" "$work/frame2.ppm" "$work/frame3.ppm" -loop 0 "$out/magick-animation-23x14.gif"
"$convert" "$work/small.ppm" -page 20x16+3+2 "$out/magick-frame-in-screen-10x8.gif"

# GDAL's indices through GDAL's colour table, as PPM.
python3 - "$out" "$work" "$samples" <<'PY'
import glob, json, os, subprocess, sys
out, work, samples = sys.argv[1:4]

def gdal_decode(path):
    info = json.loads(subprocess.check_output(["gdalinfo", "-json", path]))
    w, h = info["size"]
    table = [tuple(e[:3]) for e in info["bands"][0]["colorTable"]["entries"]]
    raw = os.path.join(work, "indices.raw")
    if os.path.exists(raw):
        os.remove(raw)
    subprocess.check_call(["gdal_translate", "-q", "-of", "ENVI", "-b", "1", path, raw])
    with open(raw, "rb") as f:
        indices = f.read()
    assert len(indices) >= w * h  # a 1 x 1 file comes padded
    return w, h, indices[:w * h], table

def fnv(values):
    h = 2166136261
    for v in values:
        h = ((h ^ v) * 16777619) & 0xFFFFFFFF
    return h

for gif in sorted(glob.glob(os.path.join(out, "*.gif"))):
    w, h, indices, table = gdal_decode(gif)
    with open(gif[:-4] + ".ppm", "wb") as f:
        f.write(b"P6\n%d %d\n255\n" % (w, h) + bytes(c for i in indices for c in table[i]))

if os.path.isdir(samples):
    lines = ["# name rows columns index-hash colour-hash, from GDAL's decode"]
    for name in ["bug407.gif", "byte_with_xmp.gif", "hopper.gif", "text_mono.gif", "transparent.gif"]:
        w, h, indices, table = gdal_decode(os.path.join(samples, name))
        colours = [c for i in indices for c in table[i]]
        lines.append("%s %d %d 0x%08x 0x%08x" % (name, h, w, fnv(indices), fnv(colours)))
    with open(os.path.join(out, "samples.txt"), "w") as f:
        f.write("\n".join(lines) + "\n")
PY
rm -f "$out"/*.aux.xml
ls -l "$out"
