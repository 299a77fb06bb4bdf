# Installs the build $1 under a folder of its own and takes everything back. What is not built is named, nothing is left.
build=$1
folder=$(mktemp -d)
# The list of what a developer has installed from this build stays his.
manifest=$build/install_manifest.txt
[ -e "$manifest" ] && cp "$manifest" "$folder.manifest"
clean() {
  [ -e "$folder.manifest" ] && mv "$folder.manifest" "$manifest"
  rm -rf "$folder" "$folder.log"
}
trap clean EXIT
fail() { echo "$1"; exit 1; }

DESTDIR=$folder cmake --install "$build" >"$folder.log" 2>&1 || fail "installing fails: $(cat "$folder.log")"
for file in sbin/kxtool sbin/kxreport sbin/dpp_shell bin/kxvcard bin/kxpkg share/man/man1/kxtool.1 share/man/man7/kxtool-cookbook.7 \
  share/man/man7/dpp-commands.7 share/bash-completion/completions/kxtool share/zsh/site-functions/_kxtool; do
  [ -n "$(find "$folder" -path "*/$file")" ] || fail "$file is not installed"
done
DESTDIR=$folder cmake -D MANIFEST="$manifest" -P "$(dirname "$0")/../../cmake/uninstall.cmake" \
  >/dev/null 2>&1 || fail "taking back fails"
left=$(find "$folder" -type f -o -type l)
[ -z "$left" ] || fail "left behind: $left"
cmake -D MANIFEST="$manifest" -P "$(dirname "$0")/../../cmake/uninstall.cmake" 2>&1 |
  grep -q 'nothing of this build is installed' || fail "does not say that nothing is installed"
