#!/usr/bin/env bash
# Real Bonjour: a network namespace with a veth pair, a private system bus,
# avahi-daemon limited to that interface, and fake speakers published as
# "_sonos._tcp" services. velottectl --guest must find their rooms.
set -u
ctl="$1"; fakes="$2"; probe="$3"
unable() { echo "FAIL: cannot set up: $*"; exit 1; }
[ "$(id -u)" = 0 ] || unable "needs root for network namespaces"
for tool in ip avahi-daemon avahi-publish dbus-daemon; do command -v "$tool" >/dev/null || unable "$tool is not installed"; done

id=$$
ns="velotte-bj-$id"; outer="vbo$id"; inner="vbi$id"
work=$(mktemp -d)
pids=()
cleanup() {
  for p in "${pids[@]}"; do kill "$p" 2>/dev/null; done
  [ -f "$work/avahi.pid" ] && kill "$(cat "$work/avahi.pid")" 2>/dev/null
  sleep 0.2
  ip netns del "$ns" 2>/dev/null
  ip link del "$outer" 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT

ip netns add "$ns" 2>/dev/null || unable "network namespaces cannot be made here"
ip link add "$outer" type veth peer name "$inner" || unable "veth pairs cannot be made here"
ip link set "$inner" netns "$ns"
ip link set "$outer" up
ip netns exec "$ns" ip link set lo up
ip netns exec "$ns" ip addr add 10.231.0.2/24 dev "$inner"
for n in 11 12 13; do ip netns exec "$ns" ip addr add "10.231.0.$n/24" dev "$inner"; done
ip netns exec "$ns" ip link set "$inner" up multicast on

cat > "$work/bus.conf" <<CONF
<busconfig>
  <type>system</type>
  <listen>unix:path=$work/bus</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/><allow own="*"/><allow send_destination="*"/><allow receive_sender="*"/>
  </policy>
</busconfig>
CONF
dbus-daemon --config-file="$work/bus.conf" --nofork --nopidfile & pids+=($!)
export DBUS_SYSTEM_BUS_ADDRESS="unix:path=$work/bus"
for i in $(seq 50); do [ -S "$work/bus" ] && break; sleep 0.1; done

cat > "$work/avahi.conf" <<CONF
[server]
host-name=velotte-test-$id
use-ipv4=yes
use-ipv6=no
allow-interfaces=$inner
enable-dbus=yes
ratelimit-interval-usec=0
[wide-area]
enable-wide-area=no
[publish]
publish-hinfo=no
publish-workstation=no
CONF
mkdir -p /run/avahi-daemon
# Its pid file lives in a folder of its own, so the desktop's daemon or another
# run of this test does not count as this one already running.
ip netns exec "$ns" unshare -m sh -c 'mount -t tmpfs velotte-avahi /run/avahi-daemon && exec "$@"' sh \
  env DBUS_SYSTEM_BUS_ADDRESS="$DBUS_SYSTEM_BUS_ADDRESS" avahi-daemon -f "$work/avahi.conf" --no-drop-root --no-chroot --no-rlimits > "$work/avahi.log" 2>&1 & pids+=($!)
sleep 1.5
kill -0 "${pids[-1]}" 2>/dev/null || unable "avahi-daemon did not start here: $(tail -n 2 "$work/avahi.log" | tr '\n' ' ')"

ip netns exec "$ns" "$fakes" --only speakers --speakers-base 10.231.0.11 --speakers-count 3 > "$work/fakes.log" 2>&1 & pids+=($!)
for i in $(seq 50); do grep -q ready "$work/fakes.log" && break; sleep 0.1; done
grep -q ready "$work/fakes.log" || { echo "FAIL: fake speakers did not start"; cat "$work/fakes.log"; exit 1; }

# Speaker 11 and 13 are rooms; 12 is the invisible stereo partner.
avahi-publish -a -R sonos-a.local 10.231.0.11 > /dev/null 2>&1 & pids+=($!)
avahi-publish -a -R sonos-c.local 10.231.0.13 > /dev/null 2>&1 & pids+=($!)
avahi-publish -s -H sonos-a.local "Sonos-RINCON_347E5C0D000001400@Living Room" _sonos._tcp 1400 > /dev/null 2>&1 & pids+=($!)
avahi-publish -s -H sonos-c.local "Sonos-RINCON_347E5C0D000201400@Kitchen" _sonos._tcp 1400 > /dev/null 2>&1 & pids+=($!)
sleep 1.5

export XDG_CONFIG_HOME="$work/config" XDG_DATA_HOME="$work/data" VELOTTE_SECRETS="$work/none.plist"
out=$(timeout 30 ip netns exec "$ns" "$ctl" --guest rooms 2>&1)
echo "$out"
echo "$out" | grep -q "Living Room" || { echo "FAIL: Living Room not found"; tail -5 "$work/avahi.log"; exit 1; }
echo "$out" | grep -q "Kitchen" || { echo "FAIL: Kitchen not found"; exit 1; }

# The finder itself: a host with an IPv6 address beside its IPv4 one is
# still reached by IPv4; a host with only IPv6 is named by its host name.
avahi-publish -a -R sonos-c.local fd00:231::13 > /dev/null 2>&1 & pids+=($!)
avahi-publish -a -R sonos-v6.local fd00:231::20 > /dev/null 2>&1 & pids+=($!)
avahi-publish -s -H sonos-v6.local "Sonos-RINCON_347E5C0D00FF01400@Den" _sonos._tcp 1400 > /dev/null 2>&1 & pids+=($!)
sleep 1.5
found=$(timeout 30 ip netns exec "$ns" "$probe" 2>&1)
echo "$found"
expected=$(printf 'Sonos-RINCON_347E5C0D000001400@Living Room\t10.231.0.11\nSonos-RINCON_347E5C0D000201400@Kitchen\t10.231.0.13\nSonos-RINCON_347E5C0D00FF01400@Den\tsonos-v6.local')
[ "$found" = "$expected" ] || { echo "FAIL: the finder answered otherwise; expected:"; echo "$expected"; exit 1; }
echo "2 passed, 0 failed"
