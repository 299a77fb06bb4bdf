# Firmware updates, by the driver and by the mailbox. What the card or the user does to one that runs, and what is
# refused, is the same on the virtual card and seen there.

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
