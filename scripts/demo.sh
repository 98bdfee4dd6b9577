#!/usr/bin/env bash
# Builds and starts the fake household on loopback and prints what it serves.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh debug
exec build/debug/tools/fake-household/velotte-fake-household "$@"
