#!/usr/bin/env bash
# Every format in and out, raw names, grey and odd pictures, clips.
# shellcheck source-path=SCRIPTDIR source=lib.sh
. "$(dirname "$0")/lib.sh"
frame=$2

# to FILE ARGUMENTS...: enlarges into the file.
to() {
  local file=$1
  shift
  ok "$tool" upscale "$@" -o "$file"
}
# is WHAT GOT WANTED
is() { [ "$2" = "$3" ] || fail "$1: $2 instead of $3"; }

# One picture as raw frames of all three layouts, and as Y4M.
for name in i420 nv12 nv21 y4m; do
  to "in.$name" "$frame" --region 300,100,459,219 --scale 1
done
is "Y4M header" "$(head -1 in.y4m)" 'YUV4MPEG2 W160 H120 F1:1 Ip A1:1 C420jpeg XCOLORRANGE=FULL'

# All of them give the same enlarged picture, under names of the dump form without options too; an
# output of that form keeps to its own layout, and a .yuv to that of its input.
to out.i420 in.y4m
to out.nv21 in.y4m
for pair in 0:i420 4:nv12 5:nv21; do
  name=a_sr_single_w160_h120_f${pair%:*}.yuv
  cp "in.${pair#*:}" "$name"
  to from-raw.i420 "in.${pair#*:}" --input-size 160x120
  same out.i420 from-raw.i420 "$pair"
  to from-dump.i420 "$name"
  same out.i420 from-dump.i420 "$pair"
done
to big_w320_h240_f5.yuv in.i420 --input-size 160x120
same out.nv21 big_w320_h240_f5.yuv
cp in.nv21 in.yuv
to out.yuv in.yuv --input-size 160x120 --input-format nv21
same out.nv21 out.yuv
# More than a megabyte through a pipe, whose length nobody knows.
to big.nv21 in.y4m --size 1280x960
to bigger.nv21 big.nv21 --input-size 1280x960
"$tool" upscale - --input-size 1280x960 --input-format nv21 -o - --output-format nv21 \
  <big.nv21 >piped 2>messages || fail "raw through pipes"
same bigger.nv21 piped

# Raw frames one after the other are a clip; a picture takes the first and says so.
cat in.nv12 in.nv12 in.nv12 >three.nv12
to three.y4m three.nv12 --input-size 160x120
is "bytes of three.y4m" "$(bytes three.y4m)" $(($(head -1 three.y4m | wc -c) + 3 * (6 + 115200)))
to one.png in.nv12 --input-size 160x120
to first.png three.nv12 --input-size 160x120
grep -q 'more than one frame' messages || fail "no word about the further frames"
same one.png first.png

# Pictures: JPEG both ways, odd sizes, small ones, one of 48 megapixels where that does not take long.
to odd.png "$frame" --region 0,0,100,74
to odd.jpg odd.png --size 151x113
is "start of odd.jpg" "$(hex odd.jpg 0 3)" ffd8ff
to odd2.png odd.jpg --scale 1.5
to dot.png "$frame" --region 5,5,5,5 --size 3x2
to dot.jpeg dot.png
to coarse.jpg odd.jpg --quality 30
to fine.jpg odd.jpg --quality 95
to usual.jpg odd.jpg
same fine.jpg usual.jpg "95 is the usual quality"
[ "$(bytes coarse.jpg)" -lt "$(bytes fine.jpg)" ] || fail "--quality changes nothing"
sizes="one 320x240 odd 202x150 odd2 227x170 dot 3x2"
if [ "${4-}" = large ]; then
  to photo.jpg "$frame" --size 4000x3000
  to big.png photo.jpg
  sizes+=" big 8000x6000"
fi
while read -r name size; do is "$name.png" "$(png_size "$name.png")" "$size"; done < <(xargs -n 2 <<<"$sizes")

# Grey: a picture without colour comes out without colour, and as neutral chroma in raw frames.
to grey.jpg "$3"
to grey.png grey.jpg
is "colour type" "$(hex grey.png 25 1)" 00
to grey.i420 "$3" --scale 1
is "grey chroma" "$(tail -c 5 grey.i420 | od -An -tx1)" ' 80 80 80 80 80'

# Scale, size and region are words for one thing.
to scaled.i420 in.y4m --scale 2
to sized.i420 in.y4m --size 320x240
to region.i420 in.y4m --region 0,0,159,119
for name in scaled sized region; do same out.i420 "$name.i420"; done
to less.nv12 in.y4m --size 80x60
grep -q 'warning: 160x120 becomes 80x60' messages || fail "no warning for a smaller output"
finish
