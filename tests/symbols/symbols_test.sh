#!/usr/bin/env bash
# The shared library exports what the exports.txt lists name, and the lists name nothing else; the
# names are those that docs/exported-symbols.txt keeps, so that a changed interface is a seen one.
# usage: symbols_test.sh LIBRARY SOURCE_DIR
set -euo pipefail
shopt -u extglob

library=$1
source_dir=$2
mapfile -t symbols < <("$source_dir/scripts/exported-symbols" "$library")
mapfile -t patterns < <(sed '/^#/d; /^[[:space:]]*$/d' "$source_dir"/src/*/exports.txt)
failures=0

complain() {
  printf 'FAILED: %s\n' "$*" >&2
  failures=$((failures + 1))
}

# matches NAME PATTERN: as the linker's version script does.
matches() {
  # shellcheck disable=SC2254 # a pattern is wanted
  case $1 in $2) return 0 ;; esac
  return 1
}

((${#symbols[@]} > 0)) || complain "$library exports nothing"

for symbol in "${symbols[@]}"; do
  for pattern in "${patterns[@]}"; do
    matches "$symbol" "$pattern" && continue 2
  done
  complain "exported, but in no exports.txt: $symbol"
done

for pattern in "${patterns[@]}"; do
  for symbol in "${symbols[@]}"; do
    matches "$symbol" "$pattern" && continue 2
  done
  complain "in an exports.txt, but not exported: $pattern"
done

# A pattern that is too wide lets instantiations of the standard library or internal names through.
for symbol in "${symbols[@]}"; do
  case $symbol in
    *std::* | *__gnu_cxx* | velmora::* | *'operator new'* | *'operator delete'*)
      complain "internal, but exported: $symbol" ;;
  esac
done

if ! diff "$source_dir/docs/exported-symbols.txt" <(printf '%s\n' "${symbols[@]}") >&2; then
  complain "the list (<) and the library (>) differ; if wanted: scripts/update-symbols"
fi

# The Debian package keeps the list, too, with a name for each size of size_t.
if ! sed -nE '/arch-bits=32/d; s/^ (\([^)]*\)")?(.*)@VELMORA_SR_.*/\2/p' \
  "$source_dir"/packaging/debian/libvelmora-sr*.symbols | sed '/^VELMORA_SR_[0-9]*$/d' |
  diff "$source_dir/docs/exported-symbols.txt" - >&2; then
  complain "the list (<) and that of the package (>) differ; if wanted: scripts/update-symbols"
fi

((failures == 0))
