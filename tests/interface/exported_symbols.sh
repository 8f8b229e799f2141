#!/bin/sh
# The shared library exports every function of the flat header under its plain name, and nothing but
# what the version map names.
#
#   exported_symbols.sh <libzel_ftc.so.1> <zel_ftc_lib.h> <zel_ftc.map>
set -eu
exported=$(nm --dynamic --defined-only "$1" | cut -d' ' -f3)
for function in $(grep -oE '^ZEL_FTC_API int zel_\w+' "$2" | grep -oE 'zel_\w+$'); do
  [ "$function" = zel_ftc_issetok ] || echo "$exported" | grep -qx "$function" ||
    { echo "not exported: $function"; exit 1; }
done
# The map's names as patterns: those in quotes stand for themselves, a star at the end for anything.
named=$(sed -nE 's/^ +"?([^"]+[^"{ ])"?;$/\1/p' "$3" | sed -E 's/[][().*+?]/[&]/g; s/\[\*\]$/.*/')
! echo "$exported" | c++filt | grep -vxE "$named"
