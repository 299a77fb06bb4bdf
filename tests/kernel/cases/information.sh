# What the card says of itself, through the driver's ioctl.

case_serial_number() {
  ran 0 kxtool sn_info eth0 sn_info
  has_line sn=KX2601A00042
  logged "ioctl interface=eth0 type=6" "ioctl interface=eth0 type=0" "ioctl interface=eth0 type=1 event=39"
}

case_mac_addresses() {
  ran 0 kxtool mac_info eth0 mac_info
  has_line "mac_addr[0]=02:1c:f2:00:00:01" "mac_addr[2]=02:1c:f2:00:00:03"
}

case_vf_status() {
  ran 0 kxtool set_vf_status eth0 --mode vf2_max --status enable
  has "kxtool_vf_status_set_msg msg ioctl to kernel success."
}

# The driver answers an ordinary user with a refusal, and the tool says so.
case_information_needs_privilege() {
  ran refused as_user kxtool sn_info eth0 sn_info
  lacks sn=KX2601A00042
}

case_card_that_keeps_silent() {
  card silent_event 39
  card driver_wait_ms 300
  ran 1 kxtool sn_info eth0 sn_info
  has "time out"
}

# A tool that is ended while the driver waits for the card leaves nothing behind that keeps the next one out.
case_question_that_is_ended() {
  card silent_event 39
  card driver_wait_ms 1500
  kxtool sn_info eth0 sn_info >/tmp/case/all 2>&1 &
  tool=$!
  until_true eval 'card_log | grep -q event=39'
  kill -TERM $tool
  wait $tool
  same $? 143
  card reset
  ran 0 kxtool sn_info eth0 sn_info
}

case_module_of_a_port() {
  ran 0 kxtool link eth0 -m
  has "CORVANE OPTICS" "CVO2601A00017"
}

case_temperature() {
  card temperature 151
  ran 1 kxtool temp_info eth0 chip_temp
  has "err chip temperature: 151 (degree centigrade)!!"
  card temperature 150
  ran 0 kxtool temp_info eth1 chip_temp
  has_line "current chip temperature: 150 (degree centigrade) "
}
