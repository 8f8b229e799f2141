#!/usr/bin/env bash
# Run as root in a Debian that has never seen this project: what the packages promise.
#   fresh_root.sh FOLDER-OF-PACKAGES
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "$1"/*.deb >/dev/null
tests/install/consumers.sh "$PWD"

cmake --preset demo -DZEL_FTC_INSTALLED=ON -DCMAKE_BUILD_TYPE=Debug >/dev/null
cmake --build --preset demo >/dev/null
[ -z "$(find build -name 'libzel_ftc.so*')" ] # the library is the installed one
build/demo/examples/approach --out /tmp | grep -x 'approach: end 80001, contact .*'

# Programs run, have a page each and complete their options; the module is found.
for program in $(dpkg -L zel-ftc-tools | grep '^/usr/bin/.'); do
  "$program" --help >/dev/null
  name=$(basename "$program")
  test -s "/usr/share/man/man1/$name.1.gz"
  # shellcheck disable=SC1090
  source "/usr/share/bash-completion/completions/$name"
  COMP_WORDS=("$name" --hel) COMP_CWORD=1
  _zelftc
  [ "${COMPREPLY[*]}" = --help ]
done
! dpkg -s python3-zel-ftc >/dev/null 2>&1 || /usr/bin/python3 -c 'import zel_ftc'
