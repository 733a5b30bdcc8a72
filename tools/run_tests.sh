#!/bin/sh
# Builds the library and its tests twice (optimised, and with AddressSanitizer
# and UndefinedBehaviorSanitizer) and runs the whole suite in both builds.
set -eu
cd "$(dirname "$0")/.."
./tools/install_deps.sh
JOBS="${JOBS:-$(nproc 2>/dev/null || echo 2)}"

cmake -S . -B build -DCMAKE_BUILD_TYPE=Release
cmake --build build -j "$JOBS"
ctest --test-dir build --output-on-failure -j "$JOBS"

cmake -S . -B build-sanitize -DCMAKE_BUILD_TYPE=Debug -DCELCC_SANITIZE=ON -DCELCC_BUILD_BENCH=OFF
cmake --build build-sanitize -j "$JOBS"
ASAN_OPTIONS=detect_leaks=0 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --test-dir build-sanitize --output-on-failure -j "$JOBS"
