# Card memory through the VPD capability, beside the kernel's own use of it.

case_tunnel_reads_and_writes() {
  card trace_tunnel 1
  shell 0 0 "su opsu" "kxpcie devmem_write 0x6310000010 0xa5a55a5a" "kxpcie devmem 0x6310000010" quit
  has "0x6310000010: 0xa5a55a5a"
  logged "command=0x9063 data=0x10000010" "command=0xb000 data=0xa5a55a5a" "command=0x2000"
}

# The kernel's file goes through the same capability.
case_product_data() {
  shell 0 0 "kxpcie vpd_dump" quit
  has "KX2601A00042" "XXX BOARDTYPE"
}

# Another program reads the kernel's file at the same time: a word is right or refused, never wrong.
case_tunnel_beside_a_reader_of_product_data() {
  words=12
  printf '0\nsu opsu\n' >/tmp/case/lines
  for i in $(seq $words); do
    card word $((0x6310001000 + 4 * i)) $((0x5a000000 + i))
    printf 'kxpcie devmem 0x%x\n' $((0x6310001000 + 4 * i)) >>/tmp/case/lines
  done
  while usleep 3000; do cat $SYS/$PF0/vpd; done >/dev/null 2>&1 &
  reader=$!
  timeout 40 kxtool </tmp/case/lines >/tmp/case/all 2>&1
  kill $reader
  echo "kxpcie devmem beside cat vpd" >/tmp/case/ran
  right=0
  for i in $(seq $words); do
    place=$(printf '0x%x' $((0x6310001000 + 4 * i)))
    word=$(sed -n "s/^$place: \(0x[0-9a-f]*\)$/\1/p" /tmp/case/all)
    [ -z "$word" ] || [ $((word)) = $((0x5a000000 + i)) ] || fail "$place reads $word"
    [ -z "$word" ] || right=$((right + 1))
  done
  [ $right -ge $((words / 2)) ] || fail "only $right of $words words were read"
}

case_dead_card() {
  card dead 1
  ran 1 kxtool sn_info eth0 sn_info
  has "Device $PF0 does not answer!"
  lacks sn=
}

# Windows into the network processor's tables end.
case_tables_through_windows() {
  shell 0 0 "su opsu" "kxnp diag_dpp_se_smmu0_wr128 0 5 1 2 3 4" "kxnp diag_dpp_se_smmu0_rd128 0 5" quit
}

# Entries that go to the card and come back by DMA, with a bus address from the page map.
case_tables_through_a_queue() {
  shell 0 0 "su opsu" "kxnp host_dtb_huge_mem_init 0" "kxnp diag_dpp_dtb_smmu0_write_128 0 0 5 1 2 3 4" \
    "kxnp diag_dpp_dtb_smmu0_read_128 0 0 5" "kxnp dpp_dtb_table_flush 0 0 0 5 1" \
    "kxnp diag_dpp_dtb_smmu0_read_128 0 0 5" quit
  has "down init success!!!"
  has_line "smmu0-0x00005: 0x00000001 0x00000002 0x00000003 0x00000004" "smmu0: entries 0x5 to 0x5 are cleared" \
    "smmu0-0x00005: 0x00000000 0x00000000 0x00000000 0x00000000"
  logged "table_block queue=0 bytes=32 dump=0 status=0xff" "table_block queue=0 bytes=16 dump=1 status=0xff"
}

case_slow_registers_to_a_file() {
  shell 0 0 "su opsu" "kxtool regsdump eth0 all --file /tmp/case/regs" quit
  has "values written to /tmp/case/regs"
  grep -q "^np 0x6218000004 0x00000fff" /tmp/case/regs || fail "no register of the network processor"
  grep -q "^# end: " /tmp/case/regs || fail "no end"
}
