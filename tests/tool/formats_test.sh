#!/usr/bin/env bash
# Every format in and out, raw names, grey and odd pictures, clips.
# shellcheck source-path=SCRIPTDIR source=lib.sh
. "$(dirname "$0")/lib.sh"
frame=$2

# One picture as raw frames of all three layouts, and as Y4M.
ok "$tool" upscale "$frame" --region 300,100,459,219 --scale 1 -o in.i420
ok "$tool" upscale "$frame" --region 300,100,459,219 --scale 1 -o in.nv12
ok "$tool" upscale "$frame" --region 300,100,459,219 --scale 1 -o in.nv21
ok "$tool" upscale "$frame" --region 300,100,459,219 --scale 1 -o in.y4m
[ "$(bytes in.i420)" = 28800 ] || fail "in.i420 has $(bytes in.i420) bytes"
tail -c 28800 in.y4m >body
same body in.i420 "the body of a Y4M is I420"
head -1 in.y4m >line
grep -qx 'YUV4MPEG2 W160 H120 F1:1 Ip A1:1 C420jpeg XCOLORRANGE=FULL' line || fail "Y4M header: $(cat line)"
head -c 19200 in.nv12 >luma12
head -c 19200 in.nv21 >luma21
same luma12 luma21
[ "$(hex in.nv12 19200 2)" = "$(hex in.i420 19200 1)$(hex in.i420 24000 1)" ] || fail "NV12 is not U, V"
[ "$(hex in.nv21 19200 2)" = "$(hex in.i420 24000 1)$(hex in.i420 19200 1)" ] || fail "NV21 is not V, U"

# All of them give the same enlarged picture.
ok "$tool" upscale in.i420 --input-size 160x120 -o out.i420
for raw in nv12 nv21; do
  ok "$tool" upscale "in.$raw" --input-size 160x120 -o "from-$raw.i420"
  same out.i420 "from-$raw.i420"
done
ok "$tool" upscale in.y4m -o from-y4m.i420
same out.i420 from-y4m.i420
ok "$tool" upscale in.nv21 --input-size 160x120 -o out.nv21
cp in.nv21 in.bin
ok "$tool" upscale in.bin --input-size 160x120 --input-format nv21 -o out.bin --output-format nv21
same out.nv21 out.bin
cp in.nv21 in.yuv
ok "$tool" upscale in.yuv --input-size 160x120 --input-format nv21 -o out.yuv
same out.nv21 out.yuv "a .yuv keeps the layout of its input"
"$tool" upscale - --input-size 160x120 --input-format nv21 -o - --output-format nv21 \
  <in.nv21 >piped 2>messages || fail "raw through pipes"
same out.nv21 piped

# Names of the dump form need no options, and an output of that form keeps to its own.
for pair in 0:i420 4:nv12 5:nv21; do
  cp "in.${pair#*:}" "2024_1_2_3_4_5_sr_single_w160_h120_f${pair%:*}.yuv"
  ok "$tool" upscale "2024_1_2_3_4_5_sr_single_w160_h120_f${pair%:*}.yuv" -o from-dump.i420
  same out.i420 from-dump.i420
done
ok "$tool" upscale in.i420 --input-size 160x120 -o big_w320_h240_f5.yuv
same out.nv21 big_w320_h240_f5.yuv

# Raw frames one after the other are a clip; a picture takes the first and says so.
cat in.nv12 in.nv12 in.nv12 >three.nv12
ok "$tool" upscale three.nv12 --input-size 160x120 -o three.y4m
head -1 three.y4m >line
[ "$(bytes three.y4m)" = $(($(bytes line) + 3 * (6 + 115200))) ] || fail "three.y4m has $(bytes three.y4m) bytes"
ok "$tool" upscale in.nv12 --input-size 160x120 -o one.png
ok "$tool" upscale three.nv12 --input-size 160x120 -o first.png
grep -q 'more than one frame' messages || fail "no word about the further frames"
same one.png first.png

