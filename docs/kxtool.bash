
_kxtool() {
  # The tools split at blanks only; bash would also split PCI addresses at their colons.
  local line=${COMP_LINE:0:COMP_POINT} words word
  read -ra words <<<"$line"
  [[ $line == *' ' ]] && words+=('')
  word=${words[-1]}
  unset 'words[-1]'
  words[0]=${words[0]##*/}
  mapfile -t COMPREPLY < <(compgen -W "$(_kxtool_candidates "${words[@]}")" -- "$word")
  # bash replaces only what follows the last colon.
  if [[ $word == *:* && $COMP_WORDBREAKS == *:* ]]; then
    COMPREPLY=("${COMPREPLY[@]#"${word%"${word##*:}"}"}")
  fi
}

# File names where nothing else is known: packages, images, log folders.
complete -o default -F _kxtool kxtool kxvcard
