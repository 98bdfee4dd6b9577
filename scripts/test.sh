#!/usr/bin/env bash
# Builds and runs every test of one preset (default: asan, the sanitized
# build CI tests). Extra arguments go to ctest (for example: -L unit, or -LE root).
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${VELOTTE_PRESET:-asan}"
# Sanitized runs: leaks fail, except the libraries' own lifetime allocations;
# the web engine's allocator mixes new and free by design.
export LSAN_OPTIONS="suppressions=$PWD/tests/sanitizers/lsan.supp:print_suppressions=0${LSAN_OPTIONS:+:$LSAN_OPTIONS}"
export ASAN_OPTIONS="new_delete_type_mismatch=0:alloc_dealloc_mismatch=0:detect_leaks=1${ASAN_OPTIONS:+:$ASAN_OPTIONS}"
export UBSAN_OPTIONS="print_stacktrace=1${UBSAN_OPTIONS:+:$UBSAN_OPTIONS}"
bash scripts/build.sh "$preset"
ctest --preset "$preset" --timeout 300 "$@"
