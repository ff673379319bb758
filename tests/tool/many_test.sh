#!/usr/bin/env bash
# Many files in one call: one that fails does not stop the others; and what shells complete.
# shellcheck source-path=SCRIPTDIR source=lib.sh
. "$(dirname "$0")/lib.sh"

mkdir in
ok "$tool" upscale "$2" --region 0,0,119,99 --scale 1 -o in/a.png
ok "$tool" upscale in/a.png --scale 1 -o in/c.jpg
head -c 999 in/a.png >in/b.png
for jobs in 1 3; do
  rm -rf out
  "$tool" upscale in/*.* --output-dir out/dir --name '%s_2x.png' --jobs $jobs --scale 1.5 >data 2>messages
  [ "$?,$(cat data)" = 1, ] || fail "exit status or data"
  said 'in/b.png: is damaged'
  said 'error: 1 of 3 files failed'
  [ "$(grep -c '120x100 to 180x150' messages)" = 2 ] || fail "$(cat messages)"
  [ "$(cd out/dir && echo *)" = 'a_2x.png c_2x.png' ] || fail "in the folder: $(ls out/dir)"
done
ok "$tool" upscale in/a.png --scale 1.5 -o one.png
same one.png out/dir/a_2x.png
ok "$bare" upscale in/a.png in/c.jpg --output-dir names
[ "$(cd names && echo *)" = 'a.png c.jpg' ] || fail "names: $(ls names)"
said 'all 2 files are done'
# What exists is kept, the rest goes on.
rm names/c.jpg
"$bare" upscale in/a.png in/c.jpg --output-dir names 2>messages && fail "an output is replaced"
said 'names/a.png: exists already'
[ -e names/c.jpg ] || fail "the second file is missing"

# Every subfolder with two pictures is a burst, in the order of their names; not that of the outputs.
mkdir -p bursts/{first,second.day,single,bad,out}
cp in/a.png bursts/first/2.png
ok "$tool" upscale in/a.png --region 1,1,119,99 --size 120x100 -o bursts/first/10.png
cp in/a.png in/c.jpg bursts/out
cp in/a.png bursts/second.day/b.png
cp in/c.jpg bursts/second.day/a.JPG
touch bursts/second.day/{notes.txt,.hidden.png}
cp in/a.png bursts/single
cp in/a.png in/b.png bursts/bad
for jobs in 1 3; do
  "$tool" fuse --bursts bursts --output-dir bursts/out --name '%s-x2.png' --jobs $jobs >data 2>messages
  [ "$?,$(cat data)" = 1, ] || fail "exit status or data of --bursts"
  said 'bursts/single: passed over, holds one picture only'
  said 'b.png: is damaged'
  said 'error: 1 of 3 bursts failed'
  [ "$(cd bursts/out && echo *)" = 'a.png c.jpg first-x2.png second.day-x2.png' ] || fail "bursts: $(ls bursts/out)"
done
ok "$tool" fuse bursts/first/10.png bursts/first/2.png -o one.png
same one.png bursts/out/first-x2.png
ok "$tool" fuse bursts/second.day/a.JPG bursts/second.day/b.png -o one.png
same one.png bursts/out/second.day-x2.png

# A signal to the parent stops the children, and leaves what is done.
mkfifo wait.y4m
rm -rf out
"$tool" upscale in/a.png wait.y4m in/c.jpg --output-dir out 2>messages &
running=$!
for _ in $(seq 600); do [ -e out/a.png ] && break; sleep 0.05; done
kill -TERM $running
wait $running 2>/dev/null
[ $? = 143 ] || fail "no end by the signal"
said 'stopped; 1 of 3 files are done'
[ "$(ls -A out)" = a.png ] || fail "after the signal: $(ls -A out)"

# Completion knows the words of the tables.
for shell in bash zsh fish; do
  "$tool" completion $shell >script.$shell || fail "completion $shell"
  for word in upscale input-format i420 output-dir max-pixels; do
    grep -q -- "$word" script.$shell || fail "$word is missing for $shell"
  done
  if command -v $shell >found; then $shell -n script.$shell 2>messages || fail "$shell: $(cat messages)"; fi
done
grep -qx -- "complete -c velmora-sr -l quiet -d 'Say nothing but errors'" script.fish || fail "a flag in fish"
grep -qF -- "'--scale[Output size as a multiple of the region'\\''s]:value:_files'" script.zsh || fail "an option in zsh"
# offers WANTED WORD...: what bash offers for the last word.
offers() {
  local wanted=$1
  shift
  COMP_WORDS=(velmora-sr "$@") COMP_CWORD=$#
  _velmora_sr
  [ "${COMPREPLY[*]}" = "$wanted" ] || fail "bash offers ${COMPREPLY[*]} for $*"
}
# shellcheck source=/dev/null
. ./script.bash
offers 'upscale' up
offers '--scale --size --sharpened' upscale in.png --s
offers 'nv12 nv21' upscale --input-format nv
offers '' upscale i
finish
