#!/usr/bin/env bash
# Installs what the build needs and this machine lacks, through the system's package manager, without asking.
#   install-dependencies.sh [--tests] [--arm64] [PACKAGE...]
# --tests: what tests and benchmarks need too (man and zsh show the documents and the completion as users see them,
# ethtool is the peer of the start-up benchmark). --arm64: what builds for 64-bit ARM and runs the tests there, emulated,
# need besides (the preset arm64). With names: those packages too (".ci/run" adds clang and its tools, and prometheus,
# whose package starts a server).
set -euo pipefail

libraries=(libarchive-dev libcjson-dev libmd-dev libncurses-dev libreadline-dev)
packages=(g++ cmake ninja-build git pkg-config nim rapidjson-dev)
arm64=
while :; do
  case ${1:-} in
    --tests)
      libraries+=(libgtest-dev libgmock-dev)
      packages+=(libabsl-dev libboost-dev ethtool man-db zsh python3-jsonschema) ;;
    --arm64) arm64=yes ;;
    -*) echo "install-dependencies: '$1' is no option" >&2; exit 2 ;;
    *) break ;;
  esac
  shift
done
packages+=("${libraries[@]}")
if [ -n "$arm64" ] && [ "$(dpkg --print-architecture 2>/dev/null)" != arm64 ]; then
  packages+=(g++-aarch64-linux-gnu qemu-user-static libstdc++6:arm64 "${libraries[@]/%/:arm64}")
fi
packages+=("$@")

if ! command -v dpkg-query >/dev/null; then
  echo "install-dependencies: no dpkg on this system; install by hand: ${packages[*]}" >&2
  exit 0
fi

missing=()
for package in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
  [ "$status" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

# Without them the build may still find what it needs; if not, it names the package.
go_on() { echo "install-dependencies: $1; going on without: ${missing[*]}" >&2; exit 0; }

sudo=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || go_on "root or sudo is needed to install"
  sudo=(sudo)
fi
command -v apt-get >/dev/null || go_on "no apt-get on this system"
echo "installing: ${missing[*]}" >&2
[ -z "$arm64" ] || "${sudo[@]}" dpkg --add-architecture arm64
"${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -qq >&2 || true  # the lists that are there may do
"${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2 ||
  go_on "the packages cannot be installed"
