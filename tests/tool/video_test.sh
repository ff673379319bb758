#!/usr/bin/env bash
# Clips: every frame is fused with its neighbour, all of one geometry; what cannot be fused is enlarged
# alone, and the summary says so.
# shellcheck source-path=SCRIPTDIR source=lib.sh
. "$(dirname "$0")/lib.sh"

# said TEXT: the status holds it.
said() {
  grep -qF -- "$1" messages || fail "\"$1\" is missing: $(cat messages)"
}

# layout FILE: sets header, width, height, and the bytes of a frame (one) of a Y4M.
layout() {
  header=$(head -n 1 "$1")
  width=${header#* W} width=${width%% *}
  height=${header#* H} height=${height%% *}
  one=$((width * height + 2 * ((width + 1) / 2) * ((height + 1) / 2)))
}

# frames FILE: how many its length holds; fails when it ends within one.
frames() {
  local header width height one body
  layout "$1"
  body=$(($(bytes "$1") - ${#header} - 1))
  if [ $((body % (one + 6))) = 0 ]; then echo $((body / (one + 6))); else echo "broken"; fi
}

# frame FILE NUMBER: one frame of a Y4M as raw bytes, from 1.
frame() {
  local header width height one
  layout "$1"
  tail -c +$((${#header} + 2 + ($2 - 1) * (one + 6) + 6)) "$1" | head -c "$one"
}

# Views of the demonstration's scene, a few columns apart, and another part of it: a camera that moves
# slowly, then a cut. With a header of its own.
scene=$(dirname "$2")/truth.png
header='YUV4MPEG2 W600 H560 F30000:1001 Ip A4:3 C420mpeg2 XCOLORRANGE=LIMITED XMARK=1'
number=0
for part in 20,300,619,859 28,306,627,865 36,312,635,871 640,200,1239,759 648,206,1247,765; do
  number=$((number + 1))
  ok "$tool" upscale "$scene" --region $part --scale 1 -o $number.i420
  { printf 'FRAME\n'; cat $number.i420; } >$number.frame
done
{ echo "$header"; cat {1,2,3,4,5}.frame; } >clip.y4m

# Frame 3 looks at the other side of the cut; 5, the last, looks back at 4.
ok "$tool" video clip.y4m -o out.y4m
said 'clip.y4m: 4 of 5 frames fused, de-ghosting replaced '
said '; enlarged alone: frame 3 ('
said '; 16,16,582,542 (567x527) to 1134x1054, '
[ "$(wc -l <messages)" = 1 ] || fail "more than one line of status: $(cat messages)"
[ "$(head -n 1 out.y4m)" = "${header/W600 H560/W1134 H1054}" ] || fail "header: $(head -n 1 out.y4m)"
[ "$(frames out.y4m)" = 5 ] || fail "$(frames out.y4m) frames of 5"

# The frame before the cut is what upscale makes of it; the others are not.
ok "$tool" upscale clip.y4m --region 16,16,582,542 -o alone.y4m
for number in 1 2 3 4 5; do
  frame out.y4m $number >fused
  frame alone.y4m $number >upscaled
  if cmp -s fused upscaled; then equal=yes; else equal=no; fi
  if [ $number = 3 ]; then wanted=yes; else wanted=no; fi
  [ $equal = $wanted ] || fail "frame $number equals the one of upscale: $equal"
done

# Pipes and kernel sets change nothing.
"$tool" video - -o - <clip.y4m >pipe.y4m 2>messages || fail "pipe to pipe: $(cat messages)"
same out.y4m pipe.y4m 'pipe and file'
{ echo "$header"; cat {1,2,3}.frame; } >short.y4m
ok "$tool" video short.y4m -o short-out.y4m
said '3 of 3 frames fused'
ok "$tool" --cpu scalar video short.y4m -o again.y4m
same short-out.y4m again.y4m 'kernel sets'

# Raw frames, in and out.
cat {1,2,3}.i420 >raw.bin
ok "$tool" video raw.bin --input-size 600x560 --input-format i420 -o raw.i420
for number in 1 2 3; do frame short-out.y4m $number; done >wanted.i420
same wanted.i420 raw.i420 'raw and Y4M'

# Without room for the motion no frame of the clip is fused, and the geometry stands.
ok "$tool" video short.y4m --inset 0 -o narrow.y4m
said '0 of 3 frames fused; enlarged alone: frame 1 and 2 more (the second frame does not show the whole region)'
ok "$tool" upscale short.y4m --region 0,0,598,558 -o alone.y4m
same alone.y4m narrow.y4m 'narrowed'
ok "$tool" video short.y4m --inset 31 --size 501x333 --ghost 20,60 -o sized.y4m
said '3 of 3 frames fused'
said '32,32,568,528 (537x497) to 501x333'
[ "$(frames sized.y4m)" = 3 ] || fail "$(frames sized.y4m) frames of 3"
ok "$tool" video short.y4m --region 31,31,568,529 --size 501x333 --ghost 20,60 -o region.y4m
same sized.y4m region.y4m 'inset and region'

# One frame, and frames too small to be registered: as upscale makes them.
{ echo "$header"; cat 1.frame; } >single.y4m
ok "$tool" video single.y4m --inset 20 -o out.y4m
said '0 of 1 frame fused; enlarged alone: frame 1 (the clip has no other)'
ok "$tool" upscale single.y4m --region 20,20,578,538 -o alone.y4m
same alone.y4m out.y4m 'single frame'

for count in 20 200; do
  head -c $((count * 96 * 64 * 3 / 2)) </dev/zero >zeros.bin
  cat raw.bin zeros.bin | head -c $((count * 96 * 64 * 3 / 2)) >small$count.bin
done
ok "$tool" video small20.bin --input-size 96x64 --input-format nv12 -o out.nv12
said '0 of 20 frames fused; enlarged alone: frame 1 and 19 more (frames under 400x400 cannot be registered, these are 96x64)'
[ "$(wc -l <messages)" = 1 ] || fail "more than one line of status: $(cat messages)"
ok "$tool" upscale small20.bin --input-size 96x64 --input-format nv12 -o alone.nv12
same alone.nv12 out.nv12 'small frames'

# Ten times the frames take no more memory.
few=0 many=0
peak few "$tool" --quiet video small20.bin --input-size 96x64 --input-format nv12 -o out.nv12
peak many "$tool" --quiet video small200.bin --input-size 96x64 --input-format nv12 -o out.nv12
[ "$many" -le $((few + 2048)) ] || fail "200 small frames take $many KiB, 20 take $few"

# Ctrl-C: a whole clip of the frames done so far, in place of the old file, and the tool ends by the
# signal. The input never ends. (A background job ignores SIGINT unless told otherwise.)
mkdir folder
echo old >folder/out.y4m
mkfifo endless
{ echo "$header"; cat {1,2,3}.frame; exec sleep 60; } >endless 2>/dev/null &
feeder=$!
env --default-signal=INT "$tool" video endless -o folder/out.y4m 2>messages &
running=$!
size=0
for _ in $(seq 600); do
  size=$(find folder -name '.velmora-sr.*' -size +1000k | wc -l)
  [ "$size" = 1 ] && break
  sleep 0.05
done
[ "$size" = 1 ] || fail "no frame is written before the end of the clip"
kill -INT "$running"
wait "$running"
status=$?
kill "$feeder" 2>/dev/null
[ "$status" = 130 ] || fail "exit $status after SIGINT"
said 'error: stopped after frame '
count=$(frames folder/out.y4m)
case $count in [12]) ;; *) fail "$count frames after SIGINT" ;; esac
head -c "$(bytes folder/out.y4m)" short-out.y4m >wanted.y4m
same wanted.y4m folder/out.y4m 'stopped'
[ "$(find folder -type f | wc -l)" = 1 ] || fail "a stopped run left files: $(ls -A folder)"

# Wrong calls and damaged clips.
refused 2 'IN is required' video -o a.y4m
refused 2 'a PNG holds no clip: write .y4m, or raw frames' video clip.y4m -o a.png
refused 2 '--inset: "-1"' video clip.y4m -o a.y4m --inset=-1
refused 2 '--inset: "280" leaves nothing of a frame of 600x560' video clip.y4m -o a.y4m --inset 280
refused 2 '--region excludes --inset' video clip.y4m -o a.y4m --inset 4 --region 0,0,400,400
refused 2 '--ghost: "5" is no pair of thresholds' video clip.y4m -o a.y4m --ghost 5
refused 1 'none.y4m: cannot open' video none.y4m -o a.y4m
{ cat single.y4m; printf 'FRAME\nshort'; } >broken.y4m
refused 1 'frame 2 ends after' video broken.y4m -o a.y4m
[ ! -e a.y4m ] || fail "a.y4m was left behind"
finish
