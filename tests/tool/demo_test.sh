#!/usr/bin/env bash
# The demonstration: its files, its numbers, the same on every run.
# shellcheck source-path=SCRIPTDIR source=lib.sh
. "$(dirname "$0")/lib.sh"

"$tool" demo a/b >data 2>told || fail "demo: $(cat told)"
[ ! -s data ] || fail "demo writes data: $(cat data)"
for file in truth:1280x960 frame:640x480 second:640x480; do
  [ "$(png_size "a/b/${file%:*}.png")" = "${file#*:}" ] || fail "${file%:*}.png: $(png_size "a/b/${file%:*}.png")"
done
# The results show the same part: of w x h pixels of the frame, 2w - 1 by 2h - 1.
mask=$(png_size a/b/mask.png)
wanted=$((2 * ${mask%x*} - 1))x$((2 * ${mask#*x} - 1))
if [ "${mask%x*}" -lt 600 ] || [ "${mask#*x}" -lt 440 ]; then fail "mask of $mask"; fi
for file in bicubic enlarged fused; do
  [ "$(png_size "a/b/$file.png")" = "$wanted" ] || fail "$file.png: $(png_size "a/b/$file.png")"
done
[ "$(find a -type f | wc -l)" = 9 ] || fail "files: $(find a -type f)"

# The page holds the comparison itself.
sed -n 's/.*src="data:image\/png;base64,\([^"]*\)".*/\1/p' a/b/index.html | base64 -d >embedded.png
same embedded.png a/b/comparison.png

# Two frames are better than one.
quality() { awk -v name="$1" -v column="$2" 'index($0, name) { print $(NF - 2 + column) }' told; }
higher() { awk -v a="$1" -v b="$2" -v by="$3" 'BEGIN { exit !(a > b + by && b > 0 && a < 60) }' || fail "$4: $1 against $2"; }
higher "$(quality 'velmora-sr, fused' 1)" "$(quality 'velmora-sr, one frame' 1)" 0.2 "PSNR"
higher "$(quality 'velmora-sr, fused' 2)" "$(quality 'velmora-sr, one frame' 2)" 0.03 "SSIM"
# The ball is where the second frame shows it.
higher "$(quality 'moving ball, fused' 1)" 22 0 "PSNR of the ball"

# The same on every run, and silence when asked for.
"$tool" --quiet demo c >data 2>messages || fail "quiet demo"
if [ -s data ] || [ -s messages ]; then fail "--quiet says something"; fi
for file in a/b/*.png; do
  same "$file" "c/${file##*/}"
done
finish
