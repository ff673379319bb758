#!/usr/bin/env bash
# Bursts and single frames through the burst stage: what the picture shows, what is said of each frame.
# shellcheck source-path=SCRIPTDIR source=lib.sh
. "$(dirname "$0")/lib.sh"

# Views of the demonstration's scene; "blurred" is the first without its
# fine texture.
scene=$(dirname "$2")/truth.png
ok "$tool" upscale "$scene" --region 300,200,540,400 --scale 1 -o one.png
ok "$tool" upscale "$scene" --region 304,203,544,403 --scale 1 -o two.png
ok "$tool" upscale "$scene" --region 297,201,537,401 --scale 1 -o three.png
ok "$tool" upscale "$scene" --region 840,620,1080,820 --scale 1 -o other.png
ok "$tool" -q upscale one.png --size 121x101 -o half.png
ok "$tool" upscale one.png --denoise 64 --scale 1 -o blurred.png

# All of the reference at the scale asked for, the same on every CPU.
ok "$tool" fuse one.png two.png three.png -o fused.png --mask m.png --json fused.json --strict
said 'one.png: 3 of 3 frames fused'
said '241x201 to 482x402'
[ "$(png_size fused.png)" = 482x402 ] || fail "fused.png: $(png_size fused.png)"
for number in 1 2 3; do
  [ "$(png_size "m-$number.png")" = 241x201 ] || fail "m-$number.png: $(png_size "m-$number.png")"
done
grep -Eq '^velmora-sr: frame 2, two.png: used, [0-9]+ % of the picture; motion of 5\.0 pixels, residual [0-9.]+ before and 0\.[0-9]+ after, gain 1\.000$' messages ||
  fail "frame 2: $(cat messages)"
grep -q '^{"method":"burst","output":"fused.png","reference":1,.*"number":3,"file":"three.png","use":"used","reason":null,"motion":3\.[12]' fused.json ||
  fail "fused.json: $(cat fused.json)"
ok "$tool" --cpu scalar fuse one.png two.png three.png --json - -o again.png >data
same fused.png again.png 'scalar'
[ "$(sed 's/again.png/fused.png/' data)" = "$(cat fused.json)" ] || fail "JSON on standard output: $(cat data)"

# Per line: part of the status, size of the picture, call.
while IFS='|' read -r text size call; do
  # shellcheck disable=SC2086
  ok "$tool" $call -o out.png
  said "$text"
  [ "$(png_size out.png)" = "$size" ] || fail "$call: $(png_size out.png) instead of $size"
done <<'END'
frame 1, two.png: used|362x302|fuse two.png one.png --reference 2 --scale 1.5
frame 2, one.png: reference|482x402|fuse blurred.png one.png --reference best
half.png: 2 of 2 frames fused|484x404|fuse half.png half.png --scale 4
31x41 to 62x82|62x82|fuse one.png two.png --region 11,13,41,53
other.png: left out: |482x402|fuse one.png other.png
1 of 2 frames used, the reference alone|482x402|fuse one.png other.png
frame 4, blurred.png: left out: eight frames are sharper|482x402|fuse one.png two.png three.png blurred.png one.png two.png three.png one.png two.png
one.png: 241x201 to 482x402, noise |482x402|upscale one.png --denoise auto
noise 5.00|482x402|upscale one.png --denoise 5 --effort fast
END

ok "$tool" --timings upscale one.png --denoise auto -o out.png
grep -Eq 'most memory: [1-9][0-9.]* MiB handed to the library' messages || fail "no memory: $(cat messages)"

# Faults are no reason to lose the picture, unless the call is wrong.
"$tool" fuse one.png two.png other.png --strict -o strict.png 2>messages
[ $? = 1 ] || fail "--strict with a frame of something else"
said 'error: --strict: frame 3, other.png, was not used: '
[ "$(png_size strict.png)" = 482x402 ] || fail "no picture with --strict"
refused 1 'the frames differ in size: one.png is 241x201, half.png is 121x101' fuse one.png two.png half.png -o a.png
[ ! -e a.png ] || fail "a.png was left behind"

# One frame: off is what upscale does, and a clip is picture after picture.
for how in off auto 9; do ok "$tool" upscale one.png --denoise $how -o "$how.png"; done
ok "$tool" upscale one.png -o plain.png
same plain.png off.png '--denoise off'
for how in auto off; do
  if cmp -s $how.png 9.png; then fail "--denoise 9 and $how make the same"; fi
done
for name in one two; do ok "$tool" upscale $name.png --scale 1 -o $name.i420; done
cat one.i420 two.i420 >clip.i420
ok "$tool" upscale clip.i420 --input-size 241x201 --denoise 9 -o clip.y4m
[ "$(frames clip.y4m)" = 2 ] || fail "$(frames clip.y4m) frames"
ok "$tool" upscale one.i420 --input-size 241x201 --denoise 9 -o nine.i420
frame clip.y4m 1 >first.i420
same nine.i420 first.i420 'the first frame of a clip'

# How sharpened the frames are: by the kind of file, what Exif says of it (1 less, 2 more), or the option.
ok "$tool" upscale one.png --scale 1 -o none.jpg
for value in 0 1 2; do
  { head -c 2 none.jpg
    printf '%b' '\xff\xe1\0\x34Exif\0\0MM\0\x2a\0\0\0\x08\0\1\x87\x69\0\4\0\0\0\1\0\0\0\x1a\0\0\0\0\0\1\xa4\x0a\0\3\0\0\0\1\0\x0'"$value"'\0\0\0\0\0\0'
    tail -c +3 none.jpg; } >exif$value.jpg
done
ok "$tool" upscale one.png --denoise 0 --threads 3 -o three.i420
ok "$tool" upscale one.png --denoise 0 --threads 1 -o single.i420
same three.i420 single.i420 'threads'
for pair in none.jpg:0.3 exif0.jpg:0.3 exif1.jpg:0 exif2.jpg:0.45 one.png:0.15; do
  ok "$tool" upscale "${pair%:*}" --denoise 0 -o auto.i420
  ok "$tool" upscale "${pair%:*}" --denoise 0 --sharpened "${pair#*:}" -o given.i420
  same auto.i420 given.i420 "$pair"
  ok "$tool" upscale "${pair%:*}" --denoise 0 --sharpened -0.3 -o given.i420
  if cmp -s auto.i420 given.i420; then fail "--sharpened changes nothing for $pair"; fi
done
finish
