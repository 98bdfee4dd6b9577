#!/usr/bin/env bash
# Builds the programs and starts the tray controller on its built-in demo
# household. Without a display it shows the same household on the command line.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh debug
bin=build/debug/src/app
if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
  echo "Velotte runs in the tray; click its speaker icon to open the panel (Ctrl-C quits)."
  "$bin/velotte-widget" &
  widget=$!
  trap 'kill $widget 2>/dev/null' EXIT
  "$bin/velotte" --demo "$@"
else
  echo "No display: the demo household on the command line instead."
  ctl=build/debug/src/cli/velottectl
  "$ctl" --demo rooms
  "$ctl" --demo status
fi
