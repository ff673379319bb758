#!/usr/bin/env bash
# Clips: every frame is made from those around it, or fused with its neighbour, all of one geometry; what
# cannot be fused is enlarged alone, and the summary says so; memory does not grow with the clip.
# shellcheck source-path=SCRIPTDIR source=lib.sh
. "$(dirname "$0")/lib.sh"

# Views of two places of the demonstration's scene: a camera that sways, then a cut. With a header of
# its own.
scene=$(dirname "$2")/truth.png
header='YUV4MPEG2 W460 H448 F30000:1001 Ip A4:3 C420mpeg2 XCOLORRANGE=LIMITED XMARK=1'
number=0
for part in 20,300,479,747 26,304,485,751 32,308,491,755 640,200,1099,647 646,204,1105,651; do
  number=$((number + 1))
  ok "$tool" upscale "$scene" --region $part --scale 1 -o $number.i420
  { printf 'FRAME\n'; cat $number.i420; } >$number.frame
done
{ echo "$header"; cat {1,2,3,4,5}.frame; } >clip.y4m
{ echo "$header"; cat {1,2,3}.frame; } >short.y4m

# Bursts: the whole frame at the scale asked for, each from a window of frames, none from beyond the cut:
# either side alone, or a part that holds the window, gives the same frames.
ok "$tool" video clip.y4m -o burst.y4m
said 'clip.y4m: 5 frames, each from 2.2 of 3 on average, 1 cut seen (before frame 4); 0,0,459,447 (460x448) to 920x896, '
[ "$(grep -vc ' frames/s, ' messages)" = 1 ] || fail "more than one line of status: $(cat messages)"
[ "$(head -n 1 burst.y4m)" = "${header/W460 H448/W920 H896}" ] || fail "header: $(head -n 1 burst.y4m)"
ok "$tool" video clip.y4m --window 1 -o one.y4m
said ': 5 frames, each from 1.0 of 1 on average; '
ok "$tool" video clip.y4m --window 2 --region 30,40,229,339 --size 333x444 -o two.y4m
said ': 5 frames, each from 1.6 of 2 on average, 1 cut seen (before frame 4); 30,40,229,339 (200x300) to 333x444, '
ok "$tool" video clip.y4m --window 7 --effort normal -o seven.y4m
said ': 5 frames, each from 2.6 of 7 on average, 1 cut seen (before frame 4); '
# Per line: frames of the part, options, whole clip, frames there that the part begins with.
while IFS='|' read -r part call whole equal; do
  # shellcheck disable=SC2086
  { echo "$header"; for number in $part; do cat "$number.frame"; done; } |
    "$tool" --cpu scalar video - $call -o part.y4m 2>messages || fail "$part $call: $(cat messages)"
  at=0
  for number in $equal; do
    frame part.y4m $((at += 1)) >made
    frame "$whole" "$number" >wanted
    same wanted made "frame $number of $whole, from $part"
  done
done <<'END'
1 2 3||burst.y4m|1 2 3
4 5||burst.y4m|4 5
2|--window 1|one.y4m|2
2 3 1|--window 2 --region 30,40,229,339 --size 333x444|two.y4m|2
1 2 3|--window 7 --effort normal|seven.y4m|1 2 3
END
for pair in one.y4m,burst.y4m burst.y4m,seven.y4m; do
  frame "${pair%,*}" 2 >few
  frame "${pair#*,}" 2 >many
  if cmp -s few many; then fail "a wider window or more effort changes nothing: $pair"; fi
done

# Parts of a clip are those of the whole, from files and pipes. Per line: options, frames, whole clip.
ok "$tool" video --method camera clip.y4m -o camera.y4m
while IFS='|' read -r call range first last whole; do
  # shellcheck disable=SC2086
  ok "$tool" video clip.y4m $call --frames "$range" -o part.y4m
  # shellcheck disable=SC2086
  "$tool" video - $call --frames "$range" -o - <clip.y4m >piped.y4m 2>messages || fail "pipe: $(cat messages)"
  same part.y4m piped.y4m "$call --frames $range"
  { head -n 1 "$whole"
    for number in $(seq "$first" "$last"); do echo FRAME; frame "$whole" "$number"; done; } >wanted
  same wanted part.y4m "$call --frames $range"
done <<'END'
|2-4|2|4|burst.y4m
--window 2 --region 30,40,229,339 --size 333x444|1-2|1|2|two.y4m
--window 7 --effort normal|5-|5|5|seven.y4m
--window 1|3|3|3|one.y4m
--method camera|2-9|2|5|camera.y4m
--method camera|5|5|5|camera.y4m
--method camera|1-3|1|3|camera.y4m
END
cat {1,2,3}.i420 >three.i420
ok "$tool" video three.i420 --input-size 460x448 --frames 3 -o part.i420
ok "$tool" video three.i420 --input-size 460x448 -o whole.i420
tail -c "$(bytes part.i420)" whole.i420 >wanted
same wanted part.i420 'raw frames'

