#!/usr/bin/env bash
# A short tour of the tool on the virtual card: card information, then a firmware update by interface name and, in the
# shell, by PCI address. Each step is shown before its output; the first one that fails ends the tour.
# usage: tour.sh [build folder]
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:-build}

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

step() { printf '\n$ %s\n' "$*"; }

# Runs the tool with words on a card whose flash lies in the folder $1.
tool() {
  local state=$1
  shift
  step kxtool "$@"
  "$build/kxvcard" --state "$state" -- "$build/kxtool" "$@"
}

# The card runs from partition 1, so that a package of one partition lands in partition 2.
flash_holds_images() {
  local flash=$1/flash partition_2=$((0x3300000))
  step cmp the flash with both images
  cmp -n 30000 -i 0:$((partition_2 + 0x1000)) "$folder/control.bin" "$flash"
  cmp -n 5001 -i 0:$((partition_2 + 0x9000)) "$folder/agent.bin" "$flash"
  echo "the flash holds both images of the package"
}

head -c 30000 /dev/urandom >"$folder/control.bin"
head -c 5001 /dev/urandom >"$folder/agent.bin"
cat >"$folder/package.json" <<JSON
{
  "identification": "TARN-FW-BOARDTYPE-2.0.0",
  "kind": 1,
  "images": [
    {"file": "control.bin", "offset": "0x41000", "type": 2},
    {"file": "agent.bin", "offset": "0x49000", "type": 3}
  ]
}
JSON
mkdir "$folder/by_name" "$folder/by_address"

tool "$folder/by_name" sn_info eth0 sn_info
tool "$folder/by_name" mac_info eth0 mac_info
tool "$folder/by_name" temp_info eth0 chip_temp

step kxpkg build package.json "$folder/update.pkg"
"$build/kxpkg" build "$folder/package.json" "$folder/update.pkg"
step kxpkg info "$folder/update.pkg"
"$build/kxpkg" info "$folder/update.pkg"

tool "$folder/by_name" fwupdate eth0 version
tool "$folder/by_name" fwupdate eth0 "$folder/update.pkg"
flash_holds_images "$folder/by_name"
step tail -n 3 /var/log/kxtool/kxtool_fw_upd.log
tail -n 3 "$folder/by_name/log/kxtool/kxtool_fw_upd.log"

step "printf '0\\nsu opsu\\nkxtool fwupdate 0000:3b:00.0 $folder/update.pkg\\nquit\\n' | kxtool"
printf '0\nsu opsu\nkxtool fwupdate 0000:3b:00.0 %s\nquit\n' "$folder/update.pkg" |
  "$build/kxvcard" --state "$folder/by_address" -- "$build/kxtool"
flash_holds_images "$folder/by_address"
