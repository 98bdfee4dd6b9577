#!/usr/bin/env bash
# Builds and runs every test of one preset. Extra arguments go to ctest
# (for example: -L unit, or -LE root).
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${VELOTTE_PRESET:-debug}"
bash scripts/build.sh "$preset"
ctest --preset "$preset" --timeout 300 "$@"
