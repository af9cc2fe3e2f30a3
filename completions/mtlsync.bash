# Completes mtlsync in bash.
_mtlsync() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  COMPREPLY=()
  # Of --option=value bash makes three words.
  if [[ $word == = ]]; then word=''; fi
  if [[ $previous == = ]]; then previous=${COMP_WORDS[COMP_CWORD - 2]}; fi
  case $previous in
    --module | --key | --ca-file)
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      compopt -o filenames 2>/dev/null
      return
      ;;
    --sub-path | --proxy | --max-file-size | --max-total-size | --limit-rate | --retries | \
      --random-delay | --name | --mirror | --proxy-user | --field | --query | --user-agent | \
      --connect-timeout | --stall-timeout | --max-time)
      return
      ;;
  esac
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W '-h --help --version --check --dry-run --repair --verify --status
      --full --prune --prune-most --limit-rate --retries --random-delay --wait
      --sub-path --proxy --no-proxy --max-file-size --max-total-size -q --quiet -v --verbose
      --json --module --key --name --allow-expired --forget-keys --mirror --ca-file --proxy-user
      --field --query --user-agent --connect-timeout --stall-timeout --max-time' -- "$word")
  else
    mapfile -t COMPREPLY < <(compgen -d -- "$word")
    compopt -o filenames 2>/dev/null
  fi
}
complete -F _mtlsync mtlsync
