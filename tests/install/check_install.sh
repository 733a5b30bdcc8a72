#!/bin/sh
# Installs the build into a scratch prefix, then builds and runs the C
# example against it twice: through pkg-config and through find_package.
# Usage: check_install.sh <build dir> <source dir> <scratch dir>
set -eu
build="$1"; src="$2"; work="$3"
rm -rf "$work"
cmake --install "$build" --prefix "$work/prefix" >/dev/null

# pkg-config (needs the tool; skipped, not failed, where it is absent)
if command -v pkg-config >/dev/null 2>&1; then
  PKG_CONFIG_PATH="$work/prefix/lib/pkgconfig:$work/prefix/lib64/pkgconfig"
  export PKG_CONFIG_PATH
  libdir=$(pkg-config --variable=libdir celcc)
  LD_LIBRARY_PATH="$libdir" cc "$src/examples/quickstart.c" -o "$work/qs_pc" $(pkg-config --cflags --libs celcc)
  LD_LIBRARY_PATH="$libdir" "$work/qs_pc" >/dev/null
  echo "pkg-config: ok"
fi

# CMake package
cmake -S "$src/tests/install/consumer" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$work/prefix" \
  -DEXAMPLE_SOURCE="$src/examples/quickstart.c" >/dev/null
cmake --build "$work/consumer" >/dev/null
"$work/consumer/quickstart_shared" >/dev/null
"$work/consumer/quickstart_static" >/dev/null
echo "find_package: ok"

# The command-line tool, when it was built: it runs from the prefix and finds
# the library beside it.
if [ -f "$build/cli/celcc" ]; then
  "$work/prefix/bin/celcc" list celiRGBToYCbCr_8u_C3R | grep -q "C3 RGB -> C3 YCbCr"
  "$work/prefix/bin/celcc" route rgb24 i420 | grep -q celiRGBToYCbCr420_8u_C3P3R
  echo "celcc: ok"
fi
