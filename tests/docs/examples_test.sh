# Runs the examples of the modules' commands in the pages $2..., with the programs of the build folder $1; the virtual card
# is around all of it. No name and no word of them may be refused.
set -u
PATH=$1:$PATH
shift
page_text() {
  sed 's/\\-/-/g; s/\\://g' "$@"
}
failed=0
check() {
  if [ "$2" -ne 0 ] || grep -qi 'kxtools_err\|No such command\|Command exec failed\|invalid\|illegal\|kxtool: ' <<<"$3"; then
    printf "'%s' ends with %d:\n%s\n" "$1" "$2" "$3"
    failed=1
  fi
}
run=0
while IFS= read -r -u 9 line; do
  run=$((run + 1))
  output=$($line 2>&1)
  check "$line" $? "$output"
done 9< <(page_text "$@" | grep '^kxtool bind [^<]*$')

# Those of the super user, one after the other in one shell.
lines=$(page_text "$@" | sed -n '/^In the shell, after su:$/,/^\.fi$/s/^kx/kx/p')
output=$(printf '0\nsu opsu\n%s\nquit\n' "$lines" | kxtool 2>&1)
check "$lines" $? "$output"
run=$((run + $(wc -l <<<"$lines")))
echo "$run examples were run"
[ $run -gt 50 ] || failed=1
exit $failed
