#!/bin/sh
# Builds the library and runs the demonstration: a test image goes through
# the library's conversions and the results are written as PPM/PGM images.
set -eu
cd "$(dirname "$0")/.."
./tools/install_deps.sh
JOBS="${JOBS:-$(nproc 2>/dev/null || echo 2)}"
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release
cmake --build build -j "$JOBS" --target celcc_demo
./build/examples/celcc_demo "${1:-demo-out}"
