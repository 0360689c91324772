#!/usr/bin/env bash
# Each command and each long option that the program's help shows stands in the manual page and in
# every completion.   usage: completions_test.sh TOOL MANUAL COMPLETIONS
set -euo pipefail
tool=$1 manual=$2 completions=$3
bash -n "$completions/accountsettings.bash"
# checked_by SHELL OPTION FILE lets a shell look at the syntax, where it is installed.
checked_by() {
  if command -v "$1" >/dev/null; then "$1" "$2" "$3"; else echo "NOT RUN: ${3##*/} (no $1 here)"; fi
}
checked_by zsh -n "$completions/_accountsettings"
checked_by fish --no-execute "$completions/accountsettings.fish"
missing=0
# wanted WORD PATTERN FILE
wanted() {
  grep -q -e "$2" "$3" || { echo "$1 is not in $3" >&2; missing=1; }
}
commands=$("$tool" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\)  .*/\1/p')
[ "$(echo "$commands" | wc -w)" -ge 16 ] || { echo "the help shows too few commands" >&2; exit 1; }
for command in $commands; do
  for option in $("$tool" "$command" --help | sed -n 's/^  \(-[a-z],\)\{0,1\}\(--[a-z-]*\).*/\2/p'); do
    roff=$(echo "$option" | sed 's/-/\\\\-/g')
    wanted "$command $option" "$roff" "$manual"
    wanted "$command $option" "$option" "$completions/accountsettings.bash"
    wanted "$command $option" "$option" "$completions/_accountsettings"
    [ "$option" = --help ] || wanted "$command $option" "-l ${option#--}" "$completions/accountsettings.fish"
  done
  wanted "$command" "\"$command " "$manual"
  for each in accountsettings.bash _accountsettings accountsettings.fish; do
    wanted "$command" "\\b$command\\b" "$completions/$each"
  done
done
exit $missing
