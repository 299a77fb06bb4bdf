# Binding a function, and one command of a module on it.

case_bind_by_index() {
  card trace_tunnel 1
  shell 0 1 "kxvqm glb version" quit
  has "version id"
  logged "tunnel function=3b:00.1"
}

case_bind_by_address_and_by_name() {
  card word 0x6208000000 0x20250129
  ran 0 kxtool bind $PF0 kxvqm glb version
  has "0x20250129"
  ran 0 kxtool bind eth1 kxvqm glb version
  has "0x20250129"
}

# Another interface's firmware: what BAR 0 says is read through the kernel's mapping.
case_bind_reads_bar0() {
  shell 0 0 "su opsu" "kxpcie bar_write 0 0x20000 0x1234" "kxpcie bar_read 0 0x20000" quit
  has "BAR 0 0x00020000: 0x00001234"
}

# A healthy virtual function, whose identity reads all ones.
case_bind_of_a_virtual_function() {
  echo 1 >$SYS/$PF0/sriov_numvfs
  ran 0 kxtool bind $VF0 kxpcie cap_list
  lacks "does not answer" "all ones"
  ran 0 kxtool bind $VF0 kxvqm glb version
  has "version id"
}

case_function_removed_while_bound() {
  session
  type_line 0 "su opsu" "kxpcie cfg_read 0 4"
  shown "0x80371cf2"
  echo 1 >$SYS/$PF0/remove
  type_line "kxpcie bar_read 0 0x5400" "kxpcie devmem 0x6310000010" "kxpcie cfg_read 0 4" sbdf 0 help
  shown "kxtrace_app"
  session_end refused
  lacks "0xffffffff"
}

# An error line is the whole answer: no value of all ones behind it.
case_values_of_a_dead_card() {
  session
  type_line 0 "su opsu" "kxpcie cfg_read 0 4"
  shown "0x80371cf2"
  card dead 1
  type_line "kxpcie devmem 0x6310000010" "kxpcie cfg_read 0 4" "kxpcie dbi_read 0 0" help
  shown "kxtrace_app"
  session_end refused
  lacks ": 0xffffffff"
}
