#!/usr/bin/env bash
# Runs the tool on the virtual card: with words one-shot, without words the shell; without words and without a terminal
# a short tour. With kxreport as the first word it runs that. Installs and builds what is missing first.
set -euo pipefail
cd "$(dirname "$0")"

cmake/install-dependencies.sh
{
  cmake --preset release -DKX_TESTS=OFF -DKX_BENCH=OFF
  cmake --build build --target kxtool kxvcard kxpkg kxreport
} >&2

card() { build/kxvcard -- build/kxtool "$@"; }

if [ "${1:-}" = kxreport ]; then
  shift
  build/kxvcard -- build/kxreport "$@"
elif [ $# -gt 0 ]; then
  card "$@"
elif [ -t 0 ]; then
  card
else
  exec ./cmake/tour.sh
fi
