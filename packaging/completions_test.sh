#!/usr/bin/env bash
# The completions are what the program's help says, and their shells accept them.
# usage: completions_test.sh TOOL COMPLETIONS
set -euo pipefail
tool=$1 completions=$2
# checked_by SHELL OPTION FILE lets a shell look at the syntax, where it is installed.
checked_by() {
  if command -v "$1" >/dev/null; then "$1" "$2" "$3"; else echo "NOT RUN: ${3##*/} (no $1 here)"; fi
}
bash -n "$completions/accountsettings.bash"
checked_by zsh -n "$completions/_accountsettings"
checked_by fish --no-execute "$completions/accountsettings.fish"
"$(dirname "$0")/completions.py" "$tool" "$completions"
