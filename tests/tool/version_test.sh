#!/usr/bin/env bash
# A library of another version than the tool's is refused by every subcommand before any work.
# shellcheck source-path=SCRIPTDIR source=lib.sh
. "$(dirname "$0")/lib.sh"

tool=$bare
export LD_PRELOAD=$4
for call in "upscale $2 -o a.png" "demo d" "kernels --phases 2 -o k"; do
  # shellcheck disable=SC2086
  refused 1 'the library in use is ZELK_V9.9.9<1>, but the tool was built with ZELK_V' $call
done
"$tool" --version >data 2>messages && fail "--version accepts another library"
grep -qx 'library ZELK_V9.9.9<1>' data || fail "--version: $(cat data)"
unset LD_PRELOAD
[ -z "$(find . -name 'a.png' -o -name d -o -name k)" ] || fail "work was done with another library"
finish
