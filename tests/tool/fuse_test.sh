#!/usr/bin/env bash
# Two frames into one by the calls for cameras: what registers is fused, what does not is what upscale
# makes.
# shellcheck source-path=SCRIPTDIR source=lib.sh
. "$(dirname "$0")/lib.sh"

# registered LEFT TOP RIGHT BOTTOM: the last status line tells of a fusion of this part of the frame,
# give or take two pixels; sets left, top, ... to what it tells.
registered() {
  said 'fused; registered '
  read -r left top right bottom < <(sed 's/.*registered \([0-9,]*\);.*/\1/; s/,/ /g' messages)
  awk -v got="$left $top $right $bottom" -v wanted="$*" 'BEGIN {
    split(got, g); split(wanted, w)
    for (i in w) if (g[i] < w[i] - 2 || g[i] > w[i] + 2) exit 1
  }' || fail "registered $left,$top,$right,$bottom instead of $*"
}

# doubled FILE: its size is twice that of the registered part, after the bounds were made even.
doubled() {
  local x=$((left + left % 2)) y=$((top + top % 2)) x1=$((right - right % 2)) y1=$((bottom - bottom % 2))
  [ "$(png_size "$1")" = "$((2 * (x1 - x + 1)))x$((2 * (y1 - y + 1)))" ] ||
    fail "$1: $(png_size "$1") for $left,$top,$right,$bottom"
}

# Two views of the demonstration's scene: the second shows what lies 8 columns right and 6 rows down.
scene=$(dirname "$2")/truth.png
ok "$tool" upscale "$scene" --region 300,200,999,799 --scale 1 -o one.png
ok "$tool" upscale "$scene" --region 308,206,1007,805 --scale 1 -o two.png
ok "$tool" upscale "$scene" --region 340,220,469,339 --size 700x600 -o other.png
ok "$tool" upscale "$scene" --region 300,200,699,598 --scale 1 -o small.png

# Identical frames: all of the frame.
ok "$tool" fuse --method camera one.png one.png --mask mask.png -o same.png
registered 0 0 699 599
doubled same.png
[ "$(png_size mask.png)" = 700x600 ] || fail "mask.png: $(png_size mask.png)"

# A known shift: the first columns and rows are not in the second frame, so the output shrinks with
# the region, and keeps the proportions.
ok "$tool" fuse --method camera one.png two.png -o shifted.png
registered 8 6 699 599
doubled shifted.png
for call in 'fuse one.png two.png' '--cpu scalar fuse one.png two.png' 'fuse one.png two.png --stereo' \
  'fuse one.png two.png --ghost auto'; do
  # shellcheck disable=SC2086
  ok "$tool" $call --method camera -o again.png
  same shifted.png again.png "$call"
done

# A region, a scale that makes odd sizes, a size of one's own.
ok "$tool" fuse --method camera one.png two.png --region 101,100,301,250 --scale 1.5 -o part.png
said '102,100,300,250 (199x151) to 299x227'
[ "$(png_size part.png)" = 299x227 ] || fail "part.png: $(png_size part.png)"
ok "$tool" fuse --method camera one.png one.png --region 20,30,620,530 --size 1201x501 -o sized.png
said '20,30,620,530 (601x501) to 1201x501, scale 2.000 x 1.000'
# The input's size is no reason to copy the first frame.
ok "$tool" fuse --method camera one.png two.png --size 700x600 -o equal.png
said 'fused; registered '
said 'to 700x600, scale 1.0'
if cmp -s equal.png one.png; then fail "the first frame was copied"; fi

# Thresholds: given, from a file, measured.
ok "$tool" fuse --method camera one.png two.png --ghost 0,0 --mask mask.png -o all.png
said 'de-ghosting 0,0 replaced '
[ "$(sed 's/.*replaced \([0-9]*\).*/\1/' messages)" -ge 98 ] || fail "0,0: $(cat messages)"
if cmp -s all.png shifted.png; then fail "thresholds change nothing"; fi
cat >ghost.xml <<'END'
<?xml version="1.0"?>
<Config><GhostCorrection><LowThr>0</LowThr><HighThr>0</HighThr></GhostCorrection></Config>
END
ok "$tool" fuse --method camera one.png two.png --config ghost.xml -o again.png
said 'de-ghosting 0,0 replaced '
same all.png again.png 'thresholds by option and by file'

