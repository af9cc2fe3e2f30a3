# Completes mtlpublish in bash.
_mtlpublish() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local command='' options='-h --help' i
  COMPREPLY=()
  # Of --option=value bash makes three words.
  if [[ $word == = ]]; then word=''; fi
  if [[ $previous == = ]]; then previous=${COMP_WORDS[COMP_CWORD - 2]}; fi
  for ((i = 1; i < COMP_CWORD; ++i)); do
    case ${COMP_WORDS[i]} in
      build | diff | files | init | keygen | report | rollback | verify | serve)
        command=${COMP_WORDS[i]}
        break
        ;;
    esac
  done
  case $previous in
    --missing | --never | --exclude | --include | --mirror | --fail | --port | --delay | --host-name | --name | --sub-path | --expires)
      return
      ;;
    --allow)
      mapfile -t COMPREPLY < <(compgen -W 'windows-names same-names long-paths unused-entries changed-missing' -- "$word")
      return
      ;;
    --config | --output | --sign | --password-file | --key)
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      compopt -o filenames 2>/dev/null
      return
      ;;
  esac
  case $command in
    '') options+=' --version' ;;
    build | diff)
      options+=' --config --missing --never --exclude --include --allow --mirror --lossy --no-cache'
      options+=' --json -q --quiet -v --verbose'
      [[ $command == diff ]] ||
        options+=' --sign --prepare --no-sign --name --sub-path --expires --password-file'
      ;;
    rollback)
      options+=' --config --sign --prepare --no-sign --name --sub-path --expires --password-file'
      ;;
    files) options+=' --config --lists --list-forms --cache-control --nginx' ;;
    keygen) options+=' --password-file --no-password' ;;
    report) options+=' --output --sub-path' ;;
    verify) options+=' --quick --key --sub-path --json -q --quiet' ;;
    serve) options+=' --config --port --delay --fail --host-name -q --quiet' ;;
  esac
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
  elif [[ -z $command ]]; then
    mapfile -t COMPREPLY < <(compgen -W 'build diff files init keygen report rollback verify serve' -- "$word")
  else
    mapfile -t COMPREPLY < <(compgen -d -- "$word")
    compopt -o filenames 2>/dev/null
  fi
}
complete -F _mtlpublish mtlpublish
