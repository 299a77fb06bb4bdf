
_kxpkg_zsh() {
  case $CURRENT:$words[2] in
    2:*) compadd -- build info check --help --version ;;
    3:build) _files -g '*.json' ;;
    *) _files ;;
  esac
}

# The words for those given, by the rules of the shell that the functions above are written for.
_kxtool_zsh_candidates() {
  emulate -L sh
  _kxtool_candidates "$@"
}

_kxtool_zsh() {
  local -a candidates
  # Behind "--" kxvcard's line is another command's.
  local start=${words[(i)--]}
  if [[ $service == kxvcard && $start -lt $CURRENT ]]; then
    shift $start words
    (( CURRENT -= start ))
    _normal
    return
  fi
  candidates=(${=${(f)"$(_kxtool_zsh_candidates "$service" "${(@)words[2,CURRENT-1]}")"}})
  compadd -a candidates || _files
}

case $service in
  kxpkg) _kxpkg_zsh ;;
  *) _kxtool_zsh ;;
esac
