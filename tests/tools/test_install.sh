#!/bin/sh
# Installs the build into a scratch prefix, builds a host with
# find_package(tarnimage) and runs it against an empty directory.
set -eu
build="$1"; source="$2"; flags="$3"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$source/tests/install" -B "$work/host" -DCMAKE_PREFIX_PATH="$work/prefix" \
      -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="$flags" >/dev/null
cmake --build "$work/host" >/dev/null
mkdir "$work/empty"
LD_LIBRARY_PATH="$work/prefix/lib:$work/prefix/lib64${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}" \
  "$work/host/install_host" "$work/empty"
# The pkg-config file names the library and its headers.
PKG_CONFIG_PATH="$work/prefix/lib/pkgconfig" pkg-config --libs tarnimage | grep -q -- -ltarnimage
echo "install ok"
