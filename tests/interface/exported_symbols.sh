#!/bin/sh
# The functions and variables that the flat headers declare, those that the shared library exports
# under a plain name and those that have a manual page are the same; of the classes the library
# exports nothing but what the version map names.
#
#   exported_symbols.sh LIBRARY MAP PAGES HEADER...
set -eu
library=$1 map=$2 pages=$3
shift 3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
same() { diff "$work/$1" "$work/$2" || { echo "$1 (<) and $2 (>) differ"; exit 1; }; }

nm --dynamic --defined-only "$library" | cut -d' ' -f3 | c++filt >"$work/all"
sed 's/^zel_ftc_issetok(bool)$/zel_ftc_issetok/' "$work/all" | grep -xE '\w+' | sort >"$work/exported"
sed -nE 's/^(extern )?ZEL_FTC_API ([a-z0-9_]+[* ] ?)+\*?(\w+)[(;[].*/\3/p' "$@" | sort >"$work/declared"
same declared exported
for page in "$pages"/*.gz; do basename "$page" .3.gz; done | grep -v '\.h$' | sort >"$work/pages"
same declared pages

# The map's names as patterns: those in quotes stand for themselves, a star at the end for anything.
named=$(sed -nE 's/^ +"?([^"]+[^"{ ])"?;$/\1/p' "$map" | sed -E 's/[][().*+?]/[&]/g; s/\[\*\]$/.*/')
! grep -vxE "$named" "$work/all"
