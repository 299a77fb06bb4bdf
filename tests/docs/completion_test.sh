# What the bash completion offers on a card with the interfaces and functions of the default virtual card.
source "$1" || exit 1
failed=0

# offers LINE WORD...: exactly these words complete the line.
offers() {
  COMP_LINE=$1 COMP_POINT=${#1}
  shift
  _kxtool
  if [ "${COMPREPLY[*]}" != "$*" ]; then
    echo "'$COMP_LINE' offers '${COMPREPLY[*]}', not '$*'"
    failed=1
  fi
}

offers 'kxtool --' --help --version
offers 'kxtool sn_info et' eth0 eth1 eth2
offers 'kxtool  sn_info  eth0 ' sn_info
offers 'kxtool -v '
offers 'kxtool repair e'
offers 'kxtool set_vf_status eth0 --mode all_vf --s' --status
offers 'kxtool fwupdate eth0 pa' part
offers 'kxtool bind 0000:3b:00.' 00.0 00.1
offers 'kxtool bind 0000:3b:00.0 kxt' kxtrace_app
offers 'kxtool bind eth0 kxpcie ms' msix_dump msi_dump
offers 'kxtool bind eth0 kxrdma '
offers 'kxtool set_vf_status eth0 --mode ' all_vf vf2_max
offers 'kxtool set_vf_status eth0 --mode all_vf --status ' auto enable disable
offers 'kxtool set_vf_status eth0 --mode all_vf ' --mode --status
offers 'kxtool help sn_info '
offers 'kxtool sn_info e'  eth0 eth1 eth2 # and not eno1
offers 'kxtool bind 0' 0000:3b:00.0 0000:3b:00.1 0000:3b:01.0
offers 'kxvcard --' --card --log --state --help --version --
offers 'kxvcard --card '
offers 'kxvcard --card x -- ls '
offers 'kxvcard -- build/kxtool sn' sn_info
offers 'kxtool sn_info e th0 $(x) `y` *'

exit $failed
