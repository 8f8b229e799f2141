#!/bin/sh
# Compares what the shared library exports with exported_symbols.txt: a lost symbol breaks callers, an
# accidental one becomes interface.
#
#   exported_symbols.sh <libzel_ftc.so.1>            compare; non-zero exit with the difference
#   exported_symbols.sh <libzel_ftc.so.1> --update   write the list anew, after an intended change
set -eu
library=$1
list=$(dirname "$0")/exported_symbols.txt

# Demangled names, with data ("D") told from functions ("T"). The constructors' and destructors'
# variants share a name. The vtables of the two abstract classes are left out: whether they are
# emitted depends on the optimisation, and nobody needs them from the library.
exported() {
  nm --dynamic --defined-only --demangle "$library" |
    sed -E 's/^[0-9a-f]+ ([A-Za-z]) /\1 /; s/^[BRV] /D /; s/^W /T /' |
    grep -vE '^D vtable for (ZelSensor|ZelForceControlTool)$' | LC_ALL=C sort -u
}

if [ "${2:-}" = --update ]; then
  exported > "$list"
  exit
fi
exported | diff -u "$list" - && exit
echo "The exported symbols changed. If that is meant, run: $0 $library --update" >&2
exit 1
