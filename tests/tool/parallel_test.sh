#!/usr/bin/env bash
# The command for GNU parallel that docs/scale.md shows: a run that was broken off goes on with the bursts
# that are missing, and tries failed ones again where that is asked for.
# shellcheck source-path=SCRIPTDIR source=lib.sh
command -v parallel >/dev/null || exit 77
guide=$(realpath "$(dirname "$0")/../../docs/scale.md")
. "$(dirname "$0")/lib.sh"

command=$(sed -n '/^find bursts/,/parallel/p' "$guide")
[ "$(grep -c -- ' --resume ' <<<"$command")" = 1 ] || fail "the command of $guide: $command"
for number in 1 2 3 4; do
  mkdir -p bursts/$number
  for frame in 0 1; do
    left=$((40 * number + frame))
    ok "$tool" upscale "$2" --region $left,9,$((left + 63)),56 --scale 1 -o bursts/$number/$frame.png
  done
done
mv bursts/2/1.png whole.png
head -c 999 whole.png >bursts/2/1.png

# The tool writes down its calls; that for burst 4 ends the run when all others are done, as a machine does
# that goes down.
mkdir "$base/bin" pictures
cat >"$base/bin/velmora-sr" <<END
#!/bin/sh
echo "\$2" >>calls
if [ "\$2" = bursts/4/0.png ] && mkdir broken-off 2>/dev/null; then
  until [ "\$(wc -l <run.log)" = 4 ]; do sleep 0.1; done
  kill -KILL "\$PARALLEL_PID"
  exit 1
fi
exec "$bare" "\$@"
END
chmod +x "$base/bin/velmora-sr"
PATH=$base/bin:$PATH

# made STATUS CALLS NUMBERS COMMAND: runs it, and compares exit status, bursts that were tried, and pictures.
made() {
  local got
  : >calls
  bash -c "$4" >data 2>messages
  got=$?
  [ "$got" = "$1" ] || fail "exit $got instead of $1 of: $4 : $(cat messages)"
  [ "$(sort calls | cut -d / -f 2 | tr -d '\n')" = "$2" ] || fail "tried instead of $2: $(cat calls)"
  [ "$(find pictures -type f -printf '%f\n' | sort | cut -d . -f 1 | tr -d '\n')" = "$3" ] ||
    fail "pictures instead of $3: $(ls pictures)"
}
made 137 1234 13 "set -o pipefail; $command"
made 0 4 134 "$command"
made 0 '' 134 "$command"
mv whole.png bursts/2/1.png
made 0 2 1234 "${command/--resume/--resume-failed}"
ok "$tool" fuse --bursts bursts --output-dir plain
for number in 1 2 3 4; do
  same plain/$number.png pictures/$number.png
done
finish
