#!/bin/sh
# Builds the libFuzzer targets of tests/robust with clang in build-fuzz
# (AddressSanitizer and UndefinedBehaviorSanitizer) and runs each for its
# share of the given number of seconds (default 60): image shape 2/3, frame
# shape 1/4, query shape the rest.  The corpora stay in build-fuzz/corpus/,
# so a later run goes on from where this one stopped.  Any broken promise
# stops the run with the reproducing input written to build-fuzz/crash-*.
#
#   ./tools/fuzz.sh            # the short run of tools/run_tests.sh
#   ./tools/fuzz.sh 3600       # an hour
set -eu
cd "$(dirname "$0")/.."
SECONDS_TOTAL="${1:-60}"
JOBS="${JOBS:-$(nproc 2>/dev/null || echo 2)}"
CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCELCC_FUZZ=ON \
  -DCELCC_BUILD_BENCH=OFF -DCELCC_BUILD_EXAMPLES=OFF >/dev/null
if ! cmake --build build-fuzz -j "$JOBS" --target fuzz_image fuzz_frame fuzz_query >build-fuzz/build.log 2>&1; then
  tail -n 40 build-fuzz/build.log
  exit 1
fi
image=$((SECONDS_TOTAL * 2 / 3))
frame=$((SECONDS_TOTAL / 4))
query=$((SECONDS_TOTAL - image - frame))
for pair in image:$image frame:$frame query:$query; do
  shape=${pair%%:*}
  secs=${pair#*:}
  [ "$secs" -gt 0 ] || continue
  mkdir -p "build-fuzz/corpus/$shape"
  log="build-fuzz/fuzz_$shape.log"
  if ! (cd build-fuzz && UBSAN_OPTIONS=print_stacktrace=1 "./tests/robust/fuzz_$shape" -max_total_time="$secs" \
        -max_len=512 -print_final_stats=1 "corpus/$shape" >"fuzz_$shape.log" 2>&1); then
    tail -n 40 "$log"
    echo "fuzz_$shape: failed, see $log" >&2
    exit 1
  fi
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  echo "fuzz_$shape: $runs executions in ${secs}s, no failure"
done
