#!/usr/bin/env bash
# Builds every fuzz target with clang and libFuzzer and runs each for the
# given number of seconds (default 60), starting from its seed corpus.
# New inputs go to build/fuzz/corpus/NAME; crashes to build/fuzz/crashes.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-60}"
bash scripts/install.sh
if ! command -v clang++ >/dev/null; then
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  $SUDO apt-get install -y -q --no-install-recommends clang
fi
cmake --preset fuzz >/dev/null
targets=$(cmake --build build/fuzz --target help | sed -n 's/^\(fuzz_[a-z_]*\):.*/\1/p')
cmake --build build/fuzz -j2 --target $targets
mkdir -p build/fuzz/crashes
status=0
for t in $targets; do
  name="${t#fuzz_}"
  mkdir -p "build/fuzz/corpus/$name"
  echo "== $name for ${seconds}s"
  if ! "build/fuzz/fuzz/$t" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
      -artifact_prefix="build/fuzz/crashes/$name-" "build/fuzz/corpus/$name" "fuzz/corpus/$name"; then
    status=1
  fi
done
exit $status
