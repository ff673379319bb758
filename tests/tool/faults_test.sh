#!/usr/bin/env bash
# Whatever request for memory fails, the tool delivers the right file or none: the bytes of an
# undisturbed run and exit status 0, or one error line, exit status 1 and no file; never a signal.
# shellcheck source-path=SCRIPTDIR source=lib.sh
. "$(dirname "$0")/lib.sh"
faults=$4

# sweep LAST ARGUMENTS...: arguments of the tool, without -o. The work proper is among the LAST requests;
# those before it mostly fill tables.
sweep() {
  local last=$1 number status count refusals=0
  shift
  ok "$bare" -f "$@" -o good.i420
  VELMORA_ALLOCATIONS=count LD_PRELOAD=$faults "$bare" -f -q "$@" -o good.i420 || fail "counting: $*"
  count=$(cat count)
  for number in $(seq 1 97 "$count") $(seq $((count - last)) "$count"); do
    rm -f out.i420
    LD_PRELOAD=$faults VELMORA_FAIL_AT=$number "$bare" -f "$@" -o out.i420 >data 2>messages
    status=$?
    if [ "$status" = 0 ]; then
      same good.i420 out.i420 "request $number of $1"
    else
      refusals=$((refusals + 1))
      [ "$status" = 1 ] || fail "exit $status, request $number of $1: $(cat messages)"
      [ "$(grep -c 'error: ' messages)" = 1 ] || fail "request $number of $1: $(cat messages)"
      [ ! -e out.i420 ] || fail "a file in spite of the error, request $number of $1"
    fi
    if compgen -G '.velmora-sr.*' >left; then fail "request $number of $1 leaves $(cat left)"; fi
  done
  [ "$refusals" -ge 40 ] || fail "$refusals errors in the runs of $1"
}

scene=$(dirname "$2")/truth.png
ok "$bare" -f upscale "$scene" --region 600,400,1080,819 --scale 1 -o one.png
ok "$bare" -f upscale "$scene" --region 606,404,1086,823 --scale 1 -o two.png
ok "$bare" -f kernels --phases 2 -o kernels
cat >config.xml <<'END'
<?xml version="1.0"?>
<Config><GhostCorrection><LowThr>20</LowThr><HighThr>50</HighThr></GhostCorrection></Config>
END
# Odd sizes take every path; the thresholds once from a file, once from the noise.
sweep 60 upscale one.png --kernel kernels --config config.xml --region 0,0,200,200 --scale 1.1
ok "$tool" upscale one.png --region 0,0,70,50 --scale 1 -o still.y4m
frame still.y4m 1 >samples
{ cat still.y4m; printf 'FRAME\n'; cat samples; } >clip.y4m
sweep 200 video clip.y4m
sweep 150 fuse one.png two.png --method camera --kernel kernels --region 100,100,300,300 --scale 1.1
sweep 60 fuse one.png two.png --region 100,100,220,220 --scale 1.1
finish
