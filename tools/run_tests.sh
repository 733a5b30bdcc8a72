#!/bin/sh
# Builds the library and its tests twice (optimised, and with AddressSanitizer
# and UndefinedBehaviorSanitizer) and runs the whole suite in both builds;
# then the thread test of tests/robust under ThreadSanitizer, and, where
# clang and its libFuzzer runtime are installed, a minute of fuzzing.
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

# Every export from several threads at once, under ThreadSanitizer.
cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCELCC_TSAN=ON -DCELCC_BUILD_BENCH=OFF \
  -DCELCC_BUILD_EXAMPLES=OFF
cmake --build build-tsan -j "$JOBS" --target robust_threads
TSAN_OPTIONS=halt_on_error=1 ./build-tsan/tests/robust/robust_threads

# A short fuzzing run of every signature shape (tools/fuzz.sh; longer runs
# are documented in tests/robust/README.md).
probe=$(mktemp -d)
printf 'extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, unsigned long) { return 0; }\n' >"$probe/p.cpp"
if command -v clang++ >/dev/null 2>&1 && clang++ -fsanitize=fuzzer "$probe/p.cpp" -o "$probe/p" 2>/dev/null; then
  # Reported, not fatal here: a short run draws different inputs each time,
  # and a fault it finds is kept as a crash file for tools/fuzz.sh to replay.
  ./tools/fuzz.sh 60 || echo "FUZZING FOUND A FAULT: see the crash files named above"
else
  echo "clang with libFuzzer not installed: fuzzing skipped"
fi
rm -rf "$probe"
