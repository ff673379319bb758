#!/usr/bin/env bash
# The demonstration: its files, its numbers, the same on every run.
# shellcheck source-path=SCRIPTDIR source=lib.sh
. "$(dirname "$0")/lib.sh"

"$tool" demo a/b >data 2>told || fail "demo: $(cat told)"
[ ! -s data ] || fail "demo writes data: $(cat data)"
for file in truth:1280x960 frame:640x480 second:640x480 fourth:640x480 weights-2:640x480 four:1279x959; do
  [ "$(png_size "a/b/${file%:*}.png")" = "${file#*:}" ] || fail "${file%:*}.png: $(png_size "a/b/${file%:*}.png")"
done
# The results show the same part: of w x h pixels of the frame, 2w - 1 by 2h - 1.
mask=$(png_size a/b/mask.png)
wanted=$((2 * ${mask%x*} - 1))x$((2 * ${mask#*x} - 1))
if [ "${mask%x*}" -lt 600 ] || [ "${mask#*x}" -lt 440 ]; then fail "mask of $mask"; fi
for file in bicubic enlarged fused; do
  [ "$(png_size "a/b/$file.png")" = "$wanted" ] || fail "$file.png: $(png_size "a/b/$file.png")"
done
[ "$(find a -type f | wc -l)" = 17 ] || fail "files: $(find a -type f)"

# The page holds the pictures themselves, and asks nothing of the network.
pictures='four bicubic comparison weights-2 weights-3 weights-4'
sed -n 's/.*src="data:image\/png;base64,\([^"]*\)".*/\1/p' a/b/index.html >sources
[ "$(wc -l <sources)" = 6 ] || fail "the page shows $(wc -l <sources) pictures"
for picture in $pictures; do
  base64 -d <<<"$(head -n 1 sources)" >embedded.png
  same embedded.png "a/b/$picture.png"
  sed -i 1d sources
done
[ "$(grep -cE '<td>[0-9.]+</td><td>0[0-9.]+</td><td>[0-9]+</td></tr>' a/b/index.html)" = 6 ] || fail 'times are missing'
grep -Eq 'https?:|src="[^d]|<link|<script|url\(' a/b/index.html && fail "the page asks for other files"

# A browser shows them, and the slider moves the line between the first two.
browser=/usr/bin/chromium
browse() {
  timeout 120 $browser --headless --no-sandbox --disable-gpu --no-first-run --disable-background-networking \
    --user-data-dir="$PWD/browser" --window-size=1400,1200 "$@" 2>browser.log
}
if [ -x $browser ]; then
  sed 's|</body>|<script>onload = () => {\
    const slider = document.querySelector("input"), images = [...document.images];\
    slider.value = 20; slider.dispatchEvent(new Event("input"));\
    document.title = images.filter(image => image.naturalWidth > 0).length + " shown, cut " +\
      getComputedStyle(images[1]).clipPath; }</script></body>|' a/b/index.html >moved.html
  browse --dump-dom "file://$PWD/moved.html" >dom
  grep -qF '<title>6 shown, cut inset(0px 80% 0px 0px)</title>' dom || fail "browser: $(grep '<title>' dom; tail -n 3 browser.log)"
  for at in 0 100; do
    sed "s/--at: 50%/--at: $at%/" a/b/index.html >at.html
    browse --screenshot="$PWD/at-$at.png" "file://$PWD/at.html" >browser.out
    [ "$(png_size at-$at.png)" = 1400x1200 ] || fail "no picture of the page: $(tail -n 3 browser.log)"
    [ "$(bytes at-$at.png)" -gt 500000 ] || fail "the page at $at % is nearly empty"
  done
  # The noise of one frame, on the left, costs more bytes.
  [ "$(bytes at-100.png)" -gt $(($(bytes at-0.png) * 11 / 10)) ] || fail "the slider shows the same at both ends"
fi

# More frames are better than fewer, and the burst stage better than both other ways: PSNR and SSIM.
quality() { awk -v name="$1" -v column="$2" 'index($0, name) { print $(NF - 2 + column) }' told; }
higher() { awk -v a="$1" -v b="$2" -v by="$3" 'BEGIN { exit !(a > b + by && b > 0 && a < 60) }' || fail "$4: $1 against $2"; }
while IFS='|' read -r better worse psnr ssim; do
  higher "$(quality "$better" 1)" "$(quality "$worse" 1)" "$psnr" "PSNR of $better"
  higher "$(quality "$better" 2)" "$(quality "$worse" 2)" "$ssim" "SSIM of $better"
done <<'END'
fuse --method camera, two|upscale, one frame|0.2|0.03
upscale --denoise auto, one|bicubic, one frame|0.5|0.01
fuse, two frames|upscale --denoise auto, one|0.3|0.005
fuse, four frames|fuse, two frames|0.3|0.005
fuse, two frames|fuse --method camera, two|0.5|0.01
moving ball, fuse, four|moving ball, bicubic|0.3|0
END
# A photo is a scene, too: its middle, reduced until it just covers the truth.
ok "$tool" upscale a/b/truth.png --size 2640x1980 -o photo.png
ok "$tool" demo photo --photo photo.png
cp messages told
higher "$(quality 'fuse, four frames' 1)" "$(quality 'bicubic, one frame' 1)" 2 'PSNR of a photo'
for folder in a/b photo; do
  "$tool" upscale $folder/truth.png --region 200,200,1063,743 --scale 1 -o - --output-format nv12 2>messages >$folder.nv12
done
python3 -c 'import sys
a, b = (open(name, "rb").read()[:864 * 544] for name in sys.argv[1:])
mse = sum((x - y) ** 2 for x, y in zip(a, b)) / len(a)
sys.exit(not 0 < mse < 100 and f"mean square difference: {mse}")' a/b.nv12 photo.nv12 || fail 'the middle of the photo is another'
refused 1 'is 640x480, the demo wants 1280x960 and more' demo d --photo a/b/frame.png
[ ! -e d ] || fail 'a refused demo has made its folder'
# The same on every run, and silence when asked for.
"$tool" --quiet demo c >data 2>messages || fail "quiet demo"
if [ -s data ] || [ -s messages ]; then fail "--quiet says something"; fi
for file in a/b/*.png; do
  same "$file" "c/${file##*/}"
done
finish
