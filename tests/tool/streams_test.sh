#!/usr/bin/env bash
# Standard output carries data alone, standard error messages alone, --quiet silences success; what
# ends a run early, a signal too, costs no finished frame, no old file and leaves nothing beside it.
# shellcheck source-path=SCRIPTDIR source=lib.sh
. "$(dirname "$0")/lib.sh"
frame=$2

# A file and a pipe give the same bytes, on either side, in every combination; --verbose changes none.
ok "$tool" upscale "$frame" --region 20,30,179,149 -o one.y4m
{ cat one.y4m; for _ in $(seq 11); do printf 'FRAME\n'; frame one.y4m 1; done; } >clip.y4m
ok "$tool" upscale clip.y4m -o file.y4m
[ "$(sed 's/, [0-9.]* s$//' messages)" = 'velmora-sr: clip.y4m: 320x240 to 640x480, 12 frames' ] ||
  fail "status: $(cat messages)"
"$tool" --quiet upscale - -o - <clip.y4m >pipe.y4m 2>messages || fail "pipe to pipe"
[ ! -s messages ] || fail "--quiet says: $(cat messages)"
same file.y4m pipe.y4m
ok "$tool" upscale - -o mixed.y4m < <(cat clip.y4m)
same file.y4m mixed.y4m
"$tool" --verbose upscale clip.y4m -o - 2>messages | cat >mixed.y4m
same file.y4m mixed.y4m
said 'I/NB7UO_ZELK: '
"$tool" upscale - -o /dev/stdout --output-format png <"$frame" 2>messages >pipe.png || fail "PNG through pipes"
ok "$tool" upscale "$frame" -o file.png
same file.png pipe.png
"$tool" -q upscale none.y4m -o a.y4m 2>messages
said none.y4m
ok "$tool" video clip.y4m -o video.y4m

# alone: the folder holds one file, the output.
mkdir folder
echo old >folder/out.y4m
alone() {
  [ "$(ls -A folder)" = out.y4m ] || fail "$1 leaves $(ls -A folder)"
}

# A failure to write leaves the old file.
(ulimit -f 100 && exec "$tool" upscale clip.y4m -o folder/out.y4m) 2>messages
[ $? = 1 ] || fail "a limit on file sizes: $(cat messages)"
said 'folder/out.y4m: cannot write: File too large'
if [ -w /dev/full ]; then
  refused 1 '/dev/full: cannot write: No space left' upscale clip.y4m -o /dev/full --output-format y4m
fi
[ "$(cat folder/out.y4m)" = old ] || fail "a failed run changed the old file"
alone 'a failed run'

# begun COUNT: the last run wrote the first COUNT frames of what $command makes of the clip.
begun() {
  [ "$(frames folder/out.y4m)" = "$1" ] || fail "$command: $(frames folder/out.y4m) frames, not $1"
  head -c "$(bytes folder/out.y4m)" "$command.y4m" >wanted.y4m
  same wanted.y4m folder/out.y4m "$command"
  alone "$command"
}
mv file.y4m upscale.y4m
for command in upscale video; do
  for rest in 'FRAME\nshort' 'FRAM' 'FRAMES\n'; do
    # shellcheck disable=SC2059
    { cat clip.y4m; printf "$rest"; } >broken.y4m
    "$tool" "$command" broken.y4m -o folder/out.y4m 2>messages && fail "$command accepts a broken clip"
    said '; the clip ends with frame 12'
    begun 12
  done
  # Stopped while it waits: for somebody who writes, and for further frames. There are more frames than
  # are held before the first is made.
  for given in nothing frames; do
    mkfifo endless
    (
      if [ $given = frames ]; then exec >endless && cat clip.y4m; else sleep 0.1; fi
      : >fed
      exec sleep 60
    ) 2>/dev/null &
    feeder=$!
    "$tool" "$command" endless -o folder/out.y4m 2>messages &
    running=$!
    for _ in $(seq 600); do [ -e fed ] && break; sleep 0.05; done
    kill -TERM "$running"
    wait "$running" 2>/dev/null
    status=$?
    kill "$feeder" 2>/dev/null
    rm -f endless fed
    [ "$status" = 143 ] || fail "$command: exit $status after SIGTERM, with $given to read"
    alone "$command after SIGTERM"
  done
  read -r count < <(sed -n 's/.*error: stopped after frame \([0-9]*\); the clip ends there$/\1/p' messages)
  case $count in [1-9] | 1[012]) begun "$count" ;; *) fail "$command stopped: $(cat messages)" ;; esac
done

# Who reads the picture is missed, who reads a text has seen enough; an unwritable output is an error.
"$tool" upscale "$frame" -o - 2>messages | head -c 100 >data
[ "${PIPESTATUS[0]}" = 1 ] || fail "no failure when the reader goes away"
said 'standard output: cannot write'
for call in --help --version 'upscale --help' "info $frame"; do
  # shellcheck disable=SC2086
  { sleep 0.1; "$tool" $call 2>messages; echo $? >status; } | true
  [ "$(cat status messages)" = 0 ] || fail "$call without reader: $(cat status messages)"
  if [ -w /dev/full ]; then
    # shellcheck disable=SC2086
    "$tool" $call >/dev/full 2>messages && fail "$call: a full disk is accepted"
    [ "$(cat messages)" = 'velmora-sr: error: standard output: cannot write: No space left on device' ] ||
      fail "$call on a full disk: $(cat messages)"
  fi
  # shellcheck disable=SC2086
  "$tool" $call >&- 2>messages && fail "$call: a closed standard output is accepted"
  said 'standard output is closed'
done
# shellcheck disable=SC2094
"$tool" upscale clip.y4m -o - >>clip.y4m 2>messages && fail "a clip is appended to itself"
said '-o: "-" is the same file as IN'
finish
