# What a driver that claims BAR 0 leaves to the tool, and one that comes while the tool is at work.

REASON="claimed by driver corvane10e"

case_claimed_bar_is_refused_with_the_reason() {
  driver claiming
  ran 255 kxtool bind $PF0 kxvqm glb version
  has "mmap failed!" "Invalid argument" "$REASON" "iomem=relaxed"
  ran refused kxtool fwupdate eth0 /tests/one.pkg
  has "$REASON"
  not_logged "event=27"
}

# What the driver answers needs no BAR.
case_claimed_bar_and_what_the_driver_answers() {
  driver claiming
  ran 0 kxtool sn_info eth0 sn_info
  same "$(cat /tmp/case/out)" sn=KX2601A00042
  has "$REASON" "compatibility record is not checked"
  ran 0 kxtool mac_info eth0 mac_info
  has "mac_addr[0]=02:1c:f2:00:00:01"
  ran 0 kxtool temp_info eth1 chip_temp
  ran 0 kxtool link eth0 -m
  has "CORVANE OPTICS"
}

case_driver_comes_while_the_shell_has_the_bar() {
  driver none
  session
  type_line 0 "su opsu" "kxpcie bar_read 0 0x5400"
  shown "BAR 0 0x00005400: 0x00000001"
  driver claiming
  type_line "kxpcie cfg_read 0 4"
  shown "0x80371cf2"
  # Where the mailbox was is nothing any more: the command fails, and the shell goes on.
  type_line "kxvqm barchan send_ovs_msg 39 1" "kxpcie cfg_read 0 4"
  session_end 255
  has "BAR 0 was taken away"
  has "kxvqm barchan send_ovs_msg 39 1: Command exec failed!"
}

case_driver_comes_during_an_update() {
  driver none
  card erase_ms 20000
  session
  type_line 0 "su opsu" "kxtool fwupdate $PF0 /tests/one.pkg"
  shown erasing
  driver claiming
  shown "BAR 0 was taken away"
  type_line "kxpcie cfg_read 0 4"
  shown "0x80371cf2"
  session_end 7
  has "repeat the update"
}

# A registration that outlasts its tool for a moment does not refuse the next one.
case_registration_that_lingers() {
  echo 300 >/sys/module/corvane10e/parameters/linger_ms
  for i in 1 2 3; do ran 0 kxtool sn_info eth0 sn_info; done
}

# Tools that wait for each other, with a driver that ends registrations by the socket, and by the process.
case_registrations_of_waiting_tools() {
  for by_socket in 1 0; do
    echo $by_socket >/sys/module/corvane10e/parameters/ends_with_socket
    for i in $(seq 6); do
      kxtool sn_info eth0 sn_info >/tmp/case/first 2>&1 &
      first=$!
      ran 0 kxtool sn_info eth0 sn_info
      wait $first || fail "the first of two: $(cat /tmp/case/first)"
    done
  done
}

case_interface_of_another_network_namespace() {
  ran refused unshare -n kxtool sn_info eth0 sn_info
  lacks sn=
  ran refused unshare -n -m sh -c 'mount -t sysfs sysfs /sys; kxtool sn_info eth0 sn_info'
  has "fopen /sys/class/net/eth0/device/uevent failed"
}
