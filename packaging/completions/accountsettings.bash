# Completion of accountsettings(1) for bash: the program itself says what may follow.
_accountsettings() {
  local words=() word meaning joined=""
  # Bash takes --root=DIR apart, and leaves quotes and escapes in.
  for word in "${COMP_WORDS[@]:1:COMP_CWORD}"; do
    word=${word/#\~\//$HOME/}
    word=${word//[\\\"\']/}
    if [[ $word == "=" && ${#words[@]} -gt 0 && ${words[-1]} == --* ]]; then
      words[-1]+="="
      joined=yes
    elif [[ $joined ]]; then
      words[-1]+=$word
      joined=""
    else
      words+=("$word")
    fi
  done
  word=${COMP_WORDS[COMP_CWORD]}
  [[ $word != "=" ]] || word=""
  COMPREPLY=()
  local kind="" found
  while IFS=$'\t' read -r found meaning; do
    case $found in
      :files) kind=-f ;;
      :directories) kind=-d ;;
      *) COMPREPLY+=("$(printf %q "$found")") ;;
    esac
  done < <("${COMP_WORDS[0]/#\~\//$HOME/}" __complete "${words[@]}" 2>/dev/null)
  if [[ $kind ]]; then
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen "$kind" -- "$word")
  fi
}
complete -F _accountsettings accountsettings
