#!/usr/bin/env bash
# Builds everything with AddressSanitizer and UndefinedBehaviorSanitizer (leak
# checking on) and runs every test. Any sanitizer report fails the run.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/setup.sh"
build="$root/build-test"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Debug -DTARN_SANITIZE=ON -DTARN_BUILD_TESTS=ON >/dev/null
cmake --build "$build" -j"$(nproc)"
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=0:halt_on_error=1:strict_string_checks=1:detect_stack_use_after_return=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
ctest --test-dir "$build" --output-on-failure -j"$(nproc)"

# The library built without the IMAGINE driver, as TARN_WITH_IMAGINE=OFF
# leaves it: eight registered drivers, the same tests (but the slow builds of
# their own, which the build above runs already).
noimagine="$root/build-test-noimagine"
cmake -S "$root" -B "$noimagine" -DCMAKE_BUILD_TYPE=Debug -DTARN_WITH_IMAGINE=OFF -DTARN_BUILD_TESTS=ON >/dev/null
cmake --build "$noimagine" -j"$(nproc)"
ctest --test-dir "$noimagine" --output-on-failure -j"$(nproc)" -E "threads_tsan|install_and_find_package"
