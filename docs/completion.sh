# What may follow on a command line of kxtool or kxvcard: plain functions for any shell of this family, filled in from the
# command tables of this build.

@TABLES@

# True for the identity of a card's function. $1 vendor, $2 device, as the kernel prints them.
_kxtool_is_card() {
  _kxtool_is_supported "$1" "$2" && ! _kxtool_is_switch "$1" "$2"
}

# The network interfaces of the cards; with "addresses" the PCI addresses of their functions.
_kxtool_devices() {
  local path vendor device
  if [ "$1" = addresses ]; then
    set -- /sys/bus/pci/devices/*
  else
    set -- /sys/class/net/*/device
  fi
  for path in "$@"; do
    [ -r "$path/vendor" ] && [ -r "$path/device" ] || continue
    read -r vendor < "$path/vendor" && read -r device < "$path/device" || continue
    _kxtool_is_card "$vendor" "$device" || continue
    path=${path%/device}
    printf '%s\n' "${path##*/}"
  done
}

# The values of the last word before the cursor, when it is an option that has some; false otherwise.
_kxtool_values() {
  local last
  for last in "$@"; do :; done
  _kxtool_option_values "$1" "$last"
}

# bind DEVICE MODULE COMMAND...: every level of the command tree.
_kxtool_bind_candidates() {
  case $# in
    1)
      _kxtool_devices
      _kxtool_devices addresses
      echo --help
      ;;
    2) _kxtool_children '' ;;
    *)
      shift 2
      _kxtool_children "$*"
      ;;
  esac
}

# OPTION... -- COMMAND...: the words of a command that is the tool.
_kxtool_command_candidates() {
  while [ "$1" != -- ]; do
    shift
  done
  shift
  case ${1-} in
    kxtool | */kxtool)
      shift
      _kxtool_candidates kxtool "$@"
      ;;
  esac
}

# The words that may follow those given, the program's own first; one or more a line. Nothing where file names or the
# user's own words are to follow.
_kxtool_candidates() {
  local program=$1
  shift
  if [ "$program" = kxvcard ]; then
    case " $* " in
      *' -- '*) _kxtool_command_candidates "$@" ;;
      *' --card ' | *' --log ' | *' --state ') ;;
      *) echo '--card --log --state --help --version --' ;;
    esac
    return 0
  fi
  case $#:${1-} in
    0:) echo "$_kxtool_commands help" ;;
    1:help) echo "$_kxtool_commands" ;;
    *:help) ;;
    *:bind) _kxtool_bind_candidates "$@" ;;
    1:*)
      if _kxtool_command_words "$1" > /dev/null; then
        _kxtool_devices
        echo --help
      fi
      ;;
    *) _kxtool_values "$@" || _kxtool_command_words "$1" ;;
  esac
  return 0
}