# A line of JSON for each frame.
ok "$tool" video clip.y4m --frames 3-4 -o part.y4m --noise 2.5 --json - >lines
ok "$tool" video --method camera clip.y4m --frames 3-4 -o part.y4m --json camera.json
python3 - lines camera.json <<'END' || fail "$(cat lines camera.json)"
import json, sys
burst, camera = ([json.loads(line) for line in open(name)] for name in sys.argv[1:])
uses = [[(frame["number"], frame["use"]) for frame in line["frames"]] for line in burst]
assert uses == [[(2, "used"), (3, "reference"), (4, "left out")],
                [(3, "left out"), (4, "reference"), (5, "used")]], uses
assert [(line["reference"], line["noise"], line["width"]) for line in burst] == [(3, 2.5, 920), (4, 2.5, 920)]
assert all(frame["file"] == "clip.y4m" for line in burst for frame in line["frames"])
assert abs(sum(frame["share"] for frame in burst[0]["frames"]) - 1) < 1e-3
assert 5 < burst[0]["frames"][0]["motion"] < 9, burst
uses = [[(frame["number"], frame["use"]) for frame in line["frames"]] for line in camera]
assert uses == [[(3, "reference"), (4, "left out")], [(4, "reference"), (5, "used")]], uses
END

# A grey clip stays one; its luma is that of colourless frames.
luma=$((460 * 448))
for number in 1 2; do
  printf 'FRAME\n' && head -c $luma $number.i420
done >grey.frames
for number in 1 2; do
  printf 'FRAME\n' && head -c $luma $number.i420 && head -c $((luma / 2)) /dev/zero | tr '\0' '\200'
done >colourless.frames
for kind in grey colourless; do
  space=C420
  if [ $kind = grey ]; then space=Cmono; fi
  { echo "YUV4MPEG2 W460 H448 $space"; cat $kind.frames; } | "$tool" video - -o $kind.y4m 2>messages ||
    fail "$kind: $(cat messages)"
done
[ "$(head -n 1 grey.y4m)" = 'YUV4MPEG2 W920 H896 Cmono' ] || fail "grey: $(head -n 1 grey.y4m)"
[ "$(bytes grey.y4m)" = $((26 + 2 * (6 + 4 * luma))) ] || fail "grey: $(bytes grey.y4m) bytes"
tail -c $((4 * luma)) grey.y4m >made
frame colourless.y4m 2 | head -c $((4 * luma)) >wanted
same wanted made 'grey'

# Frame 3 looks at the other side of the cut; 5, the last, looks back at 4.
ok "$tool" video --method camera clip.y4m -o out.y4m
said 'clip.y4m: 4 of 5 frames fused, de-ghosting replaced '
said '; enlarged alone: frame 3 ('
said '; 16,16,442,430 (427x415) to 854x830, '
[ "$(grep -vc ' frames/s, ' messages)" = 1 ] || fail "more than one line of status: $(cat messages)"
[ "$(head -n 1 out.y4m)" = "${header/W460 H448/W854 H830}" ] || fail "header: $(head -n 1 out.y4m)"
[ "$(frames out.y4m)" = 5 ] || fail "$(frames out.y4m) frames of 5"
ok "$tool" upscale clip.y4m --region 16,16,442,430 -o alone.y4m
for number in 1 2 3 4 5; do
  frame out.y4m $number >fused
  frame alone.y4m $number >upscaled
  if cmp -s fused upscaled; then equal=yes; else equal=no; fi
  if [ $number = 3 ]; then wanted=yes; else wanted=no; fi
  [ $equal = $wanted ] || fail "frame $number equals the one of upscale: $equal"
done

# Pipes and instruction sets change nothing.
ok "$tool" video --method camera short.y4m -o short-out.y4m
said '3 of 3 frames fused'
"$tool" --cpu scalar video --method camera - -o - <short.y4m >pipe.y4m 2>messages || fail "pipe to pipe: $(cat messages)"
same short-out.y4m pipe.y4m 'pipe, instruction sets'

# Per line: summary, part of the frame, options: one geometry, of which upscale makes the same where
# nothing is fused.
{ echo "$header"; cat 1.frame; } >single.y4m
cat {1,2,3}.i420 | head -c $((20 * 96 * 64 * 3 / 2)) >small.bin
while IFS='|' read -r text region call; do
  # shellcheck disable=SC2086
  ok "$tool" video --method camera $call -o out.y4m
  said "$text"
  # shellcheck disable=SC2086
  ok "$tool" upscale ${call%% --inset*} --region "$region" -o alone.y4m
  same alone.y4m out.y4m "$text"
