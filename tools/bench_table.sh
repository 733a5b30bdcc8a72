#!/bin/sh
# Runs the one-run speed table (bench/table) and prints it as Markdown:
# operation, input, this library, peer, ratio and a memcpy of the bytes the
# operation reads (Mpixel/s by CPU time); rows without a peer say "none".
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
table, src, memcpy = {}, {}, {}
for b in runs:
    op, who, content, _ = b["name"].split("/")
    if op == "memcpy":
        memcpy[who] = b["Mpix/s"]
        continue
    table.setdefault((op, content), {})[who] = b["Mpix/s"]
    if who == "mine":
        src[op] = b.get("srcB")
print("| operation | input | this library | peer | peer Mpix/s | ratio | memcpy of the source Mpix/s |")
print("|---|---|---:|---|---:|---:|---:|")
for (op, content), r in table.items():
    mine = r.get("mine")
    if mine is None:
        continue
    m = memcpy.get(f"{src.get(op):g}B") if src.get(op) else None
    mc = f"{m:,.0f}" if m else "-"
    peers = [(who, v) for who, v in r.items() if who != "mine"]
    if not peers:
        print(f"| `{op}` | {content} | {mine:,.0f} | none | - | - | {mc} |")
    for who, v in peers:
        print(f"| `{op}` | {content} | {mine:,.0f} | {who[5:]} | {v:,.0f} | {mine / v:.2f} | {mc} |")
PY
rm -f "$out"
