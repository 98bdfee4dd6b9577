#!/usr/bin/env bash
# Runs a web-engine test in a virtual X display. As root the engine's
# sandbox must be off; the flags keep it from reaching out to the network.
set -u
command -v xvfb-run >/dev/null || { echo "FAIL: xvfb-run is not installed"; exit 1; }
export QTWEBENGINE_DISABLE_SANDBOX=1
export QTWEBENGINE_CHROMIUM_FLAGS="--disable-gpu --disable-background-networking --no-sandbox"
export QT_QPA_PLATFORM=xcb
exec xvfb-run -a -s "-screen 0 1280x800x24" "$@"
