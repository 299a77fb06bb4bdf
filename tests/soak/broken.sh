# Updates that are broken off at random moments; the one after each is whole.
set -uo pipefail
. tests/soak/common.sh
RANDOM=$SEED

signals=(KILL TERM HUP BUS)

now_ms() { echo $((${EPOCHREALTIME/[.,]/} / 1000)); }

# Sets `found` to the tool's processes below a process, parents first. Nothing is started for it: an update that would be
# over meanwhile is not met.
tools_below() {
  local pid children
  read -r -a children <"/proc/$1/task/$1/children" || true
  for pid in "${children[@]}"; do
    [ "/proc/$pid/exe" -ef "$KXTOOL" ] && found+=("$pid")
    tools_below "$pid"
  done
} 2>/dev/null

fail() {
  echo "soak: $*" >&2
  exit 1
}

# How long an update takes here and now: the moments lie in that time.
declare -A length=() hit=()
for way in name address; do
  begin=$(now_ms)
  answer=$(update $way 2>&1) || fail "an update by $way that nobody breaks off: $answer"
  length[$way]=$(($(now_ms) - begin))
done

met=0
for ((moment = 1; met < MOMENTS; ++moment)); do
  [ $moment -le $((4 * MOMENTS)) ] || fail "of $((moment - 1)) signals only $met met an update"
  package=$FOLDER/$((moment % 2)) # the flash holds the other one
  signal=${signals[RANDOM % 4]}
  way=$([ $((RANDOM % 2)) = 0 ] && echo name || echo address)
  delay=$((RANDOM % length[$way]))
  whom=$((RANDOM % 2))
  update "$way" >"$FOLDER/first" 2>&1 &
  sleep "$((delay / 1000)).$(printf '%03d' $((delay % 1000)))"
  found=()
  tools_below $!
  if [ ${#found[@]} -gt 0 ] && kill -"$signal" "${found[whom < ${#found[@]} ? whom : 0]}" 2>/dev/null; then
    met=$((met + 1))
    hit["SIG$signal by $way"]=$((${hit["SIG$signal by $way"]:-0} + 1))
  fi
  wait $! 2>/dev/null
  if ! answer=$(update "$way" 2>&1) || ! grep -q "write success" <<<"$answer" || ! flash_is_whole; then
    fail "moment $moment: SIG$signal after $delay ms of an update by $way, then: $answer"
  fi
done
printf 'soak: the updates after %s broken ones were whole:' "$met"
for what in "${!hit[@]}"; do printf ' %s %s,' "${hit[$what]}" "$what"; done
printf ' an update took %s ms by name, %s by address\n' "${length[name]}" "${length[address]}"
locks_are_free
