# Completion of accountsettings(1) for bash.
_accountsettings() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} command="" each
  for each in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    case $each in
      sample|show|check|plan|migrate|diff|restore|history|get|set|enable|disable|add|remove|plist|report) command=$each; break ;;
    esac
  done
  COMPREPLY=()
  case $previous in
    --root) mapfile -t COMPREPLY < <(compgen -d -- "$word"); return ;;
    --config|--include-log|--log|--out|--plan|--properties|-o)
      mapfile -t COMPREPLY < <(compgen -f -- "$word"); return ;;
  esac
  case $command:$previous in
    sample:--release)
      mapfile -t COMPREPLY < <(compgen -W "current legacy oldest 7A153 8A293 8C136 9A182 9A334 9B176" -- "$word"); return ;;
    set:--type|set:-t)
      mapfile -t COMPREPLY < <(compgen -W "string int bool plist" -- "$word"); return ;;
    plist:--to|plist:-t)
      mapfile -t COMPREPLY < <(compgen -W "text binary xml json" -- "$word"); return ;;
  esac
  local common="--root --config --json --log --help -h" words=""
  case $command in
    "") words="sample show check plan migrate diff restore history get set enable disable add remove plist report --version --help" ;;
    sample) words="--release --dry-run -n $common" ;;
    show) words="--type --class --dataclass --id --table --all -a --reveal $common" ;;
    check) words="$common" ;;
    plan) words="--out -o --exit-code $common" ;;
    migrate) words="--verbose -v --dry-run -n --no-backup --keep --accept-loss --plan --reveal $common" ;;
    diff) words="--verbose -v --reveal $common" ;;
    restore) words="--list -l --dry-run -n --no-backup --prune --keep $common" ;;
    history) words="$common" ;;
    get) words="--reveal $common" ;;
    set) words="--type -t --unset --dry-run -n --accept-loss --reveal $common" ;;
    enable) words="--dry-run -n --accept-loss --reveal $common" ;;
    disable) words="--dry-run -n --accept-loss --reveal $common" ;;
    add) words="--parent --name --username --enable --properties --dry-run -n --accept-loss --reveal $common" ;;
    remove) words="--dry-run -n --accept-loss --reveal $common" ;;
    plist) words="--to -t --out -o $common" ;;
    report) words="--out -o --include-log $common" ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
  if [[ $word != -* ]]; then
    case $command in
      sample|show|check|plan|diff|history|plist|report)
        local path
        while IFS= read -r path; do COMPREPLY+=("$path"); done < <(compgen -f -- "$word") ;;
    esac
  fi
}
complete -o filenames -F _accountsettings accountsettings
