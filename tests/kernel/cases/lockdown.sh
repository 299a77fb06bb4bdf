# A locked-down kernel. There is no way back: these come last.

case_lockdown() {
  echo integrity >/sys/kernel/security/lockdown
  ran 255 kxtool bind $PF0 kxvqm glb version
  has "mmap failed!" "locked down"
  ran 0 kxtool sn_info eth0 sn_info
  has_line sn=KX2601A00042
  shell refused 0 quit
  has $PF0 "locked down"
}
