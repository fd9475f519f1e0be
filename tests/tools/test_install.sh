#!/bin/sh
# Installs the build into a scratch prefix, builds the README's host with
# pkg-config and with find_package, runs both on a Sun raster, and runs the
# installed tarnimage command without any library path set.
# Usage: test_install.sh BUILD_DIR SOURCE_DIR HOST_FLAGS
set -eu
build="$1"; source="$2"; flags="$3"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*"; exit 1; }

# The host in the README is the one built here, word for word.
readme_block() { # language: the first fenced block of it under the host section
  awk -v lang="$1" '
    /^## / { section = ($0 == "## Using the library from a host") }
    section && !done && $0 == "```" lang { inside = 1; next }
    inside && $0 == "```" { inside = 0; done = 1 }
    inside { print }' "$source/README.md"
}
readme_block cpp | diff - "$source/tests/install/host.cpp" >/dev/null \
  || fail "README's host code differs from tests/install/host.cpp"
readme_block cmake | diff - "$source/tests/install/CMakeLists.txt" >/dev/null \
  || fail "README's CMakeLists.txt differs from tests/install/CMakeLists.txt"

prefix="$work/prefix"
cmake --install "$build" --prefix "$prefix" >/dev/null

# One netpbm-made fixture, and its first pixel from netpbm's own decode.
name=std-rgb-24bit-29x15
mkdir "$work/images"
cp "$source/tests/data/sunraster/$name.ras" "$work/images/"
pnm="$source/tests/data/sunraster/$name.pnm"
first=$(tail -c +"$(( $(head -n 3 "$pnm" | wc -c) + 1 ))" "$pnm" | head -c 3 | od -An -tu1 | xargs)
want="$name.ras 29x15 first pixel $first 255"

# pkg-config finds the file under the prefix's library directory, whatever it is called.
pcdir=$(dirname "$(find "$prefix" -name tarnimage.pc)")
libdir=$(PKG_CONFIG_PATH="$pcdir" pkg-config --variable=libdir tarnimage)
[ "$libdir" = "$(dirname "$pcdir")" ] || fail "pkg-config's libdir $libdir is not under $prefix"
# shellcheck disable=SC2046
g++ -std=c++17 $flags "$source/tests/install/host.cpp" -o "$work/host_pc" \
    $(PKG_CONFIG_PATH="$pcdir" pkg-config --cflags --libs tarnimage) -Wl,-rpath,"$libdir"
got=$("$work/host_pc" "$work/images")
[ "$got" = "$want" ] || fail "pkg-config host printed '$got', wanted '$want'"

cmake -S "$source/tests/install" -B "$work/host" -DCMAKE_PREFIX_PATH="$prefix" \
      -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="$flags" >/dev/null
cmake --build "$work/host" >/dev/null
got=$("$work/host/host" "$work/images")
[ "$got" = "$want" ] || fail "find_package host printed '$got', wanted '$want'"

# The host driver example: its own format, registered through the public
# header, rendered to a PNG whose pixels are the colours of the values its
# driver serves: value ((x + y) / 4) mod 4 at (x, y).
cmake -S "$source/examples/host_driver" -B "$work/driver" -DCMAKE_PREFIX_PATH="$prefix" \
      -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="$flags" >/dev/null
cmake --build "$work/driver" >/dev/null
mkdir "$work/stripes"
cp "$source/examples/host_driver/stripes-12x8.stp" "$work/stripes/"
"$work/driver/host_driver" "$work/stripes" "$work/stripes.png" >/dev/null || fail "host_driver failed"
cat > "$work/png_pixels.cpp" <<'CPP'
#include <png.h>
#include <cstdio>
int main(int, char** argv) {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, argv[1])) return 1;
    image.format = PNG_FORMAT_RGBA;
    static unsigned char pixels[1 << 20];
    if (PNG_IMAGE_SIZE(image) > sizeof pixels ||
        !png_image_finish_read(&image, nullptr, pixels, 0, nullptr)) return 1;
    for (unsigned i = 0; i < image.width * image.height; ++i)
        std::printf("%u %u %u %u\n", pixels[4 * i], pixels[4 * i + 1], pixels[4 * i + 2], pixels[4 * i + 3]);
    return 0;
}
CPP
g++ $flags "$work/png_pixels.cpp" -o "$work/png_pixels" -lpng
"$work/png_pixels" "$work/stripes.png" > "$work/got.txt" || fail "the example's PNG does not read"
colours="230 60 40 255|250 200 30 255|40 160 90 255|20 40 120 255"
y=0
while [ $y -lt 8 ]; do
  x=0
  while [ $x -lt 12 ]; do
    echo "$colours" | cut -d'|' -f$(( ((x + y) / 4) % 4 + 1 ))
    x=$((x + 1))
  done
  y=$((y + 1))
done > "$work/want.txt"
cmp -s "$work/got.txt" "$work/want.txt" || fail "the example's PNG is not its driver's colours"

# The installed command runs on its own run path.
got=$(env -u LD_LIBRARY_PATH "$prefix/bin/tarnimage" info "$work/images")
echo "$got" | grep -q "^$name.ras  type 2 SUNRASTER  29x15 " || fail "installed tarnimage info printed '$got'"
echo "install ok"
