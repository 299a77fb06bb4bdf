# Updates that are broken off at random moments; the one after each is whole.
set -uo pipefail
. tests/soak/common.sh
RANDOM=$SEED

signals=(KILL TERM HUP BUS)

# The tool's processes below a process, parents first.
tools_below() {
  local pid
  for pid in $(pgrep -P "$1"); do
    [ "$(readlink "/proc/$pid/exe")" = "$KXTOOL" ] && echo "$pid"
    tools_below "$pid"
  done
}

declare -A hit=()
for ((moment = 1; moment <= MOMENTS; ++moment)); do
  package=$FOLDER/$((moment % 2)) # the flash holds the other one
  signal=${signals[RANDOM % 4]}
  way=$([ $((RANDOM % 2)) = 0 ] && echo name || echo address)
  delay=$((RANDOM % 1800))
  whom=$((RANDOM % 2))
  update "$way" >"$FOLDER/first" 2>&1 &
  sleep "$((delay / 1000)).$(printf '%03d' $((delay % 1000)))"
  mapfile -t found < <(tools_below $!)
  [ ${#found[@]} -gt 0 ] && kill -"$signal" "${found[whom < ${#found[@]} ? whom : 0]}" 2>/dev/null &&
    hit["SIG$signal by $way"]=$((${hit["SIG$signal by $way"]:-0} + 1))
  wait $! 2>/dev/null
  if ! answer=$(update "$way" 2>&1) || ! grep -q "write success" <<<"$answer" || ! flash_is_whole; then
    echo "soak: moment $moment: SIG$signal after $delay ms of an update by $way, then: $answer" >&2
    exit 1
  fi
done
[ ${#hit[@]} -gt 0 ] || { echo "soak: every update was over before its signal" >&2; exit 1; }
echo "soak: $MOMENTS updates, of which signals met a tool in these numbers, were repeated whole:" \
  "$(for what in "${!hit[@]}"; do printf '%s %s, ' "$what" "${hit[$what]}"; done | sed 's/, $//')"
locks_are_free
