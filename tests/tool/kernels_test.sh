#!/usr/bin/env bash
# Kernel files, the version, and the choice of kernels.
# shellcheck source-path=SCRIPTDIR source=lib.sh
. "$(dirname "$0")/lib.sh"
frame=$2

ok "$tool" kernels --phases 50 -o k50
[ "$(bytes k50)" = 85804 ] || fail "k50 has $(bytes k50) bytes"
# gzip's trailer begins with the CRC-32 of what it packed, lowest byte first.
gzip -c k50 | tail -c 8 >trailer
[ "$(hex trailer 0 4)" = 10558b25 ] || fail "CRC-32 of k50: $(hex trailer 0 4)"
"$tool" kernels --phases 50 -o - >piped 2>messages || fail "kernels to a pipe"
same k50 piped

# The file of 50 phases is what the library has built in; another count gives another picture.
ok "$tool" upscale "$frame" --region 0,0,199,149 -o plain.y4m
ok "$tool" upscale "$frame" --region 0,0,199,149 --kernel k50 -o k50.y4m
same plain.y4m k50.y4m
for phases in 1 200; do
  ok "$tool" kernels --phases "$phases" -o k
  wanted=$((4 + phases * phases * 34 + phases * 16))
  [ "$(bytes k)" = "$wanted" ] || fail "$phases phases: $(bytes k) bytes instead of $wanted"
  ok "$tool" upscale "$frame" --region 0,0,199,149 --kernel k -o other.y4m
  cmp -s plain.y4m other.y4m && fail "$phases phases change nothing"
done
# Phase 0 does not depend on the count.
[ "$(hex k 4 34)" = "$(hex k50 4 34)" ] || fail "phase 0 of 200 differs from phase 0 of 50"

"$tool" --version >version 2>messages || fail "--version"
for line in 'velmora-sr [0-9]+\.[0-9]+\.[0-9]+' 'library ZELK_V[0-9.]+<[0-9]+>' \
  'kernels [a-z0-9]+ \(this machine has: scalar.*'; do
  grep -qxE "$line" version || fail "version: $(cat version)"
done
"$tool" --version --cpu scalar | grep -q '^kernels scalar ' || fail "--cpu scalar is not in use"
VELMORA_SR_CPU=scalar "$tool" --version | grep -q '^kernels scalar ' || fail "VELMORA_SR_CPU is ignored"
VELMORA_SR_CPU=fastest "$tool" --version 2>messages | cmp - version || fail "unknown VELMORA_SR_CPU"
[ "$(grep -c 'warning: VELMORA_SR_CPU: "fastest" is no instruction set of this machine' messages)" = 1 ] ||
  fail "unknown VELMORA_SR_CPU: $(cat messages)"
VELMORA_SR_CPU=fastest "$tool" --cpu scalar --version 2>messages >data
[ ! -s messages ] || fail "--cpu does not take the place of VELMORA_SR_CPU: $(cat messages)"

# Every set of kernels gives the same bytes.
for set in $(sed -n 's/^kernels .*has: \(.*\))$/\1/p' version | tr -d ','); do
  ok "$tool" --cpu "$set" upscale "$frame" --region 0,0,199,149 -o "$set.y4m"
  same plain.y4m "$set.y4m" "--cpu $set"
done
finish
