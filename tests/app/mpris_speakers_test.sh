#!/usr/bin/env bash
# The media interface over fake speakers that answer as real ones: a queue
# whose actions list says X_DLNA_SeekTime is seekable, so CanSeek is true.
set -u
fake="$1"
host="$2"
command -v dbus-run-session >/dev/null && command -v dbus-send >/dev/null || { echo "FAIL: dbus-run-session and dbus-send are needed"; exit 1; }
exec dbus-run-session -- bash -c '
  fake="$1"
  host="$2"
  log=$(mktemp)
  "$fake" --only speakers --speakers-base 127.0.64.11 --speakers-count 2 --speakers-household plain > "$log" 2>&1 &
  fakepid=$!
  trap "kill $fakepid \$hostpid 2>/dev/null; rm -f $log" EXIT
  fail() { echo "FAIL: $*"; exit 1; }
  for i in $(seq 100); do grep -q "^ready" "$log" && break; sleep 0.1; done
  grep -q "^ready" "$log" || fail "the fake speakers did not start: $(cat "$log")"
  "$host" --speakers 127.0.64.11,127.0.64.12 > /dev/null 2>&1 &
  hostpid=$!
  get() {
    dbus-send --session --print-reply --dest=org.mpris.MediaPlayer2.velotte /org/mpris/MediaPlayer2 \
      org.freedesktop.DBus.Properties.Get string:org.mpris.MediaPlayer2.Player string:"$1" 2>/dev/null
  }
  for i in $(seq 100); do get CanSeek | grep -q "boolean true" && break; sleep 0.1; done
  get CanSeek | grep -q "boolean true" || fail "CanSeek was not true: $(get CanSeek)"
  echo "1 passed, 0 failed"
' _ "$fake" "$host"
