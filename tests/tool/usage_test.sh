#!/usr/bin/env bash
# Wrong calls: the exit status, and a message that names the option, the value and what is wanted.
# shellcheck source-path=SCRIPTDIR source=lib.sh
. "$(dirname "$0")/lib.sh"

frame=$2
ok "$tool" upscale "$frame" --region 0,0,119,99 --scale 1 -o small.png
head -c $(($(bytes small.png) / 2)) small.png >cut.png
printf 'hello' | tee text.png >bad.kernel
printf 'YUV4MPEG2 W4 H2\nFRAME\nabcdefgh' >cut.y4m
printf 'YUV4MPEG2 W4 H2 C\x1b[31m\nFRAME\n' >steering.y4m
printf 'LowThr=3' >bad.xml
ln -s small.png link.png
ln cut.y4m hard.y4m
ln -s round.png round.png

# Per line: exit status, words, call.
while IFS='|' read -r code text call; do
  eval "set -- $call"
  refused "$code" "$text" "$@"
done <<'END'
2|say what to do|
2|"upscal" is no command; did you mean upscale?|upscal x
2|"--scal" is no option of upscale; did you mean --scale?|upscale small.png --scal=2 -o a.png
2|"--ouput" is no option of video; did you mean --output?|video cut.y4m --ouput a.y4m
2|"b.png" is one argument more than upscale takes|upscale small.png b.png -o a.png
2|--output is required|upscale small.png
2|--phases is required|kernels -o k
2|--quiet excludes --timings|--quiet --timings upscale small.png -o a.png
2|--scale excludes --size|upscale small.png -o a.png --size 640x480 --scale 2
2|--scale: "" is no value; give F|upscale small.png -o a.png --scale ""
2|IN: "" is no value|upscale "" -o a.png
2|the name "a.yuv" does not tell a format|upscale small.png -o a.yuv
2|but the output is 240x200|upscale small.png -o a_w640_h480_f4.yuv
2|also give --input-format nv12, nv21 or i420|upscale a.bin -o a.png --input-size 10x10
2|size must be given: --input-size|upscale a.nv12 -o a.png
2|--cpu: "fastest" is no instruction set of this machine; give scalar|--cpu fastest upscale small.png -o a.png
2|--mask: "./a.png" is the same file as that of -o|fuse none.png none.png --method camera -o a.png --mask ./a.png
2|-2.png" is the same file as that of -o|fuse none.png none.png -o a-2.png --mask ./a.png
2|standard output holds one kind of data|fuse none.png none.png -o - --json -
2|--reference: "3" is no whole number from 1 to 2|fuse none.png none.png -o a.png --reference 3
2|--noise: "65" is no amount; give auto, or a number from 0 to 64|fuse none.png none.png -o a.png --noise 65
2|--effort: "high" is no effort; give normal or fast|upscale small.png --denoise auto --effort high -o a.png
2|--denoise: "no" is no amount; give auto, or a number from 0 to 64|upscale small.png --denoise no -o a.png
2|--threads: "65" is no whole number from 1 to 64|fuse none.png none.png -o a.png --threads 65
2|--sharpened, --effort and --threads go with --denoise|upscale small.png --threads 2 -o a.png
2|--config and --kernel go with --denoise off|upscale small.png --denoise 3 --kernel k -o a.png
2|it enlarges 1 to 4 times, not 120x100 to 600x500|upscale small.png --denoise 3 --scale 5 -o a.png
2|it enlarges 1 to 4 times, not 120x100 to 60x50|fuse small.png small.png --scale 0.5 -o a.png
2|--picture: "a.png" is the same file as that of --json|register none.png none.png --json a.png --picture a.png
2|-o: "hard.y4m" is the same file as IN; give another name|video cut.y4m -o hard.y4m
2|-o: "small.png" is the same file as IN|upscale link.png -o small.png
2|-o: "cut.png" is the same file as MORE|fuse small.png cut.png -o cut.png
2|--name: "x.png" is no name for many files|upscale small.png --output-dir d --name x.png
2|--output-dir: "./small.png" is the same file as IN|upscale small.png --output-dir .
2|--output-dir: two files would be "d/small.png"|upscale small.png x/small.png --output-dir d
2|--output is required, or --output-dir with --bursts|fuse small.png small.png
2|--bursts excludes --json|fuse --bursts x --output-dir d --json j
2|excludes --bursts|fuse small.png small.png --bursts . --output-dir d
1|nowhere: cannot read this folder|fuse --bursts nowhere --output-dir d
1|.: no subfolder holds two pictures or more|fuse --bursts . --output-dir d
2|SHELL: "csh" is not known|completion csh
2|-o: "a.kernel" is the same file as --kernel|upscale small.png -o a.kernel --kernel a.kernel --output-format png
1|missing.png: cannot open: No such file|upscale missing.png -o a.png
1|a\x1b[1m\xff.png: cannot open|upscale $'a\e[1m\xff.png' -o a.png
1|colour space "\x1b[31m" is not handled|upscale steering.y4m -o a.y4m
1|round.png: cannot create: Too many levels of symbolic links|upscale small.png -o round.png
1|no/such/folder/a.png: cannot create|upscale small.png -o no/such/folder/a.png
1|small.png: cannot make this folder|demo small.png
1|text.png: is no picture or clip that is known here|upscale text.png -o a.png
1|cut.png: is damaged|upscale cut.png -o a.png
1|--config: bad.xml is no XML configuration|upscale small.png -o a.png --config bad.xml
1|--kernel: bad.kernel is no kernel file|upscale small.png -o a.png --kernel bad.kernel
END
# What exists is kept without --force, and told before anything is read.
echo old >kept.png
for call in 'upscale none.png -o kept.png' 'fuse none.png none.png -o a.png --json kept.png' \
  'register none.png none.png --json kept.png' 'kernels --phases 2 -o kept.png'; do
  # shellcheck disable=SC2086
  tool=$bare refused 1 'kept.png: exists already; give another name, or --force' $call
done
[ "$(cat kept.png)" = old ] || fail "kept.png is $(cat kept.png)"
ok "$bare" upscale small.png --output-format png -o /dev/null

# Help goes to standard output and is no error.
for command in "" upscale fuse video register info demo kernels completion; do
  # shellcheck disable=SC2086
  "$tool" $command --help >help 2>messages || fail "help of '$command'"
  grep -q -- '--help' help || fail "help of '$command' is empty"
  [ ! -s messages ] || fail "help of '$command' writes messages"
done

# Where the time went: each step that ran, and memory of at least the planes (NV12, one byte a pixel).
ok "$tool" --timings upscale "$frame" --scale 2 -o timed.png
for step in read library write 'whole run'; do
  grep -Eq "^velmora-sr: $step +[1-9][0-9]* +[0-9]+\.[0-9]{2} +[0-9]+\.[0-9]{2}$" messages ||
    fail "no time of '$step': $(cat messages)"
done
grep -Eq 'most memory: [1-9][0-9.]* MiB handed to the library, [1-9][0-9.]* MiB of the whole tool$' messages ||
  fail "no memory: $(cat messages)"

# Nothing was left behind by any failure.
if compgen -G 'a.*' || compgen -G '.velmora-sr.*'; then fail "files were left behind"; fi
finish
