# bash completion for kxpkg

_kxpkg() {
  local word=${COMP_WORDS[COMP_CWORD]}
  COMPREPLY=()
  case $COMP_CWORD:${COMP_WORDS[1]} in
    1:*) mapfile -t COMPREPLY < <(compgen -W 'build info check --help --version' -- "$word") ;;
    2:build) mapfile -t COMPREPLY < <(compgen -f -X '!*.json' -- "$word") ;;
  esac
}

# File names everywhere else: packages.
complete -o default -F _kxpkg kxpkg