done <<'END'
0 of 3 frames fused; enlarged alone: frame 1 and 2 more (the second frame does not show the whole region)|0,0,458,446|short.y4m --inset 0
0 of 1 frame fused; enlarged alone: frame 1 (the clip has no other)|20,20,438,426|single.y4m --inset 20
0 of 20 frames fused; enlarged alone: frame 1 and 19 more (frames under 400x400 are too small to fuse, these are 96x64)|0,0,95,63|small.bin --input-size 96x64 --input-format nv12
END
ok "$tool" video --method camera short.y4m --inset 31 --size 501x333 --ghost 20,60 -o sized.y4m
said '3 of 3 frames fused'
said '32,32,428,416 (397x385) to 501x333'
ok "$tool" video --method camera short.y4m --region 31,31,428,417 --size 501x333 --ghost 20,60 -o region.y4m
same sized.y4m region.y4m 'inset and region'

# A long clip: the frames repeat, and so does what is made of them. Small frames show best what is kept
# of each.
{ echo 'YUV4MPEG2 W96 H64 F25:1'; for _ in $(seq 300); do echo FRAME; head -c 9216 1.i420; done; } >tiny.y4m
head -c $((24 + 8 * 9222)) tiny.y4m >eight.y4m
few=0 many=0
peak few "$tool" --quiet video eight.y4m -o out.y4m
peak many "$tool" video tiny.y4m -o out.y4m
[ "$many" -le $((few + few / 10)) ] || fail "300 frames take $many KiB, 8 take $few"
[ "$(frames out.y4m)" = 300 ] || fail "$(frames out.y4m) frames of 300"
frame out.y4m 4 >wanted
frame out.y4m 297 >repeated
same wanted repeated 'frames 4 and 297'
# Under sanitizers fewer have to do.
many_frames=200
if [ "${4-}" != large ]; then many_frames=40; fi
half=$((many_frames / 2))
for count in 4 $many_frames; do
  { echo "$header"
    for _ in $(seq $((count / 4))); do cat {1,2}.frame; done
    for _ in $(seq $((count / 4))); do cat {4,5}.frame; done; } >"$count.y4m"
done
few=0 many=0
peak few "$tool" --quiet video --method camera 4.y4m -o out.y4m
peak many "$tool" video --method camera "$many_frames.y4m" -o out.y4m
[ "$many" -le $((few + few / 10)) ] || fail "$many_frames frames take $many KiB, 4 take $few"
said ": $((many_frames - 1)) of $many_frames frames fused, "
said "; enlarged alone: frame $half ("
[ "$(frames out.y4m)" = $many_frames ] || fail "$(frames out.y4m) frames of $many_frames"
frame out.y4m 3 >wanted
for number in $((half / 2 + 1)) $((half - 1)); do
  frame out.y4m $number >repeated
  same wanted repeated "frames 3 and $number"
done

# Wrong calls.
refused 2 'a PNG holds no clip: write .y4m, or raw frames' video clip.y4m -o a.png
refused 2 '--inset: "-1"' video --method camera clip.y4m -o a.y4m --inset=-1
refused 2 '--inset: "230" leaves nothing of a frame of 460x448' video --method camera clip.y4m -o a.y4m --inset 230
refused 2 '--window: "8"' video clip.y4m -o a.y4m --window 8
refused 2 '--method: "best"' video clip.y4m -o a.y4m --method best
refused 2 '--effort: "slow"' video clip.y4m -o a.y4m --effort slow
refused 2 '--frames: "0"' video clip.y4m -o a.y4m --frames 0-3
refused 2 '--frames: "2"' video clip.y4m -o a.y4m --frames 3-2
refused 1 'clip.y4m: holds no frame 6' video clip.y4m -o a.y4m --frames 6- --json a.json
refused 2 'give each output a name of its own' video clip.y4m -o - --json -
refused 2 '--noise goes with --method burst, not with camera' video clip.y4m -o a.y4m --method camera --noise 3
refused 2 '--window goes with --method burst, not with camera' video clip.y4m -o a.y4m --method camera --window 3
refused 2 '--ghost goes with --method camera, not with burst' video clip.y4m -o a.y4m --ghost 3,4
refused 2 'it enlarges 1 to 4 times, not 460x448 to 400x896' video clip.y4m -o a.y4m --size 400x896
refused 2 '--region excludes --inset' video --method camera clip.y4m -o a.y4m --inset 4 --region 0,0,400,400
if [ -e a.y4m ] || [ -e a.json ]; then fail "a.y4m or a.json was left behind"; fi
finish
