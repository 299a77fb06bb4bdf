# Every page renders without a warning and with no line over 80 columns, splits no name, and has the sections that a
# reader looks for.
failed=0
fail() {
  printf '%s: %s\n' "${page##*/}" "$1"
  failed=1
}
for page; do
  warnings=$(MANWIDTH=80 man --warnings -l "$page" 2>&1 >/dev/null)
  [ -z "$warnings" ] || fail "warnings: $warnings"
  text=$(MANWIDTH=80 MAN_KEEP_FORMATTING= man -l "$page" 2>/dev/null | col -b)
  long=$(awk 'length($0) > 80' <<<"$text")
  [ -z "$long" ] || fail "over 80 columns: $long"
  split=$(grep -n '[a-z0-9_]-$' <<<"$text" | grep '_')
  [ -z "$split" ] || fail "splits a name: $split"
  for section in NAME DESCRIPTION 'EXIT STATUS' FILES 'SEE ALSO'; do
    grep -q "^$section\$" <<<"$text" || fail "has no section $section"
  done
  # Pages that are named are there.
  for other in $(sed -n '/^SEE ALSO/,$p' <<<"$text" | grep -o '[a-z_-]\+([17])'); do
    case $* in
      *"/${other%(*}.${other//[!0-9]/}"*) ;;
      *) fail "names $other, which is not there" ;;
    esac
  done
done
exit $failed