# A Y4M keeps its header; only the size changes.
{ printf 'YUV4MPEG2 W160 H120 F30000:1001 Ip A12:11 C420mpeg2 XANY=1\nFRAME Xa\n'; cat in.i420
  printf 'FRAME\n'; cat in.i420; } >clip.y4m
ok "$tool" upscale clip.y4m --size 200x150 -o clip2.y4m
head -1 clip2.y4m >line
grep -qx 'YUV4MPEG2 W200 H150 F30000:1001 Ip A12:11 C420mpeg2 XANY=1' line || fail "header: $(cat line)"
[ "$(bytes clip2.y4m)" = $(($(bytes line) + 2 * (6 + 45000))) ] || fail "clip2.y4m has $(bytes clip2.y4m) bytes"

# Pictures: sizes, JPEG both ways, odd sizes, small ones.
[ "$(png_size one.png)" = 320x240 ] || fail "one.png is $(png_size one.png)"
ok "$tool" upscale "$frame" --region 0,0,100,74 -o odd.png
[ "$(png_size odd.png)" = 202x150 ] || fail "odd.png is $(png_size odd.png)"
ok "$tool" upscale odd.png --size 151x113 -o odd2.png
[ "$(png_size odd2.png)" = 151x113 ] || fail "odd2.png is $(png_size odd2.png)"
ok "$tool" upscale odd2.png --scale 1.5 -o odd3.jpg
[ "$(hex odd3.jpg 0 3)" = ffd8ff ] || fail "odd3.jpg is no JPEG"
ok "$tool" upscale odd3.jpg --scale 1 -o odd4.png
[ "$(png_size odd4.png)" = 227x170 ] || fail "odd4.png is $(png_size odd4.png)"
ok "$tool" upscale "$frame" --region 5,5,5,5 --size 3x2 -o dot.png
[ "$(png_size dot.png)" = 3x2 ] || fail "dot.png is $(png_size dot.png)"
ok "$tool" upscale dot.png -o dot2.jpeg
ok "$tool" upscale odd3.jpg --quality 30 -o coarse.jpg
ok "$tool" upscale odd3.jpg --quality 95 -o fine.jpg
ok "$tool" upscale odd3.jpg -o usual.jpg
same fine.jpg usual.jpg "95 is the usual quality"
[ "$(bytes coarse.jpg)" -lt "$(bytes fine.jpg)" ] || fail "--quality changes nothing"

# Grey: a picture without colour comes out without colour, and as neutral chroma in raw frames.
ok "$tool" upscale "$3" -o grey2.png
[ "$(hex grey2.png 25 1)" = 00 ] || fail "a grey PNG became colour type $(hex grey2.png 25 1)"
ok "$tool" upscale "$3" -o grey.jpg
ok "$tool" upscale grey.jpg --scale 1 -o grey3.png
[ "$(hex grey3.png 25 1)" = 00 ] || fail "a grey JPEG became colour"
ok "$tool" upscale "$3" --scale 1 -o grey.i420
tail -c 10 grey.i420 >end
[ "$(hex end 0 10)" = 80808080808080808080 ] || fail "grey chroma: $(hex end 0 10)"

# Scale and size are two words for one thing.
ok "$tool" upscale in.nv12 --input-size 160x120 --scale 2 -o scaled.nv12
ok "$tool" upscale in.nv12 --input-size 160x120 --size 320x240 -o sized.nv12
ok "$tool" upscale in.nv12 --input-size 160x120 --region 0,0,159,119 -o region.nv12
same scaled.nv12 sized.nv12
same scaled.nv12 region.nv12 "the whole picture is the usual region"
ok "$tool" upscale in.nv12 --input-size 160x120 --size 80x60 -o less.nv12
grep -q 'warning: 160x120 becomes 80x60' messages || fail "no warning for a smaller output"
finish
