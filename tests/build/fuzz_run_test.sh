#!/usr/bin/env bash
# fuzz/run with fuzzers that are played: what it makes of one that is fine, of one that finds a fault, and of a signal.
set -euo pipefail
run=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
fuzzers=$folder/build-asan/fuzz
mkdir -p "$folder"/{fuzz,bin} "$fuzzers"
cp "$run" "$folder/fuzz/run"
printf 'kx_fuzzer(%s)\n' fuzz_fine fuzz_fault fuzz_long >"$folder/fuzz/CMakeLists.txt"
printf '#!/bin/sh\n' >"$folder/bin/cmake"
printf '#!/bin/sh\necho "stat::number_of_executed_units: 7"\n' >"$fuzzers/fuzz_fine"
printf '#!/bin/sh\necho "stat::number_of_executed_units: 8"; echo overflow; exit 77\n' >"$fuzzers/fuzz_fault"

# As libFuzzer ends by a signal.
cat >"$fuzzers/fuzz_long" <<'TEXT'
#!/bin/bash
trap 'echo "stat::number_of_executed_units: 9"; exit 72' INT TERM
touch begun
while :; do sleep 0.05; done
TEXT
chmod +x "$folder"/bin/* "$fuzzers"/*
export PATH=$folder/bin:$PATH

fail() { echo "$1" >&2; cat "$folder/out" >&2; exit 1; }
expect() {  # status, what must be in the output, what must not
  [ "$status" = "$1" ] || fail "status $status, not $1"
  grep -q "$2" "$folder/out" || fail "no $2"
  ! grep -q "$3" "$folder/out" || fail "$3"
}

status=0; "$folder/fuzz/run" fine >"$folder/out" 2>&1 || status=$?
expect 0 'fuzz_fine  *7 inputs' 'FAULT'
status=0; "$folder/fuzz/run" fault fine >"$folder/out" 2>&1 || status=$?
expect 1 'fuzz_fault  *8 inputs .*FAULT' 'interrupted'
grep -q '^overflow$' "$folder/out" && grep -q 'fuzz_fine' "$folder/out" || fail "not all was told or run"

# To the script alone, as a supervisor does it, and to all of its process group, as a terminal does: no more is begun.
set -m
for signal in TERM INT; do
  rm -f "$folder/begun"
  status=0
  "$folder/fuzz/run" long fine >"$folder/out" 2>&1 &
  while [ ! -e "$folder/begun" ]; do sleep 0.05; done
  if [ $signal = TERM ]; then kill -TERM $!; else kill -INT -- -$!; fi
  wait $! || status=$?
  expect 130 'fuzz_long  *9 inputs .*interrupted' 'FAULT\|fuzz_fine'
done
echo passed
