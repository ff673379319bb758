#!/usr/bin/env bash
# What files hold, told without a device.
# shellcheck source-path=SCRIPTDIR source=lib.sh
. "$(dirname "$0")/lib.sh"
frame=$2

# says FILE TEXT: info on the file must contain the text.
says() {
  "$tool" info "$1" >told 2>messages || fail "info $1: $(cat messages)"
  grep -qE -- "$2" told || fail "\"$2\" is missing for $1: $(cat told)"
}

says "$frame" '^format +PNG$'
says "$frame" '^size +[0-9]+x[0-9]+$'
ok "$tool" upscale "$frame" --region 0,0,199,149 --scale 1.5 -o clip.y4m
says clip.y4m '^format +Y4M$'
says clip.y4m '^size +300x225$'

ok "$tool" kernels --phases 50 -o k50
says k50 '^phases +50 \(as built in\)$'
for table in 'two frames +2500' 'luma +50' 'chroma +50'; do
  says k50 "^$table rows, .*, as the built-in rule makes them\$"
done
ok "$tool" kernels --phases 7 -o k7
says k7 '^phases +7$'
# One changed tap: the sharpened table is no longer the rule's, the others are.
cp k7 changed
printf '\x11' | dd of=changed bs=1 seek=$((4 + 7 * 7 * 34)) conv=notrunc 2>dd-messages
says changed "^luma .*not the built-in rule's\$"
says changed '^chroma .*as the built-in rule makes them$'
# A tap of a block: its weight is not the sum any more.
cp k7 changed
printf '\x11' | dd of=changed bs=1 seek=4 conv=notrunc 2>dd-messages
says changed '^two frames .*NOT the sums of the taps'

config() {
  printf '<?xml version="1.0"?>\n<Config><GhostCorrection>%s</GhostCorrection></Config>\n' "$1" >c.xml
}
config '<LowThr>3</LowThr><HighThr>9</HighThr>'
says c.xml '^LowThr +3 \(from "3"\)$'
says c.xml '^taken +3 and 9$'
config '<LowThr>3</LowThr>'
says c.xml '^HighThr +5 \(default: no /Config/GhostCorrection/HighThr\)$'
config '<LowThr>7</LowThr>'
says c.xml '^taken +1 and 5$'
says c.xml '^note +0 <= LowThr <= HighThr <= 255 does not hold$'
echo '<Config><GhostCorrection><LowThr>3</LowThr></GhostCorrection></Config>' >c.xml
says c.xml '^LowThr +1 \(default'
says c.xml '^note +without an <\?xml'
echo '<Config><Open></Config>' >c.xml
says c.xml 'not well-formed XML'

refused 1 'missing.png: cannot open' info missing.png
: >empty
refused 1 'empty: the file is empty' info empty
head -c 1000 k50 >short
refused 1 'short: is no PNG, JPEG or Y4M' info short
refused 2 'FILE is required' info
finish
