# bash completion for kxtool

@TABLES@

# Network interfaces that belong to a PCI function, or with "addresses" these functions.
_kxtool_devices() {
  local link
  for link in /sys/class/net/*/device; do
    [ -e "$link/vendor" ] || continue
    if [ "$1" = addresses ]; then
      link=$(readlink -f "$link") && echo "${link##*/}"
    else
      link=${link%/device}
      echo "${link##*/}"
    fi
  done
}

_kxtool() {
  # The tool splits at blanks only; bash would also split PCI addresses at their colons.
  local line=${COMP_LINE:0:COMP_POINT} words word candidates
  read -ra words <<<"$line"
  [[ $line == *' ' ]] && words+=('')
  word=${words[-1]}
  local command=${words[1]} position=$((${#words[@]} - 1))
  COMPREPLY=()

  case $position in
    1) candidates=$_kxtool_commands ;;
    2)
      if _kxtool_command_words "$command" >/dev/null; then
        candidates="$(_kxtool_devices) --help"
        [ "$command" = bind ] && candidates+=" $(_kxtool_devices addresses)"
      fi
      ;;
    *)
      if [ "$command" = bind ]; then
        case $position in
          3) candidates=$_kxtool_modules ;;
          4) candidates=$(_kxtool_module_commands "${words[3]}") ;;
        esac
      else
        candidates=$(_kxtool_command_words "$command")
      fi
      ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$candidates" -- "$word")
  # bash replaces only what follows the last colon.
  if [[ $word == *:* && $COMP_WORDBREAKS == *:* ]]; then
    COMPREPLY=("${COMPREPLY[@]#"${word%"${word##*:}"}"}")
  fi
}

# File names where nothing else is known: packages, images, log folders.
complete -o default -F _kxtool kxtool
