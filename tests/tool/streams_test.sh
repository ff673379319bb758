#!/usr/bin/env bash
# Standard output carries data alone, standard error messages alone, --quiet silences success, and a
# failure leaves no file.
# shellcheck source-path=SCRIPTDIR source=lib.sh
. "$(dirname "$0")/lib.sh"
frame=$2

# A file and a pipe give the same bytes, on either side, in every combination.
ok "$tool" upscale "$frame" --region 20,30,179,149 -o clip.y4m
ok "$tool" upscale clip.y4m -o file.y4m
"$tool" upscale - -o - <clip.y4m >pipe.y4m 2>messages || fail "pipe to pipe"
same file.y4m pipe.y4m
# shellcheck disable=SC2002
cat clip.y4m | "$tool" upscale - -o mixed.y4m 2>messages || fail "pipe to file"
same file.y4m mixed.y4m
"$tool" upscale clip.y4m -o - 2>messages | cat >mixed.y4m
same file.y4m mixed.y4m
"$tool" upscale "$frame" -o - --output-format png 2>messages >pipe.png || fail "PNG to a pipe"
ok "$tool" upscale "$frame" -o file.png
same file.png pipe.png
"$tool" upscale - -o piped-in.png <"$frame" 2>messages || fail "PNG from a pipe"
same file.png piped-in.png

# --verbose adds the library's own lines to standard error, and changes no data.
"$tool" --verbose upscale clip.y4m -o - >verbose.y4m 2>messages || fail "--verbose"
same file.y4m verbose.y4m
grep -q 'I/NB7UO_ZELK: ' messages || fail "--verbose shows no log"
"$tool" upscale clip.y4m -v -o - >verbose.y4m 2>messages || fail "-v behind the subcommand"
same file.y4m verbose.y4m

# One line of status without it, none with --quiet; errors show all the same.
"$tool" upscale clip.y4m -o a.y4m >data 2>messages || fail "upscale"
[ ! -s data ] || fail "status on standard output"
[ "$(wc -l <messages)" = 1 ] || fail "more or less than one line of status: $(cat messages)"
grep -q '^velmora-sr: clip.y4m: 320x240 to 640x480' messages || fail "status: $(cat messages)"
"$tool" --quiet upscale clip.y4m -o a.y4m >data 2>messages || fail "--quiet"
if [ -s data ] || [ -s messages ]; then fail "--quiet says something"; fi
"$tool" -q upscale none.y4m -o a.y4m 2>messages
grep -q 'none.y4m' messages || fail "--quiet hides an error"

# A failure half way leaves the old file as it was and nothing beside it.
{ cat clip.y4m; printf 'FRAME\nshort'; } >broken.y4m
mkdir folder
echo old >folder/out.y4m
refused 1 'frame 2 ends after' upscale broken.y4m -o folder/out.y4m
[ "$(cat folder/out.y4m)" = old ] || fail "a failed run changed the old file"
[ "$(find folder -type f | wc -l)" = 1 ] || fail "a failed run left files: $(ls -A folder)"

# The same for a signal: the input never ends, the tool waits for it.
mkfifo endless
{ cat clip.y4m; sleep 20; } >endless 2>/dev/null &
feeder=$!
"$tool" upscale endless -o folder/out.y4m 2>messages &
running=$!
for _ in $(seq 100); do
  [ "$(find folder -type f | wc -l)" = 2 ] && break
  sleep 0.05
done
[ "$(find folder -type f | wc -l)" = 2 ] || fail "the unfinished file does not stand beside"
kill -TERM "$running"
wait "$running"
status=$?
kill "$feeder" 2>/dev/null
[ "$status" = 143 ] || fail "exit $status after SIGTERM"
[ "$(cat folder/out.y4m)" = old ] || fail "a stopped run changed the old file"
[ "$(find folder -type f | wc -l)" = 1 ] || fail "a stopped run left files: $(ls -A folder)"

# A reader that goes away, a full disk, a closed standard output: an error, not a crash.
"$tool" upscale "$frame" -o - 2>messages | head -c 100 >data
[ "${PIPESTATUS[0]}" = 1 ] || fail "exit ${PIPESTATUS[0]} when the reader goes away"
grep -q 'standard output: cannot write' messages || fail "broken pipe: $(cat messages)"
if [ -w /dev/full ]; then
  refused 1 '/dev/full: cannot write: No space left' upscale clip.y4m -o /dev/full --output-format y4m
fi
"$tool" upscale clip.y4m -o - >&- 2>messages && fail "a closed standard output is accepted"
grep -q 'standard output is closed' messages || fail "closed output: $(cat messages)"
finish
