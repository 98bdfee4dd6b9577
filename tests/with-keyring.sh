#!/usr/bin/env bash
# Runs a command on a private session bus with a fresh, unlocked keyring
# (the desktop's Secret Service) in a private home.
set -u
for tool in dbus-run-session gnome-keyring-daemon; do
  command -v "$tool" >/dev/null || { echo "FAIL: $tool is not installed (scripts/install.sh installs it)"; exit 1; }
done
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
export HOME="$home" XDG_DATA_HOME="$home/.local/share" XDG_CONFIG_HOME="$home/.config" XDG_CACHE_HOME="$home/.cache"
mkdir -p "$XDG_DATA_HOME" "$XDG_CONFIG_HOME"
dbus-run-session -- bash -c '
  eval "$(echo -n velotte-test | gnome-keyring-daemon --unlock --components=secrets 2>/dev/null)"
  export GNOME_KEYRING_CONTROL
  # The daemon forks before it owns its bus name; a caller that comes first
  # would have the bus start a second one, which finds the keyring half
  # written and wants a password prompt.
  for _ in $(seq 100); do
    dbus-send --session --print-reply --dest=org.freedesktop.DBus /org/freedesktop/DBus \
      org.freedesktop.DBus.NameHasOwner string:org.freedesktop.secrets 2>/dev/null | grep -q "boolean true" && break
    sleep 0.05
  done
  "$@"
' _ "$@"
