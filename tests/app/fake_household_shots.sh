#!/usr/bin/env bash
# The panel on the fake household (speakers, lyrics, catalog and news on
# loopback): every screen is drawn from live answers and saved.
set -u
fake="$1"; shots="$2"; out="$3"
command -v xvfb-run >/dev/null || { echo "FAIL: xvfb-run missing (scripts/install.sh installs it)"; exit 1; }
log=$(mktemp); conf=$(mktemp)
trap 'kill $pid 2>/dev/null; rm -f "$log" "$conf"' EXIT
"$fake" --speakers-base 127.0.0.81 --speakers-count 4 > "$log" 2>&1 &
pid=$!
for i in $(seq 100); do grep -q '^ready' "$log" && break; sleep 0.1; done
grep -q '^ready' "$log" || { echo "FAIL: the fake household did not start"; cat "$log"; exit 1; }
port() { grep "^$1:" "$log" | grep -o '127\.0\.0\.1:[0-9]*' | head -1; }
printf '[services]\nnews=http://%s/api/public/news-shadowing\nlrclib=http://%s\nnetease=http://%s\nkugou=http://%s\nitunes=http://%s\nmodel=http://%s\n[local]\neventPort=0\n' \
  "$(port news)" "$(port lrclib)" "$(port netease)" "$(port kugou)" "$(port itunes)" "$(port model)" > "$conf"
hosts=$(grep -o 'velottectl --speakers [0-9.,]*' "$log" | awk '{print $3}')
VELOTTE_SHOTS_CONF="$conf" xvfb-run -a -s "-screen 0 1280x900x24" "$shots" "$out" --speakers "$hosts"
