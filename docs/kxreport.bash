# bash completion for kxreport

_kxreport() {
  local word=${COMP_WORDS[COMP_CWORD]} last=${COMP_WORDS[COMP_CWORD - 1]}
  local commands='list identity firmware health link counters registers summary watch bundle diff commands schema'
  case $COMP_CWORD:${COMP_WORDS[1]}:$last in
    1:*) mapfile -t COMPREPLY < <(compgen -W "$commands --help --version" -- "$word") ;;
    *:--format) mapfile -t COMPREPLY < <(compgen -W 'text json openmetrics html' -- "$word") ;;
    *:--timeout | *:--interval | *:--count) COMPREPLY=() ;;
    *:diff:* | 3:bundle:*) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
    2:list:* | 2:commands:* | 2:schema:*) mapfile -t COMPREPLY < <(compgen -W '--format' -- "$word") ;;
    2:watch:* | 2:bundle:*) mapfile -t COMPREPLY < <(cd /sys/class/net && compgen -W "$(echo *)" -- "$word") ;;
    *:watch:*) mapfile -t COMPREPLY < <(compgen -W 'vqm pcie np pcsmac --interval --count --timeout' -- "$word") ;;
    2:*) mapfile -t COMPREPLY < <(compgen -W "--all $(cd /sys/class/net && echo *)" -- "$word") ;;
    *) mapfile -t COMPREPLY < <(compgen -W 'vqm pcie np pcsmac --format --timeout --eye' -- "$word") ;;
  esac
}

complete -F _kxreport kxreport
