# Runs the recipes of the page $1, command by command, in the order of the page. The programs of the build folder $2 are
# found by name; the virtual card is around all of it. Every command must end with 0 and must not be silent on standard
# output unless it sends that somewhere.
set -u
page=$1
PATH=$2:$PATH
folder=$(mktemp -d) && cd "$folder" || exit 1
trap 'rm -rf "$folder"' EXIT

head -c 30000 /dev/urandom >control.bin
cat >package.json <<'JSON'
{"identification": "TARN-FW-BOARDTYPE-2.0.0", "kind": 1,
 "images": [{"file": "control.bin", "offset": "0x41000", "type": 2}]}
JSON
kxpkg build package.json package.bin >/dev/null || exit 1

run=0
failed=0
while IFS= read -r -u 9 line; do
  command=${line#\# }
  while [[ $command == *'|' ]] && IFS= read -r -u 9 line; do
    command+=$line
  done
  command=${command//'\e'/'\'}
  command=${command//'\-'/-}
  run=$((run + 1))
  output=$(bash -c "$command" 2>&1)
  status=$?
  if [ $status -ne 0 ] || grep -q 'kxtools_err\|No such command\|Command exec failed' <<<"$output"; then
    printf "'%s' ends with %d:\n%s\n" "$command" $status "$output"
    failed=1
  fi
done 9< <(grep '^# \|^    ' "$page")

[ "$(tar -tzf case.tar.gz | wc -l)" -ge 10 ] || { echo "the case is not complete"; failed=1; }
echo "$run commands were run"
[ $run -gt 30 ] || failed=1
exit $failed
