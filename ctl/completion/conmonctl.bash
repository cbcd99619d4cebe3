# Completion of conmonctl(1) for bash. Source it, or install it as
# /usr/share/bash-completion/completions/conmonctl.

_conmonctl() {
  local commands='tables show stats feed snmpd-conf'
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local command= candidates= at

  # The command is the first word that is neither an option nor an option's value.
  for ((at = 1; at < COMP_CWORD; at++)); do
    case ${COMP_WORDS[at]} in
      --socket) ((at++)) ;;
      -*) ;;
      *)
        command=${COMP_WORDS[at]}
        break
        ;;
    esac
  done

  COMPREPLY=()
  case $previous in
    --socket | --probed-socket)
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      compopt -o filenames 2>/dev/null
      return
      ;;
    --vrf | --interval | --depth | --standalone | --community | --source | --user)
      return
      ;;
  esac
  case $command in
    '') candidates="$commands --socket --version --help" ;;
    tables) candidates='--vrf --json --watch --interval --socket --help' ;;
    show) candidates='--depth --all --socket --help' ;;
    stats) candidates='--probed-socket --socket --help' ;;
    snmpd-conf) candidates='--standalone --community --source --user --socket --help' ;;
    feed)
      if [[ $word != -* ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
        compopt -o filenames 2>/dev/null
        return
      fi
      candidates='--socket --help'
      ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$candidates" -- "$word")
}

complete -F _conmonctl conmonctl
