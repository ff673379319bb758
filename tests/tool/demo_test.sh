#!/usr/bin/env bash
# The demonstration: its files, its numbers, the same on every run.
# shellcheck source-path=SCRIPTDIR source=lib.sh
. "$(dirname "$0")/lib.sh"

"$tool" demo a/b >first 2>messages || fail "demo: $(cat messages)"
[ ! -s messages ] || fail "demo writes messages: $(cat messages)"
for file in truth:1280x960 enlarged:1280x960 bicubic:1280x960 frame:640x480; do
  [ "$(png_size "a/b/${file%:*}.png")" = "${file#*:}" ] || fail "${file%:*}.png: $(png_size "a/b/${file%:*}.png")"
done
[ -s a/b/comparison.png ] || fail "no comparison"
[ "$(find a -type f | wc -l)" = 5 ] || fail "files: $(find a -type f)"

# What the library makes of the frame is better than bicubic.
bicubic=$(awk '/^plain bicubic/ { print $3 }' first)
ours=$(awk '/^velmora-sr, one frame/ { print $4 }' first)
awk -v a="$ours" -v b="$bicubic" 'BEGIN { exit !(a > b + 0.3 && b > 15 && a < 60) }' ||
  fail "PSNR $ours against $bicubic"

# The same pictures on every run, and silence when asked for.
"$tool" --quiet demo c >data 2>messages || fail "quiet demo"
if [ -s data ] || [ -s messages ]; then fail "--quiet says something"; fi
for file in truth enlarged bicubic frame comparison; do
  same "a/b/$file.png" "c/$file.png"
done
finish
