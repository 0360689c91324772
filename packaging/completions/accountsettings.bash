# Completion of accountsettings(1) for bash.
_accountsettings() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} command="" each
  for each in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    case $each in
      migrate|plan|show|diff|check|restore|history|get|set|enable|disable|add|remove|plist|sample|report) command=$each; break ;;
    esac
  done
  COMPREPLY=()
  case $previous in
    --root) mapfile -t COMPREPLY < <(compgen -d -- "$word"); return ;;
    --config|--log|--plan|--out|-o|--properties|--include-log)
      mapfile -t COMPREPLY < <(compgen -f -- "$word"); return ;;
  esac
  case $command:$previous in
    set:--type|set:-t) mapfile -t COMPREPLY < <(compgen -W "string int bool plist" -- "$word"); return ;;
    plist:--to|plist:-t) mapfile -t COMPREPLY < <(compgen -W "text binary xml json" -- "$word"); return ;;
    sample:--release) mapfile -t COMPREPLY < <(compgen -W "current legacy oldest 7A153 8A293 8C136 9A182 9A334 9B176" -- "$word"); return ;;
  esac
  local common="--root --config --json --log --help" words=""
  case $command in
    "") words="migrate plan show diff check restore history get set enable disable add remove plist sample report --version --help" ;;
    migrate) words="--verbose --dry-run --no-backup --keep --accept-loss --plan --reveal -v -n $common" ;;
    plan) words="--out --exit-code -o $common" ;;
    show) words="--type --class --dataclass --id --table --all --reveal -a $common" ;;
    diff) words="--reveal $common" ;;
    check) words="$common" ;;
    restore) words="--list --dry-run -l -n $common" ;;
    history) words="$common" ;;
    get) words="--reveal $common" ;;
    set) words="--type --unset --dry-run --accept-loss --reveal -t -n $common" ;;
    enable) words="--dry-run --accept-loss --reveal -n $common" ;;
    disable) words="--dry-run --accept-loss --reveal -n $common" ;;
    add) words="--parent --name --username --enable --properties --dry-run --accept-loss --reveal -n $common" ;;
    remove) words="--dry-run --accept-loss --reveal -n $common" ;;
    plist) words="--to --out -t -o $common" ;;
    sample) words="--release $common" ;;
    report) words="--out --include-log -o $common" ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
  if [[ $word != -* ]]; then
    case $command in
      show|diff|check|plan|history|plist|sample|report)
        local path
        while IFS= read -r path; do COMPREPLY+=("$path"); done < <(compgen -f -- "$word") ;;
    esac
  fi
}
complete -o filenames -F _accountsettings accountsettings
