#!/usr/bin/env bash
# Builds every fuzz target with clang and libFuzzer and runs each for the
# given number of seconds (default 60), starting from its seed corpus,
# FUZZ_JOBS targets at a time (default 1). New inputs go to
# build/fuzz/corpus/NAME, crashes to build/fuzz/crashes, each run's log to
# build/fuzz/logs/NAME.log; the last lines sum up executions and findings.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-60}"
jobs="${FUZZ_JOBS:-1}"
bash scripts/install.sh
if ! command -v clang++ >/dev/null; then
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  $SUDO apt-get install -y -q --no-install-recommends clang
fi
cmake --preset fuzz >/dev/null
targets=$(cmake --build build/fuzz --target help | sed -n 's/^\(fuzz_[a-z_]*\):.*/\1/p' | grep -v '_autogen')
cmake --build build/fuzz -j2 --target $targets
mkdir -p build/fuzz/crashes build/fuzz/logs

run_one() {
  local t="$1" seconds="$2" name="${1#fuzz_}"
  mkdir -p "build/fuzz/corpus/$name"
  if "build/fuzz/fuzz/$t" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
      -artifact_prefix="build/fuzz/crashes/$name-" "build/fuzz/corpus/$name" "fuzz/corpus/$name" \
      >"build/fuzz/logs/$name.log" 2>&1; then
    result="no findings"
  else
    result="FINDING (see build/fuzz/logs/$name.log)"
  fi
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "build/fuzz/logs/$name.log" | tail -1)
  corpus=$(ls "build/fuzz/corpus/$name" | wc -l)
  echo "$name: ${runs:-?} runs in ${seconds}s, corpus $corpus, $result"
  [ "$result" = "no findings" ]
}
export -f run_one

status=0
printf '%s\n' $targets | xargs -P "$jobs" -I{} bash -c 'run_one "$@"' _ {} "$seconds" || status=1
exit $status
