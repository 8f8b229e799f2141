#!/usr/bin/env bash
# A program in C and one in C++ find the installed library by CMake and by pkg-config, build without
# a warning and run; one that wants another version is told so.
#   consumers.sh SOURCE [PREFIX]    default: where the system looks
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
source=$1
prefix=${2-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() {
  echo "$1" >&2
  exit 1
}
if [ -n "$prefix" ]; then
  libraries=$(dirname "$(find "$prefix" -name 'libzel_ftc.so.1')")
  export CMAKE_PREFIX_PATH=$prefix PKG_CONFIG_PATH=$libraries/pkgconfig LD_LIBRARY_PATH=$libraries
fi

headers=$(pkg-config --variable=includedir zel_ftc)
find "$headers" -name '*.h' -printf '#include "%P"\n' | sort >"$work/every_header.h"
[ -z "$prefix" ] || [ "$headers" -ef "$prefix/include/zel_ftc" ] || fail "another library: $headers"

runs() {
  "$1/first_contact" | grep -q 'run 80001' || fail "$1/first_contact does not end in contact"
  "$1/classes" || fail "$1/classes does not run"
}
configure() {
  cmake -G Ninja -S "$here/consumer" -B "$work/cmake" -DWANTED="$1" -DEVERY_HEADER="$work" \
    -DFIRST_CONTACT="$source/examples/first_contact.c" -DCMAKE_C_FLAGS="$warnings" \
    -DCMAKE_CXX_FLAGS="$warnings" >"$work/log" 2>&1
}
warnings="-Wall -Wextra -Wpedantic -Werror"
for wanted in 0.9 1.999 2.0; do
  ! configure "$wanted" || fail "find_package takes this library for a $wanted"
  grep -q 'compatible with requested version' "$work/log" || fail "$(cat "$work/log")"
done
configure 1.0 || fail "$(cat "$work/log")"
cmake --build "$work/cmake" >"$work/log" 2>&1 || fail "$(cat "$work/log")"
runs "$work/cmake"

pkg-config --atleast-version=1.0 zel_ftc || fail "pkg-config does not find a 1.0"
! pkg-config --atleast-version=2.0 zel_ftc || fail "pkg-config takes this library for a 2.0"
mkdir "$work/pkg-config"
read -ra found <<<"$(pkg-config --cflags --libs zel_ftc)"
read -ra strict <<<"$warnings"
gcc -std=c11 "${strict[@]}" -o "$work/pkg-config/first_contact" \
  "$source/examples/first_contact.c" "${found[@]}" -lm
g++ -std=c++17 "${strict[@]}" -I"$work" -o "$work/pkg-config/classes" \
  "$here/consumer/classes.cpp" "${found[@]}"
runs "$work/pkg-config"
