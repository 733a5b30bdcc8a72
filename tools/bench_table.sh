#!/bin/sh
# Runs the one-run speed table (bench/table) and prints it as Markdown:
# operation, input, this library, peer, ratio (Mpixel/s by CPU time).
# OpenCV is limited to SSE4.2 through OPENCV_CPU_DISABLE (read when it
# loads); libyuv limits itself inside the program.  Extra arguments go to
# the benchmark program (e.g. --benchmark_filter=...).
#   ./tools/bench_table.sh [build-dir] [benchmark args...]
set -eu
cd "$(dirname "$0")/.."
BUILD="${1:-build}"
[ $# -gt 0 ] && shift
out=$(mktemp)
OPENCV_CPU_DISABLE="${OPENCV_CPU_DISABLE:-AVX512F,AVX2,AVX,FMA3,FP16}" \
  "$BUILD/bench/bench_table" --benchmark_min_time="${MIN_TIME:-0.5}" --benchmark_format=json "$@" >"$out" 2>/dev/null
python3 - "$out" <<'PY'
import json, sys
runs = json.load(open(sys.argv[1]))["benchmarks"]
table = {}
for b in runs:
    op, who, content, _ = b["name"].split("/")
    table.setdefault((op, content), {})[who] = b["Mpix/s"]
print("| operation | input | this library | peer | peer Mpix/s | ratio |")
print("|---|---|---:|---|---:|---:|")
for (op, content), r in table.items():
    mine = r.get("mine")
    for who, v in r.items():
        if who == "mine" or mine is None:
            continue
        print(f"| `{op}` | {content} | {mine:,.0f} | {who[5:]} | {v:,.0f} | {mine / v:.2f} |")
PY
rm -f "$out"
