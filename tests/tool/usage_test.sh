#!/usr/bin/env bash
# Wrong calls: the exit status, and a message that names the option, the value and what is wanted.
# shellcheck source-path=SCRIPTDIR source=lib.sh
. "$(dirname "$0")/lib.sh"

ok "$tool" upscale "$2" --region 0,0,119,99 --scale 1 -o small.png
head -c $(($(bytes small.png) / 2)) small.png >cut.png
printf 'hello' >text.png
: >empty.jpg
raw_noise a.bin 150
printf 'YUV4MPEG2 W4 H2 C444\nFRAME\n' >wide.y4m
printf 'YUV4MPEG2 W4 H2 It\nFRAME\n' >fields.y4m
printf 'YUV4MPEG2 W4 H2\nFRAME\nabcdefgh' >cut.y4m
printf 'nonsense' >bad.kernel
printf 'LowThr=3' >bad.xml

refused 2 'say what to do'
refused 2 '--quiet excludes --timings' --quiet --timings upscale small.png -o a.png
refused 2 'enlarge' enlarge small.png -o a.png
refused 2 'IN is required' upscale -o a.png
refused 2 '--output is required' upscale small.png
refused 2 '--frobnicate' upscale small.png -o a.png --frobnicate
refused 2 '--scale: "two" is no scale' upscale small.png -o a.png --scale two
refused 2 '--scale: "0" is no scale' upscale small.png -o a.png --scale 0
refused 2 '--size: "640" is no size; give WIDTHxHEIGHT' upscale small.png -o a.png --size 640
refused 2 '--scale excludes --size' upscale small.png -o a.png --size 640x480 --scale 2
refused 2 '--region: "1,2,3" is no region; give X0,Y0,X1,Y1' upscale small.png -o a.png --region 1,2,3
refused 2 '--region: 0,0,120,99 reaches outside the picture, whose last column is 119 and last row 99' \
  upscale small.png -o a.png --region 0,0,120,99
refused 2 '--quality: "0" is no whole number from 1 to 100' upscale small.png -o a.jpg --quality 0
refused 2 '--output-format: "bmp" is no output format' upscale small.png -o a.bmp --output-format bmp
refused 2 'the name "a.bmp" does not tell a format' upscale small.png -o a.bmp
refused 2 'the name "a.yuv" does not tell a format' upscale small.png -o a.yuv
refused 2 'but the output is 240x200' upscale small.png -o a_w640_h480_f4.yuv
refused 2 '--input-format: "rgb" is no raw format; give nv12, nv21 or i420' \
  upscale a.bin -o a.png --input-size 10x10 --input-format rgb
refused 2 '--input-size: "10" is no size' upscale a.bin -o a.png --input-size 10 --input-format nv12
refused 2 'also give --input-format nv12, nv21 or i420' upscale a.bin -o a.png --input-size 10x10
refused 2 'size must be given: --input-size' upscale a.nv12 -o a.png
refused 2 '--cpu: "fastest" is no kernel set of this machine; give scalar' \
  --cpu fastest upscale small.png -o a.png
refused 2 '--quiet' --quiet --verbose upscale small.png -o a.png
refused 2 '--phases' kernels -o k
refused 2 '--phases: "0" is no whole number from 1 to 1024' kernels --phases 0 -o k
refused 2 '--phases: "1025" is no whole number' kernels --phases 1025 -o k
refused 2 'DIR is required' demo

refused 1 'missing.png: cannot open: No such file' upscale missing.png -o a.png
refused 1 'is a directory' upscale . -o a.png
refused 1 'text.png: is no PNG, JPEG or Y4M' upscale text.png -o a.png
refused 1 'empty.jpg: is empty' upscale empty.jpg -o a.png
refused 1 'cut.png: is damaged' upscale cut.png -o a.png
refused 1 'wide.y4m: colour space "444" is not handled' upscale wide.y4m -o a.y4m
refused 1 'fields.y4m: the clip is interlaced' upscale fields.y4m -o a.y4m
refused 1 'cut.y4m: frame 1 ends after 8 of 12 bytes' upscale cut.y4m -o a.y4m
refused 1 'a.bin: holds 150 bytes, but a NV12 frame of 10x11 has 170' \
  upscale a.bin -o a.png --input-size 10x11 --input-format nv12
refused 1 '--config: bad.xml is no XML configuration' upscale small.png -o a.png --config bad.xml
refused 1 'none.xml: cannot open' upscale small.png -o a.png --config none.xml
refused 1 '--kernel: bad.kernel is no kernel file' upscale small.png -o a.png --kernel bad.kernel
refused 1 'none.kernel: cannot open' upscale small.png -o a.png --kernel none.kernel
refused 1 'no/such/folder/a.png: cannot create' upscale small.png -o no/such/folder/a.png
refused 1 'is a directory' upscale small.png -o . --output-format png
refused 1 'small.png' demo small.png
refused 1 'needs too much memory' upscale small.png -o a.png --region 0,0,1,1 --size 20000x20000

# Help goes to standard output and is no error.
for command in "" upscale fuse video register demo kernels; do
  # shellcheck disable=SC2086
  "$tool" $command --help >help 2>messages || fail "help of '$command'"
  grep -q -- '--help' help || fail "help of '$command' is empty"
  [ ! -s messages ] || fail "help of '$command' writes messages"
done

# Where the time went: each step that ran, and memory of at least the planes (NV12, one byte a pixel).
ok "$tool" --timings upscale "$2" --scale 2 -o timed.png
for step in read library write 'whole run'; do
  grep -Eq "^velmora-sr: $step +[1-9][0-9]* +[0-9]+\.[0-9]{2} +[0-9]+\.[0-9]{2}$" messages ||
    fail "no time of '$step': $(cat messages)"
done
grep -Eq 'most memory: [1-9][0-9.]* MiB handed to the library, [1-9][0-9.]* MiB of the whole tool$' messages ||
  fail "no memory: $(cat messages)"

# Nothing was left behind by any failure.
for file in a.* .velmora-sr.*; do
  case $file in a.bin | a.\* | .velmora-sr.\*) ;; *) fail "$file was left behind" ;; esac
done
finish
