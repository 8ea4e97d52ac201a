#!/usr/bin/env bash
# Installs what is missing, then builds and runs the whole test suite twice: a plain
# build, and a build with the address and undefined-behaviour sanitizers.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
jobs=$(nproc)
for variant in plain sanitize; do
  dir=build/$variant
  sanitize=OFF; [ "$variant" = sanitize ] && sanitize=ON
  cmake -S . -B "$dir" -G Ninja -DVARSEL_SANITIZE=$sanitize >/dev/null
  cmake --build "$dir" -j "$jobs"
  echo "== tests ($variant build) =="
  ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
    ctest --test-dir "$dir" --output-on-failure -j "$jobs"
done
