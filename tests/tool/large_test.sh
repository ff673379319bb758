#!/usr/bin/env bash
# A picture of 12 megapixels, from a JPEG to a PNG.
# shellcheck source-path=SCRIPTDIR source=lib.sh
. "$(dirname "$0")/lib.sh"

ok "$tool" upscale "$2" --size 4000x3000 -o photo.jpg
ok "$tool" upscale photo.jpg --scale 2 -o big.png
[ "$(png_size big.png)" = 8000x6000 ] || fail "big.png is $(png_size big.png)"
finish
