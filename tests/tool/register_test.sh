#!/usr/bin/env bash
# Registration of pictures with a known motion, its report in all forms, and pairs that fail.
# shellcheck source-path=SCRIPTDIR source=lib.sh
. "$(dirname "$0")/lib.sh"

# Two windows of the scene, 9 columns and 6 rows apart.
truth=$(dirname "$2")/truth.png
ok "$tool" upscale "$truth" --region 260,200,1259,899 --scale 1 -o first.png
ok "$tool" upscale "$truth" --region 269,194,1268,893 --scale 1 -o second.png

# number KEY: the value behind a key of the JSON.
number() {
  sed -n "s/.*\"$1\":\([-0-9.e+]*\).*/\1/p" pair.json
}

# The homography leads from the first picture to the second: what stood at x stands at x - 9.
"$tool" register first.png second.png --json pair.json --picture pair.png >report 2>messages ||
  fail "register: $(cat messages)"
[ ! -s messages ] || fail "register writes messages: $(cat messages)"
grep -q 'first.png, second.png: 1000x700, registered$' report || fail "status: $(head -1 report)"
for word in 'key points' matches inliers homography rectangle 'top left' 'RANSAC' residual; do
  grep -q "$word" report || fail "\"$word\" is missing in the report"
done
[ "$(number left)" -ge 9 ] || fail "left edge $(number left)"
[ "$(number left)" -le 11 ] || fail "left edge $(number left)"
[ "$(number bottom)" -le 693 ] || fail "bottom edge $(number bottom)"
for corner in top_left top_right bottom_left bottom_right; do
  sed -n "s/.*\"$corner\":\[\([^]]*\)\].*/\1/p" pair.json | awk -F, -v c="$corner" '
    { dx = $1 + 9; dy = $2 - 6; if (dx * dx + dy * dy > 4) { print c ": " $0; exit 1 } found = 1 }
    END { exit !found }' || fail "motion of the corner $corner"
done
awk -v b="$(number before)" -v a="$(number after)" 'BEGIN { exit !(b > 5 && a < b / 4) }' ||
  fail "residual $(number before) before and $(number after) after"
awk -v i="$(number inliers)" -v m="$(number matches)" 'BEGIN { exit !(i >= 20 && i <= m) }' ||
  fail "$(number inliers) inliers of $(number matches) matches"
[ "$(png_size pair.png)" = 2036x804 ] || fail "pair.png is $(png_size pair.png)"

# JSON alone on standard output, the same but for the times; nothing with --quiet.
"$tool" register first.png second.png --json - >again.json 2>messages || fail "JSON to a pipe"
sed 's/,"milliseconds.*//' pair.json >a
sed 's/,"milliseconds.*//' again.json >b
same a b "two runs"
"$tool" --quiet register first.png second.png >data 2>messages || fail "quiet register"
if [ -s data ] || [ -s messages ]; then fail "--quiet says something"; fi

# failing STAGE REASON FIRST SECOND: exit status 1, and a report that names stage and reason.
failing() {
  local stage=$1 reason=$2
  shift 2
  "$tool" register "$@" --json pair.json --picture failed.png >report 2>messages
  [ $? -eq 1 ] || fail "exit status of: $*"
  grep -q 'NOT registered' report || fail "status of: $* : $(head -1 report)"
  grep -q "\"failure\":{\"stage\":\"$stage\",\"reason\":\".*$reason" pair.json ||
    fail "stage and reason of $* : $(cat pair.json)"
  grep -q "$reason" messages || fail "message for: $* : $(cat messages)"
  [ -s failed.png ] || fail "no picture of: $*"
  rm -f failed.png
}
head -c 960000 /dev/zero | tr '\0' '\200' >flat.i420  # 800x800
ok "$tool" upscale flat.i420 --input-size 800x800 --scale 1 -o flat.png
for part in corner:0,0,639,479 opposite:640,480,1279,959 left:0,0,899,899 right:340,0,1239,899; do
  ok "$tool" upscale "$truth" --region "${part#*:}" --scale 1 -o "${part%:*}.png"
done
failing detector 'the first frame has too few key points, below 5' flat.png flat.png
ok "$tool" upscale left.png --region 0,0,799,799 --scale 1 -o left800.i420
failing detector 'the second frame has too few key points, below 5' --input-size 800x800 left800.i420 flat.i420
failing search 'too few key points of the second frame, below 5, have a clearly nearest partner' corner.png opposite.png
failing area 'the global motion between two frames is too large' left.png right.png

# Small pictures are registered by chance at most, and the tool says so.
ok "$tool" upscale first.png --region 0,0,299,299 --scale 1 -o small.png
"$tool" register small.png small.png >report 2>messages
grep -q 'meant for frames of at least 400x400, these are 300x300' messages || fail "no word on small pictures"

# Bad calls.
refused 1 'differ in size: first.png is 1000x700, small.png is 300x300' register first.png small.png
refused 1 'no/such/folder/a.json: cannot create' register first.png second.png --json no/such/folder/a.json
refused 2 '--picture: "a.jpg" should end in .png' register first.png second.png --picture a.jpg
finish
