#!/usr/bin/env bash
# Builds the programs and runs the controller on its built-in demo household.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh debug
ctl=build/debug/src/cli/velottectl
"$ctl" --demo rooms
"$ctl" --demo status
echo
echo "Follow the demo room for ten seconds (Ctrl-C stops):"
"$ctl" --demo watch --seconds 10
