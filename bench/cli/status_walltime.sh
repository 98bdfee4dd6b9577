#!/usr/bin/env bash
# Whole-process wall time of "velottectl --speakers ... status" against the
# fake household (no injected latency). Needs root for port 1400.
set -eu
build="${1:-build/release}"
fakes="${FAKES:-$build/tools/fake-household/velotte-fake-household}"
ctl="$build/src/cli/velottectl"
"$fakes" --only speakers --speakers-base 127.0.46.11 --speakers-count 5 > /tmp/velotte-bench-fakes.log 2>&1 &
pid=$!
trap 'kill $pid' EXIT
for i in $(seq 50); do grep -q ready /tmp/velotte-bench-fakes.log && break; sleep 0.1; done
hosts=127.0.46.11,127.0.46.13,127.0.46.14,127.0.46.15
"$ctl" --speakers "$hosts" status > /dev/null
runs=20
start=$(date +%s%N)
for i in $(seq $runs); do "$ctl" --speakers "$hosts" status > /dev/null; done
end=$(date +%s%N)
echo "velottectl status: $(( (end - start) / runs / 1000000 )) ms per run (mean of $runs)"