# Tuning files are read once, so that pipes are as good as files.
ok "$tool" kernels --phases 7 -o k7
ok "$tool" fuse --method camera one.png two.png --config ghost.xml --kernel k7 -o tuned.png
if cmp -s tuned.png all.png; then fail "kernels change nothing"; fi
ok "$tool" fuse --method camera one.png two.png --config <(cat ghost.xml) --kernel <(cat k7) -o again.png
same tuned.png again.png 'tuning from pipes'
sed 's/HighThr/HiThr/g' ghost.xml >odd.xml
ok "$tool" fuse --method camera one.png two.png --config odd.xml -o again.png
said 'warning: --config: odd.xml: /Config/GhostCorrection/HiThr is unknown and means nothing'

# One registration and one fusion, also for an odd size, whose chroma takes a call of its own.
ok "$tool" --timings fuse --method camera one.png two.png --size 901x701 -o again.png
for step in 'register +1 ' 'library +2 '; do
  grep -Eq "^velmora-sr: $step" messages || fail "not \"$step\": $(cat messages)"
done
grep -Eq '; [0-9]+ of [0-9]+ matches agree, corners move by up to 1[0-9]\.[0-9] pixels, residual [0-9.]+ before and [0-9.]+ after; ' messages ||
  fail "how sure: $(cat messages)"

# What cannot be registered is what upscale makes of the first frame.
while IFS='|' read -r text first second options; do
  # shellcheck disable=SC2086
  ok "$tool" fuse --method camera "$first" "$second" $options --mask mask.png -o alone.png
  said "not fused: $text"
  # shellcheck disable=SC2086
  ok "$tool" upscale "$first" $options -o upscaled.png
  same alone.png upscaled.png "$text"
  [ "$(png_size mask.png)" = "$(png_size "$first")" ] || fail "mask of one frame: $(png_size mask.png)"
done <<'END'
|one.png|other.png|--region 11,20,310,219
frames under 400x400 are too small to fuse, these are 400x399|small.png|small.png|
the second frame shows too little of the region|one.png|two.png|--region 0,0,105,200
END

# What became of the frames is the exit status, too.
"$tool" fuse one.png other.png --method camera --strict --json why.json -o alone.png 2>messages
[ $? = 1 ] || fail "--strict with frames that do not register"
said 'error: --strict: frame 2, other.png, was not used: '
ok "$tool" upscale one.png -o upscaled.png
same alone.png upscaled.png 'the picture of --strict'
grep -q '"use":"left out","reason":"' why.json || fail "why.json: $(cat why.json)"
ok "$tool" fuse one.png two.png --method camera --strict -o again.png

# Wrong calls.
refused 2 'give two frames or more' fuse -o a.png
refused 2 'give two frames or more; upscale' fuse one.png -o a.png
refused 2 'only one of the frames can come from standard input' fuse - - -o a.png
refused 2 '--method camera takes two frames, not 3' fuse one.png two.png one.png --method camera -o a.png
refused 2 '--method: "photo" is no method; give burst or camera' fuse one.png two.png --method photo -o a.png
for option in '--reference 2' '--noise 3' '--sharpened 0' '--effort fast' '--threads 2'; do
  # shellcheck disable=SC2086
  refused 2 "${option% *} goes with --method burst, not with camera" fuse one.png two.png --method camera $option -o a.png
done
for option in '--ghost 1,5' --stereo '--config a.xml' '--kernel k'; do
  # shellcheck disable=SC2086
  refused 2 "${option% *} goes with --method camera, not with burst" fuse one.png two.png $option -o a.png
done
for pair in 5 9,5 1,256; do
  refused 2 "--ghost: \"$pair\" is no pair of thresholds; give LOW,HIGH" fuse one.png two.png --method camera -o a.png --ghost $pair
done
refused 2 '--ghost excludes --config' fuse one.png two.png -o a.png --ghost 1,5 --config ghost.xml
refused 2 '--mask: "a.jpg" should end in .png' fuse one.png two.png -o a.png --mask a.jpg
refused 2 'reaches outside the picture' fuse one.png two.png -o a.png --region 0,0,700,439
refused 1 'the frames differ in size: one.png is 700x600, small.png is 400x399' \
  fuse one.png small.png -o a.png
[ ! -e a.png ] || fail "a.png was left behind"
finish
