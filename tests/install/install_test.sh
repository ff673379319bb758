#!/usr/bin/env bash
# Tests of the install; ctest passes one name, and the build's settings by the environment.
set -euo pipefail

prefix=$SCRATCH/installed
work=$SCRATCH/$1

fail() {
  printf 'FAILED: %s\n' "$*" >&2
  exit 1
}

# A flat frame stays flat at every size, which a program that wrote nothing would not deliver.
check_enlarge() {
  head -c $((160 * 120 * 3 / 2)) /dev/zero | tr '\0' 'A' >"$work/in.nv12"
  "$1" "$work/in.nv12" 160 120 2 "$work/out.nv12"
  head -c $((320 * 240 * 3 / 2)) /dev/zero | tr '\0' 'A' | cmp - "$work/out.nv12" ||
    fail "$1: a flat frame did not come out flat"
}

check_burst() {
  head -c $((4 * 160 * 120 * 3 / 2)) /dev/zero | tr '\0' 'A' >"$work/in.nv12"
  "$1" "$work/in.nv12" 160 120 "$work/out.nv12" >"$work/frames"
  [[ $(grep -c '^frame [1-4]: ' "$work/frames") == 4 ]] || fail "$1: $(cat "$work/frames")"
  head -c $((320 * 240 * 3 / 2)) /dev/zero | tr '\0' 'A' | cmp - "$work/out.nv12" ||
    fail "$1: a flat frame did not come out flat"
}

