#!/usr/bin/env bash
# Makes the manual page of a program, in section 1, and one of each of its subcommands: what they say
# with --help.
#   program.sh VERSION FOLDER PROGRAM
set -euo pipefail
version=$1 folder=$2 program=$3
name=$(basename "$program")

# page COMMAND NAME [NAME-OF-SUBCOMMAND...]
page() {
  local summary
  # shellcheck disable=SC2086
  summary=$($1 --help | tr '\n' ' ' | sed -E 's/[.:] .*//')
  {
    help2man --no-info --version-string="$version" --manual="zel_ftc" --name="$summary" "$1" |
      sed -E "s/^(\.TH) \S+ \"1\" \"[^\"]*\" \"[^\"]*\"/\1 ${2^^} 1 \"\" \"zel_ftc $version\"/
              s/^${1##*/} \\\\-/$2 \\\\-/; s/^(Examples?:|Exit codes:)/.PP\n&/"
    [ $# -eq 2 ] || printf '.SH "SEE ALSO"\n'
    [ $# -eq 2 ] || printf '.BR %s (1)\n' "${@:3}"
  } | gzip -9n >"$folder/$2.1.gz"
}

mapfile -t subcommands < <("$program" --help | sed -nE '/^Subcommands:/,/^$/s/^  (\w\S*) .*/\1/p')
page "$program" "$name" "${subcommands[@]/#/$name-}"
for subcommand in "${subcommands[@]}"; do
  page "$program $subcommand" "$name-$subcommand"
done
