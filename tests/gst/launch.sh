#!/bin/sh
# gst-launch-1.0 pipelines through the built celccconvert: a real photograph
# made into a VP8 video through the element, that video decoded and
# converted to BGRx, a 4:2:2 repack of interlaced video, interlaced 4:2:0
# to 4:2:2 field by field, BT.709 1080p both ways (studio range into a PNG,
# full range), full-range BT.709 v210 to 5-6-5 words, and pairs the library
# does not convert, which must be refused at caps time.
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
  # the same at 720p, BT.709 (the encoder's caps and the decoder's default
  # above 576 lines), its frames to PNG files as the top README shows
  rm -f "$work/astronaut720.webm" "$work"/frame*.png
  run 0 filesrc location="$photo" ! pngdec ! videoscale ! video/x-raw,width=1280,height=720 ! imagefreeze num-buffers=5 \
    ! video/x-raw,framerate=25/1 ! celccconvert ! video/x-raw,format=I420,colorimetry=bt709 ! vp8enc deadline=1 \
    ! webmmux ! filesink location="$work/astronaut720.webm"
  run 0 filesrc location="$work/astronaut720.webm" ! decodebin ! video/x-raw,colorimetry=bt709 ! celccconvert \
    ! video/x-raw,format=RGB ! pngenc ! multifilesink location="$work/frame%04d.png"
  [ -s "$work/frame0004.png" ] || { echo "FAILED: no frames written from the BT.709 video"; fail=1; }
else
  echo "no photograph at $photo: the video pipelines are skipped"
fi
run 0 videotestsrc num-buffers=3 ! video/x-raw,format=YUY2,width=720,height=576,interlace-mode=interleaved \
  ! celccconvert ! video/x-raw,format=UYVY ! fakesink
run 0 videotestsrc num-buffers=3 ! video/x-raw,format=I420,width=720,height=576,interlace-mode=interleaved \
  ! celccconvert ! video/x-raw,format=Y42B ! fakesink
# BT.709: colour bars encoded to I420 by the BT.709 encoder and back by the
# BT.709 decoder into a PNG; the same at full range; v210 as HD sources have it
rm -f "$work/bars709.png"
run 0 videotestsrc num-buffers=1 ! video/x-raw,format=BGRx,width=1920,height=1080 ! celccconvert \
  ! video/x-raw,format=I420,colorimetry=bt709 ! celccconvert ! video/x-raw,format=RGB ! pngenc \
  ! filesink location="$work/bars709.png"
[ -s "$work/bars709.png" ] || { echo "FAILED: no BT.709 picture written"; fail=1; }
run 0 videotestsrc num-buffers=3 ! video/x-raw,format=BGRx,width=1920,height=1080 ! celccconvert \
  ! "video/x-raw,format=I420,colorimetry=(string)1:3:5:1" ! celccconvert ! video/x-raw,format=BGRx ! fakesink
run 0 videotestsrc num-buffers=3 ! "video/x-raw,format=v210,width=1920,height=1080,colorimetry=(string)1:3:5:1" \
  ! celccconvert ! video/x-raw,format=RGB16 ! fakesink
# refused: a BT.709 layout the library has no BT.709 export for, another matrix
run 1 videotestsrc num-buffers=3 ! video/x-raw,format=YUY2,width=64,height=48,colorimetry=bt709 \
  ! celccconvert ! video/x-raw,format=BGRx ! fakesink
run 1 videotestsrc num-buffers=3 ! video/x-raw,format=I420,width=64,height=48,colorimetry=bt2020 \
  ! celccconvert ! video/x-raw,format=BGR ! fakesink
run 1 videotestsrc num-buffers=3 ! video/x-raw,format=GRAY16_LE,width=64,height=48 \
  ! celccconvert ! video/x-raw,format=I420 ! fakesink
exit $fail
