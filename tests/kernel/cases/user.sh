# An ordinary user, to whom the kernel gives the first 64 bytes of configuration space and no BAR.

case_user_is_told_why_no_bar_is_mapped() {
  ran refused as_user kxtool bind $PF0 kxvqm glb version
  has "open file $SYS/$PF0/resource0 failed!" "run as root"
}

# The kernel's tree of devices tells everybody what a function is.
case_user_sees_interfaces() {
  ran 0 as_user kxtool dump_eth_info
  has $PF0 $PF1
  lacks virtual
}

case_user_cannot_take_the_lock_away() {
  card silent_event 39
  card driver_wait_ms 3000
  kxtool sn_info eth0 sn_info >/dev/null 2>&1 &
  until_true test -e /tmp/kxtool/kxts_lock_eth0
  ran refused as_user rm -f /tmp/kxtool/kxts_lock_eth0
  wait
}
