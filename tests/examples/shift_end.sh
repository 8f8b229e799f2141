#!/usr/bin/env bash
# A shift that cannot start says so before anything moves; one that a signal ends, started through a
# link, keeps its cycles, ends its simulator and exits with 1.
#   shift_end.sh PROGRAM
set -euo pipefail
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
fail() { echo "$1"; cat "$folder/log"; exit 1; }

for options in "--out /dev/null/out" "--simulator /nonexistent" "--gain nan"; do
  code=0
  # shellcheck disable=SC2086
  "$1" --out "$folder" $options >"$folder/log" 2>"$folder/errors" || code=$?
  [ "$code" -eq 2 ] && [ ! -s "$folder/log" ] && [ -s "$folder/errors" ] || fail "$options: $code"
done

ln -s "$1" "$folder/link"
# What a closed terminal sends, twice; whoever runs this test may have it ignored.
env --default-signal=HUP "$folder/link" --out "$folder" >"$folder/log" 2>&1 &
pid=$!
until grep -q '^ *approach ' "$folder/log"; do
  kill -0 "$pid" 2>/dev/null || fail "it ended by itself"
  sleep 0.05
done
simulator=$(tr -d " " <"/proc/$pid/task/$pid/children")
kill -HUP "$pid"
sleep 0.001
kill -HUP "$pid"
code=0
wait "$pid" || code=$?
[ "$code" -eq 1 ] || fail "exit code $code"
[ "$(grep -c '^approach,' "$folder/shift.csv")" -gt 0 ] || fail "the cycles are lost"
[ ! -e "$folder/shift.csv.part" ] || fail "a half file stays"
! kill -0 "$simulator" 2>/dev/null || fail "the simulator stays"
