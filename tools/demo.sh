#!/bin/sh
# The README's main job: builds the library and its command-line tool, then
# celcc takes a real photograph to 4:2:0 Y4M and back, demosaics a Bayer
# mosaic of it and dithers it, writing images a person can open into
# demo-out/ (or the directory given).
set -eu
cd "$(dirname "$0")/.."
./tools/install_deps.sh
JOBS="${JOBS:-$(nproc 2>/dev/null || echo 2)}"
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release
cmake --build build -j "$JOBS" --target celcc

out="${1:-demo-out}"
mkdir -p "$out"
photo=""
for dir in /usr/lib/python3/dist-packages/skimage/data \
           "$(python3 -c 'import skimage, os; print(os.path.join(os.path.dirname(skimage.__file__), "data"))' 2>/dev/null || true)"; do
  if [ -f "$dir/astronaut.png" ]; then photo="$dir/astronaut.png"; break; fi
done
[ -n "$photo" ] || { echo "demo: astronaut.png not found (python3-skimage)" >&2; exit 1; }

celcc=./build/cli/celcc
set -x
$celcc convert "$photo" "$out/astronaut.y4m" --force -v
$celcc convert "$out/astronaut.y4m" "$out/astronaut-420.png" --force -v
$celcc mosaic "$photo" "$out/astronaut-bayer.png" --pattern rggb --force
$celcc demosaic "$out/astronaut-bayer.png" "$out/astronaut-demosaiced.png" --pattern rggb --force -v
$celcc dither "$photo" "$out/astronaut-dither-4.png" --levels 4 --method ordered --force -v
$celcc dither "$photo" "$out/astronaut-fs-2.png" --levels 2 --method fs --force -v
set +x
echo "demo: open $out/astronaut-420.png, $out/astronaut-demosaiced.png, $out/astronaut-dither-4.png and $out/astronaut-fs-2.png"
