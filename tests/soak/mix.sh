# Eight loops of words on one card, every answer known beforehand.
set -uo pipefail
. tests/soak/common.sh

ask=(
  "sn_info eth0 sn_info"
  "sn_info eth1 sn_info"
  "mac_info eth0 mac_info"
  "mac_info eth1 mac_info"
  "temp_info eth0 chip_temp"
  "fwupdate eth0 version"
  "fwupdate eth1 part"
  "diag eth0 pcie"
)
shared=0x6208000040 # one nibble of it a loop

expected=()
for i in "${!ask[@]}"; do
  # shellcheck disable=SC2086
  expected[i]=$(timeout $LIMIT "$KXTOOL" ${ask[i]} 2>&1) || { echo "soak: ${ask[i]} fails on a free card: ${expected[i]}" >&2; exit 1; }
done

fail() {
  echo "soak: loop $loop: $*" >&2
  touch "$FOLDER/failed"
  exit 1
}

ask_one() {
  local i=$((RANDOM % ${#ask[@]})) answer
  # shellcheck disable=SC2086
  answer=$(timeout $LIMIT "$KXTOOL" ${ask[i]} 2>/dev/null) || fail "${ask[i]}: status $?, $answer"
  [ "$answer" = "${expected[i]}" ] || fail "${ask[i]}: $answer"
}

# A word of the loop's own and its nibble of the shared one must be as it wrote them.
write_one() {
  local value nibble answer address
  value=$(printf '0x%08x' $((RANDOM << 16 | RANDOM)))
  nibble=$((RANDOM % 16))
  address=$(printf '0x%x' $((0x6208000080 + 4 * loop)))
  answer=$(shell "kxpcie devmem_write $address $value" "kxpcie devmem $address" \
    "kxpcie devmem_write $shared $((nibble << 4 * loop)) $((15 << 4 * loop))" "kxpcie devmem $shared" 2>&1)
  grep -q "^$(printf '0x%010x' "$address"): $value$" <<<"$answer" || fail "own word $value: $answer"
  local word
  word=$(grep "^$(printf '0x%010x' "$shared"): 0x[0-9a-f]*$" <<<"$answer" | tail -n 1 | cut -d' ' -f2)
  [ $((word >> 4 * loop & 15)) = "$nibble" ] || fail "nibble $nibble of the shared word: $answer"
}

# Rows of the network processor, by its windows: one that stands there, and one of the loop's own that it writes.
row_one() {
  local row=$((RANDOM % 16)) own answer words
  own=$(printf '0x%x' $((0x100 + loop)))
  words="0x0000$(printf '%04x' $RANDOM) 0x$(printf '%08x' $RANDOM) 0x0000000$loop 0x$(printf '%04x' $RANDOM)0000"
  answer=$(shell "kxnp diag_dpp_se_smmu0_rd128 0 $row" "kxnp diag_dpp_se_smmu0_wr128 0 $own $words" \
    "kxnp diag_dpp_se_smmu0_rd128 0 $own" 2>&1)
  grep -q "\[$(printf '0x%06x' $row)\]: 0x00000000 0x00000000 0x00000000 $(printf '0x%08x' $((0x1111 * (row + 1))))" <<<"$answer" ||
    fail "row $row: $answer"
  grep -q "\[$(printf '0x%06x' "$own")\]: $words" <<<"$answer" || fail "own row $words: $answer"
}

update_one() {
  local way=$1 answer
  answer=$(update "$way" 2>&1) || fail "update by $way: status $?, $answer"
  grep -q "write success" <<<"$answer" || fail "update by $way: $answer"
}

loop_run() {
  loop=$1
  RANDOM=$((SEED + loop))
  count=0
  while [ ! -e "$FOLDER/failed" ] && [ "$SECONDS" -lt "$SOAK_SECONDS" ]; do
    case $((RANDOM % 16)) in
      0) update_one name ;;
      1) update_one address ;;
      2 | 3 | 4 | 5) write_one ;;
      6 | 7 | 8) row_one ;;
      *) ask_one ;;
    esac
    count=$((count + 1))
  done
  echo "soak: loop $loop ran $count commands"
}

loops=()
for loop in {0..7}; do
  loop_run "$loop" &
  loops+=($!)
done
status=0
for pid in "${loops[@]}"; do
  wait "$pid" || status=1
done
[ "$status" = 0 ] && locks_are_free
