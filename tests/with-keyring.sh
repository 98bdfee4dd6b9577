#!/usr/bin/env bash
# Runs a command on a private session bus with a fresh, unlocked keyring
# (the desktop's Secret Service) in a private home.
set -u
for tool in dbus-run-session gnome-keyring-daemon; do
  command -v "$tool" >/dev/null || { echo "skipped: $tool is not installed"; exit 77; }
done
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
export HOME="$home" XDG_DATA_HOME="$home/.local/share" XDG_CONFIG_HOME="$home/.config" XDG_CACHE_HOME="$home/.cache"
mkdir -p "$XDG_DATA_HOME" "$XDG_CONFIG_HOME"
dbus-run-session -- bash -c '
  eval "$(echo -n velotte-test | gnome-keyring-daemon --unlock --components=secrets 2>/dev/null)"
  export GNOME_KEYRING_CONTROL
  "$@"
' _ "$@"
