#!/bin/sh
# Builds the library and tests/threads/threads_host.cpp with ThreadSanitizer in
# a tree of their own (it cannot share a build with AddressSanitizer), then runs
# the host on three Sun rasters, one with a world file. Any race report fails the run.
# Usage: test_threads.sh SOURCE_DIR WORK_DIR CXX_COMPILER C_COMPILER
# Exits 77 (skipped) only when the compiler cannot build and run a TSan program.
set -eu
source="$1"; work="$2"; cxx="$3"; cc="$4"
mkdir -p "$work"
# The outer build's flags (AddressSanitizer) must not reach this one.
unset CFLAGS CXXFLAGS LDFLAGS CPPFLAGS

probe="$work/probe"
printf 'int main() { return 0; }\n' >"$probe.cpp"
if ! "$cxx" -fsanitize=thread "$probe.cpp" -o "$probe" >/dev/null 2>&1 || ! "$probe"; then
  echo "SKIP: $cxx cannot build and run a ThreadSanitizer program"
  exit 77
fi

flags="-fsanitize=thread -O1 -g1"
cmake -S "$source/tests/threads" -B "$work/build" -DTARN_SOURCE_DIR="$source" \
      -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_C_COMPILER="$cc" \
      -DCMAKE_BUILD_TYPE=Tsan -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_C_FLAGS="$flags" \
      -DCMAKE_EXE_LINKER_FLAGS=-fsanitize=thread -DCMAKE_SHARED_LINKER_FLAGS=-fsanitize=thread \
      -DTARN_SANITIZE=OFF -DTARN_BUILD_TESTS=OFF -DTARN_BUILD_TOOLS=OFF >/dev/null
cmake --build "$work/build" -j2 --target threads_host >/dev/null

TSAN_OPTIONS="halt_on_error=1 exitcode=66" \
  "$work/build/threads_host" "$source/tests/data/sunraster/std-rgb-24bit-29x15.ras" \
  "$source/tests/data/sunraster/rle-palette-8bit-37x5.ras" "$source/tests/data/georef/rotated.ras"
