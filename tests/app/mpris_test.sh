#!/usr/bin/env bash
# playerctl, a real MPRIS client, reads the demo track and toggles playback.
set -u
host="$1"
shift
command -v playerctl >/dev/null && command -v dbus-run-session >/dev/null || { echo "FAIL: playerctl or dbus-run-session missing (scripts/install.sh installs them)"; exit 1; }
exec dbus-run-session -- bash -c '
  host="$1"
  shift
  "$host" "$@" > /dev/null 2>&1 &
  pid=$!
  trap "kill $pid 2>/dev/null" EXIT
  for i in $(seq 50); do playerctl -l 2>/dev/null | grep -q velotte && break; sleep 0.1; done
  fail() { echo "FAIL: $*"; exit 1; }
  title=$(playerctl -p velotte metadata xesam:title) || fail "no metadata"
  [ "$title" = "Gymnopédie No. 1" ] || fail "title was [$title]"
  artist=$(playerctl -p velotte metadata xesam:artist)
  [ "$artist" = "Erik Satie · Pascal Rogé" ] || fail "artist was [$artist]"
  [ "$(playerctl -p velotte status)" = "Playing" ] || fail "not playing at start"
  playerctl -p velotte play-pause
  sleep 0.3
  [ "$(playerctl -p velotte status)" = "Paused" ] || fail "play-pause did not pause"
  playerctl -p velotte pause
  sleep 0.3
  [ "$(playerctl -p velotte status)" = "Paused" ] || fail "pause started a paused room"
  # A relative seek is in microseconds: ten seconds on.
  before=$(playerctl -p velotte position)
  playerctl -p velotte position 10+
  sleep 0.3
  after=$(playerctl -p velotte position)
  awk -v a="$before" -v b="$after" "BEGIN { exit !(b - a > 9.5 && b - a < 10.5) }" || fail "position 10+ went from $before to $after"
  playerctl -p velotte next
  sleep 0.3
  [ "$(playerctl -p velotte metadata xesam:title)" = "Clair de lune" ] || fail "next did not skip"
  echo "1 passed, 0 failed"
' _ "$host" "$@"
