#!/bin/sh
# Installs what a fresh Debian machine lacks to build, test and run the
# library and its front ends.  Packages already present are left alone, so a
# second run costs a few dpkg queries.  The library itself needs only a C++17
# compiler and CMake; everything else serves the tests, the benchmarks, the
# peers they are measured against, and the front ends.
set -eu
pkgs="cmake g++ make pkg-config
      libgtest-dev libgmock-dev libbenchmark-dev
      libcli11-dev libspng-dev libpng-dev libjpeg-dev libraw-dev libopenexr-dev
      python3 python3-numpy python3-pytest python3-skimage python3-venv python3-pip python3-setuptools
      ffmpeg libswscale-dev libavutil-dev clang libclang-rt-14-dev
      libyuv-dev libopencv-imgproc-dev
      libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev gstreamer1.0-tools
      gstreamer1.0-plugins-base gstreamer1.0-plugins-good"
need=""
for p in $pkgs; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || need="$need $p"
done
[ -z "$need" ] && exit 0
echo "installing:$need"
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
$SUDO apt-get update -q
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -q --no-install-recommends $need
