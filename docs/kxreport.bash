# bash completion for kxreport

_kxreport() {
  local word=${COMP_WORDS[COMP_CWORD]} last=${COMP_WORDS[COMP_CWORD - 1]}
  local commands='list identity firmware health link counters registers summary commands schema'
  case $COMP_CWORD:$last in
    1:*) mapfile -t COMPREPLY < <(compgen -W "$commands --help --version" -- "$word") ;;
    *:--format) mapfile -t COMPREPLY < <(compgen -W 'text json openmetrics html' -- "$word") ;;
    *:--timeout) COMPREPLY=() ;;
    2:list | 2:commands | 2:schema) mapfile -t COMPREPLY < <(compgen -W '--format' -- "$word") ;;
    2:*) mapfile -t COMPREPLY < <(compgen -W "--all $(cd /sys/class/net && echo *)" -- "$word") ;;
    *) mapfile -t COMPREPLY < <(compgen -W 'vqm pcie np pcsmac --format --timeout' -- "$word") ;;
  esac
}

complete -F _kxreport kxreport
