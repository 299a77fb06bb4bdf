# What both parts of the soak use, under the virtual card.

package=$FOLDER/0
by_address=0000:3b:00.0
partition_2=$((0x3300000))

# An update that takes longer has stalled: its own card answers within a second.
LIMIT=100

# Runs lines in a super user's shell on the card.
shell() {
  printf '%s\n' 0 'su opsu' "$@" quit | timeout $LIMIT "$KXTOOL"
}

# The words of an update by interface name or by address, which only a super user's shell takes.
update() {
  case $1 in
    name) timeout $LIMIT "$KXTOOL" fwupdate eth0 "$package/update.pkg" ;;
    address) shell "kxtool fwupdate $by_address $package/update.pkg" ;;
  esac
}

flash_is_whole() {
  cmp -n 30000 -i 0:$((partition_2 + 0x1000)) "$package/control.bin" "$FOLDER/flash" &&
    cmp -n 5001 -i 0:$((partition_2 + 0x9000)) "$package/agent.bin" "$FOLDER/flash"
}

# No process holds a lock of the tool any more.
locks_are_free() {
  local file left=0
  for file in /tmp/kxtool/* /tmp/kx_pcie/*; do
    [ -e "$file" ] || continue
    if grep -q ":$(stat -c %i "$file") " /proc/locks || ! flock -n "$file" true; then
      echo "soak: $file is still locked" >&2
      left=1
    fi
  done
  return $left
}
