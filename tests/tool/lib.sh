# Shared by the tool's tests: each gets the tool's path as its first argument and works in a folder
# of its own.
# shellcheck shell=bash
set -u

# $tool replaces what an earlier call has written; $bare is the tool itself.
bare=$1
base=$(mktemp -d "${TMPDIR:-/tmp}/velmora-tool-XXXXXX")
trap 'rm -rf "$base"' EXIT
tool=$base/tool
printf '#!/bin/sh\nexec %q --force "$@"\n' "$bare" >"$tool"
chmod +x "$tool"
mkdir "$base/work"
cd "$base/work" || exit 1
failures=0

fail() {
  echo "FAIL: $*" >&2
  failures=$((failures + 1))
}

# ok COMMAND...: must succeed.
ok() {
  "$@" 2>messages || fail "exit $? of: $* : $(cat messages)"
}

# refused CODE TEXT ARGUMENTS...: the tool must exit with CODE, say TEXT on standard error, and write
# nothing to standard output.
refused() {
  local code=$1 text=$2 got
  shift 2
  "$tool" "$@" >data 2>messages </dev/null
  got=$?
  [ "$got" = "$code" ] || fail "exit $got instead of $code of: $*"
  grep -qF -- "$text" messages || fail "\"$text\" is missing for: $* : $(cat messages)"
  [ ! -s data ] || fail "standard output is not empty for: $*"
}

same() {
  cmp -s "$1" "$2" || fail "$1 and $2 differ${3:+ ($3)}"
}

# bytes FILE: its length.
bytes() {
  wc -c <"$1" | tr -d ' '
}

# said TEXT: the messages of the last call hold it.
said() {
  grep -qF -- "$1" messages || fail "\"$1\" is missing: $(cat messages)"
}

# layout FILE: sets header, width, height, and the bytes of a frame (one) of a Y4M.
layout() {
  header=$(head -n 1 "$1")
  width=${header#* W} width=${width%% *}
  height=${header#* H} height=${height%% *}
  one=$((width * height + 2 * ((width + 1) / 2) * ((height + 1) / 2)))
}

# frames FILE: how many its length holds, or "broken" when it ends within one.
frames() {
  local header width height one body
  layout "$1"
  body=$(($(bytes "$1") - ${#header} - 1))
  if [ $((body % (one + 6))) = 0 ]; then echo $((body / (one + 6))); else echo "broken"; fi
}

# frame FILE NUMBER: one frame of a Y4M as raw bytes, from 1.
frame() {
  local header width height one
  layout "$1"
  tail -c +$((${#header} + 2 + ($2 - 1) * (one + 6) + 6)) "$1" | head -c "$one"
}

# hex FILE SKIP COUNT: bytes as hexadecimal digits.
hex() {
  od -An -v -tx1 -j"$2" -N"$3" "$1" | tr -d ' \n'
}

# png_size FILE: WxH of a PNG, from its header.
png_size() {
  echo "$((16#$(hex "$1" 16 4)))x$((16#$(hex "$1" 20 4)))"
}

# peak NAME COMMAND...: sets variable NAME to the most memory the command takes, in KiB (0 where that
# cannot be measured). The address sanitizer would keep what was freed for a while, and stack frames
# of functions that have returned: without that, it counts as any other build.
peak() {
  local name=$1 measured=0
  local keep_nothing=quarantine_size_mb=0:thread_local_quarantine_size_kb=0:detect_stack_use_after_return=0
  shift
  if [ -x /usr/bin/time ] && /usr/bin/time -f %M true 2>/dev/null; then
    ASAN_OPTIONS=${ASAN_OPTIONS:+$ASAN_OPTIONS:}$keep_nothing \
      /usr/bin/time -o peak -f %M "$@" 2>messages || fail "exit $? of: $* : $(cat messages)"
    measured=$(tail -n 1 peak)
  fi
  printf -v "$name" %s "$measured"
}

finish() {
  [ "$failures" = 0 ] || { echo "$failures checks failed" >&2; exit 1; }
  echo "all checks passed"
}
