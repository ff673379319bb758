#!/usr/bin/env bash
# The element in pipelines as users write them: bytes equal the tool's, live sources, what gst-inspect-1.0
# tells, and nothing left behind.
# shellcheck source-path=SCRIPTDIR/../tool source=lib.sh
. "$(dirname "$0")/../tool/lib.sh"

# launch ELEMENT...: a pipeline, stopped when it hangs.
launch() {
  timeout 60 gst-launch-1.0 --no-fault --quiet "$@" >log 2>&1 || fail "exit $? of: $* : $(cat log)"
}

# Five views of the demonstration's scene by a camera that moves.
scene=$(dirname "$2")/truth.png
for left in 20 22 25 27 31; do
  ok "$tool" upscale "$scene" --region "$left,300,$((left + 127)),403" --scale 1 -o frame.i420
  cat frame.i420 >>clip.i420
done
# The same bytes are frames of any format.
for format in nv12 nv21 i420; do
  frames=(--input-size 128x104 --input-format "$format")
  source=(filesrc location=clip.i420 ! rawvideoparse "format=$format" width=128 height=104)
  while IFS='|' read -r call properties caps; do
    # shellcheck disable=SC2086
    ok "$tool" $call clip.i420 "${frames[@]}" -o "wanted.$format"
    # shellcheck disable=SC2086
    launch "${source[@]}" ! velmorasr $properties ! "$caps" ! filesink location=made
    same "wanted.$format" made "$format, $properties"
  done <<'END'
video|qos=false|video/x-raw
video --window 7 --effort normal --size 200x312|window=7 effort=normal|video/x-raw,width=200,height=312
video --window 2 --scale 1.5|window=2 scale=1.5 threads=3|video/x-raw
upscale|method=camera-single|video/x-raw
END
done

# Elements of one process share the camera path.
branch=(! queue ! velmorasr method=camera-single ! filesink)
launch "${source[@]}" ! tee name=t t. "${branch[@]}" location=one t. "${branch[@]}" location=two
same wanted.i420 one "first of two elements"
same wanted.i420 two "second of two elements"

# A live source, whose frames come in time: one picture of each, and what is alive at the end is told.
for properties in window=4 method=camera-single; do
  GST_TRACERS=leaks GST_DEBUG=GST_TRACER:7 GST_DEBUG_NO_COLOR=1 GST_DEBUG_FILE=traced launch \
    videotestsrc is-live=true num-buffers=9 ! video/x-raw,format=NV12,width=128,height=104,framerate=30/1 ! \
    velmorasr $properties ! filesink location=live sync=true
  [ "$(bytes live)" = $((9 * 256 * 208 * 3 / 2)) ] || fail "$properties: $(bytes live) bytes of a live source"
  grep -q 'object-alive.class' traced || fail "the leaks tracer did not run: $(head -n 3 traced)"
  if grep 'object-alive, type-name=(string)[^%]' traced >leaks; then fail "$properties leaks: $(cat leaks)"; fi
done
head -c $((9 * 256 * 208 * 3 / 2)) /dev/zero | cmp -s - live && fail "the live source was black"

# Properties tell range and unit.
gst-inspect-1.0 velmorasr >inspected 2>messages || fail "gst-inspect-1.0: $(cat messages)"
while IFS='|' read -r name text range; do
  grep -A 4 "^  $name  *: " inspected >property || fail "no property $name"
  for part in "$text" "$range" 'changeable in NULL, READY, PAUSED or PLAYING state'; do
    tr -s ' ' <property | grep -qF -- "$part" || fail "$name: no \"$part\" in $(cat property)"
  done
done <<'END'
method|How pictures are made of frames|Default: 0, "burst"
window|frames that each picture is made from|Range: 1 - 7 Default: 3
scale|multiple of the input size|Range: 1 - 4 Default: 2
noise|in grey levels of 255|Range: -1 - 64 Default: -1
sharpened|as a factor from -0.6 (blurred) to 1|Range: -1 - 1 Default: -1
effort|how much work is done|Default: 0, "fast"
threads|most threads at work|Range: 0 - 64 Default: 0
END

# A wrong size ends the pipeline with the reason.
timeout 60 gst-launch-1.0 --no-fault videotestsrc ! video/x-raw,width=99,height=99 ! \
  velmorasr method=camera-single ! fakesink >log 2>&1 && fail "99x99 was taken"
grep -qF 'camera-single takes even sizes from 100x100 on, not 99x99' log || fail "$(cat log)"
finish
