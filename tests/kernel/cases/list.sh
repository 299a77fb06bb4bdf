# The device list of the shell and what it leaves out.

case_list() {
  shell 0 q
  has "[0] $PF0  1cf2:8037  class 020000  vf 8040" "[1] $PF1  1cf2:8037" "switch 0000:3a:00.0  1cf2:8036"
  lacks $FOREIGN "no kx device found"
}

# Virtual functions that the driver turned on have no SR-IOV capability and are not offered.
case_list_with_virtual_functions() {
  echo 3 >$SYS/$PF0/sriov_numvfs
  [ -e $SYS/0000:3b:01.2 ] && [ ! -e $SYS/0000:3b:01.3 ] || fail "not three virtual functions"
  same "$(hexdump -n 4 -e '4/1 "%02x"' $SYS/$VF0/config)" ffffffff
  shell 0 q
  has "[1] $PF1" "vf 8040"
  lacks $VF0 "[2]"
}

# A function that was taken off the bus and found again.
case_list_after_removal_and_rescan() {
  echo 1 >$SYS/$PF0/remove
  shell 0 q
  has "[0] $PF1"
  lacks $PF0
  echo 1 >/sys/bus/pci/rescan
  shell 0 q
  has "[0] $PF0" "[1] $PF1"
}

case_interfaces_by_kind() {
  echo 1 >$SYS/$PF1/sriov_numvfs
  ran 0 kxtool dump_eth_info
  grep -q "$PF0.*physical" /tmp/case/all || fail "$PF0 is not physical"
  grep -q "0000:3b:02.0.*virtual" /tmp/case/all || fail "no virtual function"
}

# Hardware of others is neither mapped nor read to find out that it is theirs.
case_foreign_hardware_is_left_alone() {
  ran 255 kxtool bind $FOREIGN kxvqm glb version
  has "Bind to the pcie device $FOREIGN failed!" "Please bind kx device"
  shell 0 q
  has $PF0
  not_logged "bar_mapped function=$FOREIGN" foreign_config_read
}

# Addresses above ffff have no place in the tool's address; the others are listed all the same.
case_list_leaves_out_a_five_digit_segment() {
  shell 0 q
  has "10000:00:00.0 is left out: its segment is above ffff" "[0] $PF0"
  lacks "Bind failed"
  ran 0 kxtool dump_eth_info
  has "eth2 is left out: the segment of 10000:00:00.0 is above ffff" $PF0 $PF1
}
