#!/usr/bin/env bash
# Configures and builds one preset (default: debug) with two jobs.
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-${VELOTTE_PRESET:-debug}}"
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" -j2
