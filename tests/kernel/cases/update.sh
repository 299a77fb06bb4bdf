# Firmware updates, by the driver and by the mailbox. What a package refuses or an interrupt does is the same on the virtual
# card and seen there.

sum_of() { od -An -v -tu1 "$1" | awk '{ for (i = 1; i <= NF; i++) s += $i } END { print s }'; }
# The flash holds both images where the package puts them, for a card that runs from partition 1.
flash_holds_package() {
  card flash_sum 0x3301000 5000
  card flash_sum 0x3303000 2029
  logged "flash_sum offset=0x3301000 length=5000 sum=$(sum_of /tests/a.bin)"
  logged "flash_sum offset=0x3303000 length=2029 sum=$(sum_of /tests/b.bin)"
}

case_update_by_name() {
  ran 0 kxtool fwupdate eth0 /tests/one.pkg
  has "****kx firmware has write success, please reset(use BMC) to active!****"
  logged "update_end file_size="
  flash_holds_package
  same "$(grep -c upd_err /var/log/kxtool/kxtool_fw_upd.log)" 0
}

case_update_by_address() {
  shell 0 0 "su opsu" "kxtool fwupdate $PF0 /tests/one.pkg" quit
  has "****kx firmware has write success"
  logged "mailbox event=27"
  not_logged "ioctl"
  flash_holds_package
}

case_update_queries() {
  ran 0 kxtool fwupdate eth0 version
  has "running version: TARN-FW-BOARDTYPE-1.0.0"
  ran 0 kxtool fwupdate eth1 part
  has "active partition: 1"
}

# Nobody is there to be told, so the log is; a child that went on would write into the next tool's update.
case_update_whose_tool_is_killed() {
  card erase_ms 30000
  kxtool fwupdate eth0 /tests/one.pkg >/tmp/case/all 2>&1 &
  tool=$!
  until_true grep -q erasing /tmp/case/all
  child=$(child_of $tool)
  kill -KILL $tool
  until_true gone "$child"
  grep -q "interrupted: partition 2 is incomplete" /var/log/kxtool/kxtool_fw_upd.log || fail "the log does not tell of it"
  card reset
  ran 0 kxtool fwupdate eth0 /tests/one.pkg
  flash_holds_package
}

case_update_refused_by_the_card() {
  card authorises 0
  ran 5 kxtool fwupdate eth0 /tests/one.pkg
}

# The card tries an erase again, and reads back a wrong sum once.
case_update_survives_a_weak_flash() {
  card erase_fails 2
  card sum_wrong 1
  ran 0 kxtool fwupdate eth1 /tests/one.pkg
  flash_holds_package
}
