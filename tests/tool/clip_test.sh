#!/usr/bin/env bash
# A long clip with a cut: one frame is enlarged alone, pipes give the bytes of files, and the memory
# in use does not grow with the clip.
# shellcheck source-path=SCRIPTDIR source=lib.sh
. "$(dirname "$0")/lib.sh"

# Two views of each of two places of the demonstration's scene; the camera sways between them.
scene=$(dirname "$2")/truth.png
number=0
for part in 20,300,467,747 26,304,473,751 640,200,1087,647 646,204,1093,651; do
  number=$((number + 1))
  ok "$tool" --quiet upscale "$scene" --region $part --scale 1 -o $number.i420
  { printf 'FRAME\n'; cat $number.i420; } >$number.frame
done

# clip COUNT: 2 COUNT frames with a cut in their middle.
clip() {
  echo 'YUV4MPEG2 W448 H448 F25:1 C420'
  for _ in $(seq $(($1 / 2))); do cat 1.frame 2.frame; done
  for _ in $(seq $(($1 / 2))); do cat 3.frame 4.frame; done
}
clip 2 >short.y4m
clip 100 >long.y4m

few=0 many=0
peak few "$tool" --quiet video short.y4m -o out.y4m
peak many "$tool" video long.y4m -o out.y4m
[ "$many" -le $((few + few / 10)) ] || fail "200 frames take $many KiB, 4 take $few"
grep -qF ': 199 of 200 frames fused, ' messages || fail "fused: $(cat messages)"
grep -qF '; enlarged alone: frame 100 (' messages || fail "alone: $(cat messages)"
"$tool" --quiet video - -o - <long.y4m >pipe.y4m 2>messages || fail "pipe to pipe: $(cat messages)"
same out.y4m pipe.y4m 'pipe and file'

# The frames repeat, and so does what is made of them: each of the inner pairs has one output.
layout=$(head -n 1 out.y4m)
width=${layout#* W} width=${width%% *}
one=$((width * width * 3 / 2 + 6))
[ "$(bytes out.y4m)" = $((${#layout} + 1 + 200 * one)) ] || fail "200 frames in $(bytes out.y4m) bytes"
for number in 3 51 99; do
  tail -c +$((${#layout} + 2 + (number - 1) * one)) out.y4m | head -c $one >frame$number
  same frame3 frame$number "frames 3 and $number"
done

finish
