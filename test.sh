#!/usr/bin/env bash
# Builds everything and runs every test; ends with CTest's summary. Installs what is missing first.
set -euo pipefail
cd "$(dirname "$0")"

cmake/install-dependencies.sh --tests
cmake --preset release -DKX_TESTS=ON -DKX_BENCH=ON ${KX_WERROR:+-DKX_WERROR=$KX_WERROR}
cmake --build build
# A system test mostly waits for the card's stated sleeps: twice as many at once as processors. The limit of a test is for
# one that hangs, not for a busy machine.
ctest --test-dir build --output-on-failure --timeout 1200 --parallel $((2 * $(nproc)))
