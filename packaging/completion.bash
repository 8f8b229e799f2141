# Completion of the programs of zel_ftc: the subcommands and options that their --help lists.
# shellcheck shell=bash
_zelftc() {
  local word=${COMP_WORDS[COMP_CWORD]} subcommands choice
  local command=("${COMP_WORDS[0]}")
  subcommands=$("${command[@]}" --help 2>/dev/null |
    sed -nE '/^Subcommands:/,/^$/s/^  (\w\S*) .*/\1/p')
  if [[ -n $subcommands && $COMP_CWORD -gt 1 ]]; then
    command+=("${COMP_WORDS[1]}")
    subcommands=
  fi
  choice=$subcommands
  [[ $word != -* ]] || choice=$("${command[@]}" --help 2>/dev/null |
    sed -nE 's/^ +(-[-a-zA-Z0-9,]+).*/\1/p' | tr ',' '\n')
  mapfile -t COMPREPLY < <(compgen -W "$choice" -- "$word")
}
complete -o default -F _zelftc zelftc zel_sensor_sim