rm -rf "$work"
mkdir -p "$work"
case $1 in
  prefix)
    rm -rf "$prefix"
    "$CMAKE" --install "$BUILD_DIR" --prefix "$prefix" >"$work/log"
    cp "$BUILD_DIR/install_manifest.txt" "$work/manifest"
    for file in "$LIBDIR/libvelmora_sr.so" "$LIBDIR/libvelmora_sr.so.${VERSION%%.*}" \
      "$LIBDIR/libvelmora_sr.so.$VERSION" "$LIBDIR/pkgconfig/velmora_sr.pc" \
      "$LIBDIR/cmake/velmora_sr/velmora_srConfig.cmake" include/velmora_sr/velmora_sr.h \
      share/velmora_sr/zelk.xml; do
      [[ -e $prefix/$file ]] || fail "not installed: $file"
    done
    # Every public header, and nothing else.
    diff <(cd "$SOURCE_DIR/include" && find velmora_sr -type f | sort) \
      <(cd "$prefix/include" && find velmora_sr -type f | sort) || fail "installed headers"
    if [[ -e $prefix/bin/velmora-sr ]]; then
      grep -qF "$prefix/share/velmora_sr/zelk.xml" "$prefix/share/man/man1/velmora-sr.1" ||
        fail "the manual page does not name the prefix"
      "$prefix/bin/velmora-sr" --version | grep -F "$VERSION" || fail "installed tool"
    fi
    # No file may remember where it was built.
    ! grep -rlF "$SOURCE_DIR" "$prefix" --exclude=velmora-sr.1 ||
      fail "a path of the build was installed"
    ! "$READELF" -d "$BUILD_DIR"/tools/velmora-sr/velmora-sr | grep 'RUNPATH.*\[/' ||
      fail "the tool's bytes depend on where it is built"
    ;;
  hardening)
    for file in "$prefix/$LIBDIR/libvelmora_sr.so" "$prefix"/bin/*; do
      "$READELF" -dlW "$file" >"$work/elf"
      "$READELF" -sW "$file" >"$work/symbols"
      for mark in 'Elf file type is DYN' 'FLAGS_1.* NOW' GNU_RELRO 'GNU_STACK .* RW +0x'; do
        grep -qE "$mark" "$work/elf" || fail "$file: no $mark"
      done
      [[ $file == *.so ]] || grep -q 'FLAGS_1.* PIE' "$work/elf" || fail "$file: no PIE"
      for symbol in __stack_chk_fail '__[a-z]*_chk'; do
        grep -q "UND $symbol@" "$work/symbols" || fail "$file: calls no $symbol"
      done
      # The C library's start files have no landing pads, so the mark of the whole file is missing.
      [[ -z $CET ]] || "$OBJDUMP" -d --no-show-raw-insn "$file" | grep -A1 -E '<(main|VELMORA_SR_Create)>:' |
        grep -q endbr || fail "$file: no landing pads"
    done
    ;;
  uninstall)
    cp -a "$prefix" "$work/copy"
    : >"$work/copy/include/velmora_sr/of_others.h"
    sed "s|^$prefix|$work/copy|" "$SCRATCH/prefix/manifest" >"$work/manifest"
    "$SOURCE_DIR/scripts/remove-installed" "$work/manifest"
    [[ $(cd "$work/copy" && find . ! -type d) == ./include/velmora_sr/of_others.h ]] ||
      fail "left: $(find "$work/copy" ! -type d)"
    [[ -z $(find "$work/copy/share" "$work/copy/$LIBDIR" -name velmora_sr) ]] || fail "empty folders are left"
    ;;
  # An installed tree works wherever it is moved to.
  moved_prefix)
    moved=$work/elsewhere
    cp -a "$prefix" "$moved"
    [[ $(PKG_CONFIG_PATH=$moved/$LIBDIR/pkgconfig pkg-config --libs-only-L velmora_sr) == \
      *elsewhere* ]] || fail "velmora_sr.pc points at the old prefix"
    "$CMAKE" -S "$SOURCE_DIR/examples" -B "$work/build" -DCMAKE_PREFIX_PATH="$moved" >"$work/log" ||
      { cat "$work/log"; fail "find_package"; }
    "$CMAKE" --build "$work/build"
    check_enlarge "$work/build/enlarge"
    check_burst "$work/build/burst"
    # The host has the library's log: only the line that it lets through, and nothing beside it.
    [[ $(ANDROID_LOG_TAGS='*:V' "$work/build/host_log" 2>&1) == \
      *'camera: [6 NB7UO_ZELK] NB7UO_ZELK: some input paras is NULL!!'$'\n'MultiThread_destory* ]] ||
      fail "host_log: the library's lines did not reach their host"
    configuration=$moved/share/velmora_sr/zelk.xml
    [[ $("$work/build/read_configuration" "$configuration") == $'LowThr 1\nHighThr 5' ]] ||
      fail "the installed zelk.xml"
    sed -i 's/>1</>3</; s/>5</>9</' "$configuration"
    [[ $("$work/build/read_configuration" "$configuration") == $'LowThr 3\nHighThr 9' ]] ||
      fail "thresholds of a changed zelk.xml"
    # The next major version must be refused.
    sed "s/find_package(velmora_sr [0-9.]*/find_package(velmora_sr $((${VERSION%%.*} + 1)).0/" \
      "$SOURCE_DIR/examples/CMakeLists.txt" >"$work/CMakeLists.txt"
    cp "$SOURCE_DIR"/examples/*.c "$SOURCE_DIR"/examples/*.cpp "$work"
    ! "$CMAKE" -S "$work" -B "$work/next" -DCMAKE_PREFIX_PATH="$moved" >"$work/log" 2>&1 ||
      fail "another major version was accepted"
    ;;
  # The plugin lies where GStreamer looks below a prefix, and finds the library of its own tree.
  gstreamer)
    cp -a "$prefix" "$work/elsewhere"
    plugins=$work/elsewhere/$LIBDIR/gstreamer-1.0
    GST_PLUGIN_PATH=$plugins GST_REGISTRY=$work/registry gst-inspect-1.0 velmorasr |
      grep -F "$plugins/libgstvelmorasr.so" || fail "no element velmorasr in $plugins"
    ;;
  pkg_config)
    export PKG_CONFIG_PATH=$prefix/$LIBDIR/pkgconfig
    [[ $(pkg-config --modversion velmora_sr) == "$VERSION" ]] || fail "version of velmora_sr.pc"
    read -ra flags <<<"$(pkg-config --cflags --libs velmora_sr)"
    "$CC" -std=c99 -pedantic-errors -Wall -Wextra -Werror "$SOURCE_DIR/examples/enlarge.c" \
      "${flags[@]}" -o "$work/enlarge"
    LD_LIBRARY_PATH=$prefix/$LIBDIR check_enlarge "$work/enlarge"
    ;;
  # The archive: a C program links what pkg-config or CMake's package names and nothing else, gets the
  # same bytes, and meets no name of the inside.
  static)
    "$CMAKE" -S "$SOURCE_DIR" -B "$work/build" -DBUILD_SHARED_LIBS=OFF \
      -DVELMORA_BUILD_TOOL=OFF -DVELMORA_BUILD_GSTREAMER=OFF -DVELMORA_BUILD_TESTS=OFF >"$work/log" ||
      { cat "$work/log"; fail "configure"; }
    "$CMAKE" --build "$work/build" >"$work/log" || { cat "$work/log"; fail "build"; }
    "$CMAKE" --install "$work/build" --prefix "$work/installed" >"$work/log"
    [[ $(cd "$work/installed/$LIBDIR" && echo lib*) == libvelmora_sr.a ]] || fail "not the archive alone"
    build_burst() { # NAME PREFIX [OPTION OF PKG-CONFIG]
      read -ra flags <<<"$(PKG_CONFIG_PATH=$2/$LIBDIR/pkgconfig pkg-config --cflags --libs "${@:3}" velmora_sr)"
      "$CC" -std=c99 "$SOURCE_DIR/examples/burst.c" "${flags[@]}" -o "$work/burst_$1"
    }
    build_burst shared "$prefix"
    build_burst static "$work/installed" --static
    check_burst "$work/burst_static"
    seq 100000 120000 >"$work/in.nv12"
    truncate -s $((4 * 160 * 120 * 3 / 2)) "$work/in.nv12"
    for kind in shared static; do
      LD_LIBRARY_PATH=$prefix/$LIBDIR "$work/burst_$kind" "$work/in.nv12" 160 120 "$work/$kind.nv12"
    done
    cmp "$work/shared.nv12" "$work/static.nv12" || fail "the archive makes other bytes"

    mkdir "$work/plain_c"
    cp "$SOURCE_DIR/examples/enlarge.c" "$work/plain_c"
    printf '%s\n' 'cmake_minimum_required(VERSION 3.25)' 'project(plain_c LANGUAGES C)' \
      'find_package(velmora_sr REQUIRED)' 'add_executable(enlarge enlarge.c)' \
      'target_link_libraries(enlarge PRIVATE velmora_sr::velmora_sr)' >"$work/plain_c/CMakeLists.txt"
    "$CMAKE" -S "$work/plain_c" -B "$work/plain_c" -DCMAKE_PREFIX_PATH="$work/installed" >"$work/log" ||
      { cat "$work/log"; fail "find_package without C++"; }
    "$CMAKE" --build "$work/plain_c"
    check_enlarge "$work/plain_c/enlarge"

    # Strong names only: weak ones are copies of the same inline functions that the host has.
    "$NM" --defined-only --extern-only --demangle "$work/installed/$LIBDIR/libvelmora_sr.a" |
      sed -n 's/^[0-9a-f]* [A-TX-Z] //p' | LC_ALL=C sort -u >"$work/names"
    grep -qx VELMORA_SR_BurstCreate "$work/names" || fail "no names in the archive"
    inside=$(LC_ALL=C comm -23 "$work/names" "$SOURCE_DIR/docs/exported-symbols.txt" |
      grep -vE '(^|[ (])velmora::|^XMLNodeDataTag::' || true)
    [[ -z $inside ]] || fail "names that a host may have, too: $inside"
    ;;
  add_subdirectory)
    "$CMAKE" -S "$SOURCE_DIR/tests/install/subproject" -B "$work/build" \
      -DVELMORA_SOURCE_DIR="$SOURCE_DIR" >"$work/log" || { cat "$work/log"; fail "configure"; }
    "$CMAKE" --build "$work/build" --target enlarge
    check_enlarge "$work/build/enlarge"
    ;;
  # The manual page knows every option of the tool's help, and no other.
  man_page)
    tool=$prefix/bin/velmora-sr
    options() { grep -oE -- '--[a-z][a-z-]*[a-z]' | LC_ALL=C sort -u; }
    mapfile -t commands < <("$tool" --help |
      sed -n '/^Subcommands:/,/^$/ s/^  \([a-z][a-z-]*\) .*/\1/p')
    ((${#commands[@]} > 0)) || fail "no commands in the help of the tool"
    {
      "$tool" --help
      for command in "${commands[@]}"; do
        "$tool" "$command" --help
      done
    } | options >"$work/help"
    sed 's/\\-/-/g' "$prefix/share/man/man1/velmora-sr.1" >"$work/page"
    options <"$work/page" | diff "$work/help" - || fail "options: help <, manual page >"
    for command in "${commands[@]}"; do
      grep -q "^\.B $command\$" "$work/page" || fail "not in the page: $command"
    done
    ;;
  *) fail "no such test: $1" ;;
esac
