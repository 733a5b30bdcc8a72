#!/bin/sh
# gst-launch-1.0 pipelines through the built celccconvert: a real photograph
# made into a VP8 video through the element, that video decoded and
# converted to BGRx, a 4:2:2 repack of interlaced video, interlaced 4:2:0
# to 4:2:2 field by field, and a pair the
# library does not convert, which must be refused at caps time.
# Usage: launch.sh <plugin dir> <work dir>
set -u
export GST_PLUGIN_PATH="$1" GST_REGISTRY="$2/gst-launch-registry.bin"
work="$2"
mkdir -p "$work"
photo=/usr/lib/python3/dist-packages/skimage/data/astronaut.png
fail=0
run() { # expected status, then the pipeline
  want=$1; shift
  if gst-launch-1.0 -q "$@" >"$work/launch.log" 2>&1; then got=0; else got=1; fi
  if [ "$got" != "$want" ]; then
    echo "FAILED (exit $got, wanted $want): gst-launch-1.0 $*"; cat "$work/launch.log"; fail=1
  else
    echo "ok: gst-launch-1.0 $*"
  fi
}
if [ -f "$photo" ]; then
  rm -f "$work/astronaut.webm"
  run 0 filesrc location="$photo" ! pngdec ! imagefreeze num-buffers=10 ! video/x-raw,framerate=25/1 \
    ! celccconvert ! video/x-raw,format=I420 ! vp8enc deadline=1 ! webmmux ! filesink location="$work/astronaut.webm"
  run 0 filesrc location="$work/astronaut.webm" ! decodebin ! celccconvert ! video/x-raw,format=BGRx ! fakesink
  [ -s "$work/astronaut.webm" ] || { echo "FAILED: no video written"; fail=1; }
else
  echo "no photograph at $photo: the video pipelines are skipped"
fi
run 0 videotestsrc num-buffers=3 ! video/x-raw,format=YUY2,width=720,height=576,interlace-mode=interleaved \
  ! celccconvert ! video/x-raw,format=UYVY ! fakesink
run 0 videotestsrc num-buffers=3 ! video/x-raw,format=I420,width=720,height=576,interlace-mode=interleaved \
  ! celccconvert ! video/x-raw,format=Y42B ! fakesink
run 1 videotestsrc num-buffers=3 ! video/x-raw,format=GRAY16_LE,width=64,height=48 \
  ! celccconvert ! video/x-raw,format=I420 ! fakesink
exit $fail
