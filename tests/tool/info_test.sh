#!/usr/bin/env bash
# What files hold, told without a device, and from a header alone.
# shellcheck source-path=SCRIPTDIR source=lib.sh
. "$(dirname "$0")/lib.sh"

# says FILE PATTERN...: info on the file must print lines of these patterns.
says() {
  local file=$1 pattern
  shift
  "$tool" info "$file" >told 2>messages || fail "info $file: $(cat messages)"
  for pattern in "$@"; do
    grep -qE -- "$pattern" told || fail "\"$pattern\" is missing for $file: $(cat told)"
  done
}
# changed OFFSET: k7 with another byte there.
changed() {
  cp k7 changed
  printf '\x11' | dd of=changed bs=1 seek="$1" conv=notrunc 2>dd-messages
}

says "$2" '^format +PNG$' '^size +640x480$'
"$tool" info - <"$2" >piped 2>messages
same told piped "from a pipe"
ok "$tool" upscale "$2" --region 0,0,199,149 --scale 1.5 -o clip.y4m
says clip.y4m '^format +Y4M$' '^size +300x225$' '^frames +1$'

printf '%s\n' 'import json, sys' 'facts = json.loads(sys.stdin.read())' \
  'print(*[facts[key] for key in sys.argv[1:]])' >facts.py
# json FILE WANTED KEY...: the values of the keys.
json() {
  local file=$1 wanted=$2 got
  shift 2
  got=$("$tool" info --json "$file" | python3 facts.py "$@")
  [ "$got" = "$wanted" ] || fail "JSON of $file: $got"
}
json clip.y4m 'clip.y4m frames Y4M 300 225 full 1' file kind format width height range frames

ok "$tool" kernels --phases 50 -o k50
says k50 '^phases +50 \(as built in\)$' '^two frames +2500 rows, .*, as the built-in rule makes them$' \
  '^luma +50 rows, .*, as the built-in' '^chroma +50 rows, .*, as the built-in'
ok "$tool" kernels --phases 7 -o k7
says k7 '^phases +7$'
# A tap of the sharpened table; then one of a block, whose weight is not the sum any more.
changed $((4 + 7 * 7 * 34))
says changed "^luma .*not the built-in rule's\$" '^chroma .*as the built-in rule makes them$'
changed 4
says changed '^two frames .*NOT the sums of the taps'

config() {
  printf '<?xml version="1.0"?>\n<Config><GhostCorrection>%s</GhostCorrection></Config>\n' "$1" >c.xml
}
config '<LowThr>3</LowThr><HighThr>9</HighThr>'
says c.xml '^LowThr +3 \(from "3"\)$' '^taken +3 and 9$'
config '<LowThr>7</LowThr>'
says c.xml '^HighThr +5 \(default: no /Config/GhostCorrection/HighThr\)$' '^taken +1 and 5$' \
  '^note +0 <= LowThr <= HighThr <= 255 does not hold$'
json c.xml "[1, 5] ['0 <= LowThr <= HighThr <= 255 does not hold']" taken notes
json k7 '7 kernel file' phases kind
refused 1 'missing.png: cannot open' info missing.png

# Headers that promise 576 megapixels: told without room for them, and refused by what follows. The
# checksum of the PNG's header is right.
printf '\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR\0\0\x5d\xc0\0\0\x5d\xc0\x08\x02\0\0\0\x2c\x96\xe3\x04\0\0\0\1IDATx' >bomb.png
printf 'YUV4MPEG2 W24000 H24000\nFRAME\nabcdefgh' >bomb.y4m
for bomb in bomb.png bomb.y4m; do
  says "$bomb" '^size +24000x24000$'
  refused 1 "$bomb: " upscale "$bomb" -o x.y4m
  for call in "info $bomb" "upscale $bomb -o x.y4m"; do
    # shellcheck disable=SC2086
    peak kib bash -c '"$@" >told || true' - "$tool" $call
    # shellcheck disable=SC2154
    [ "$kib" -lt 100000 ] || fail "$call took $kib KiB"
  done
  refused 1 "$bomb: a frame of 24000x24000 is too large: --max-pixels allows 24000000 pixels" \
    info "$bomb" --max-pixels 24M
done
refused 2 '--max-pixels: "601M" is no number of pixels' info bomb.png --max-pixels 601M
refused 2 '--max-pixels allows 480000 pixels' upscale "$2" --max-pixels 480000 -o x.png
ok "$tool" upscale "$2" --max-pixels 480000 --size 800x600 -o x.png
refused 1 'too large: --max-pixels allows 479999 pixels' info x.png --max-pixels 479999
refused 1 '--max-pixels allows 9999 pixels' demo --max-pixels 9999 folder
finish
