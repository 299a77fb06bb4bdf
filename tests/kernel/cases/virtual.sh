# The virtual card of this project on this kernel and processor: its filter of system calls in every room and trap.

case_virtual_card() {
  for trap in notify ptrace; do
    for room in mount user paths; do
      ran 0 kxvcard --room $room --trap $trap -- kxtool sn_info eth0 sn_info
      has_line sn=KX2601A00042
    done
  done
  ran 0 kxvcard -- sh -c 'cat /sys/bus/pci/devices/0000:3b:00.0/vendor; kxtool bind 0000:3b:00.0 kxvqm glb version'
  has_line 0x1cf2
}
