#!/usr/bin/env bash
# Installs what is missing and compile-checks and analyzes the macOS adapter, then builds
# and runs the whole test suite twice: a plain Release build with GCC and libstdc++, and a
# build with clang 16 and LLVM's libc++ 16 (the C++ library of Apple's toolchains) under the
# address and undefined-behaviour sanitizers. Warnings are errors in both. Last, the
# libFuzzer targets, built apart with clang and libstdc++ (Debian's libFuzzer is built
# against it), run briefly from the shared test data (and for the whole agent, the scenarios
# and its past findings) as their seeds.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
jobs=$(nproc)

echo "== macOS adapter (compile check and static analysis against GNUstep and declared frameworks) =="
scripts/check-macos.sh
for variant in plain sanitize; do
  dir=build/$variant
  if [ "$variant" = plain ]; then
    configure=(-DCMAKE_BUILD_TYPE=Release)
  else
    configure=(-DCMAKE_C_COMPILER=clang-16 -DCMAKE_CXX_COMPILER=clang++-16 -DVARSEL_LIBCXX=ON
               -DVARSEL_SANITIZE=ON)
  fi
  cmake -S . -B "$dir" -G Ninja -DVARSEL_WERROR=ON "${configure[@]}" >/dev/null
  cmake --build "$dir" -j "$jobs"
  echo "== tests ($variant build) =="
  ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
    ctest --test-dir "$dir" --output-on-failure -j "$jobs"
done

echo "== fuzz targets (seeded from the shared test data, the scenarios and past findings) =="
fuzz=build/fuzz
CC=clang CXX=clang++ cmake -S . -B "$fuzz" -G Ninja -DVARSEL_FUZZ=ON >/dev/null
cmake --build "$fuzz" -j "$jobs"
seeds=../shared/testdata
shared_seeds=("$seeds/keyed-archives" "$seeds/plists/valid" "$seeds/plists/malformed" "$seeds/plists/fuzz-crashes")
for target in archive_fuzz domain_fuzz offsets_fuzz url_fuzz version_fuzz pane_fuzz agent_fuzz; do
  corpus=$fuzz/corpus/$target  # new inputs go here, never into the shared test data
  mkdir -p "$corpus"
  # Random input through the whole agent starts from the scenarios and every input it ever
  # found a fault with.
  target_seeds=("${shared_seeds[@]}")
  [ "$target" = agent_fuzz ] && target_seeds=(scenarios tests/fuzz/agent_findings)
  echo "-- $target"
  log=$fuzz/$target.log
  # A finding is kept as $fuzz/crash-* and its report printed in full.
  if ! "$fuzz/tests/fuzz/$target" "$corpus" "${target_seeds[@]}" -artifact_prefix="$fuzz/" \
    -max_total_time="${FUZZ_SECONDS:-20}" -rss_limit_mb=2048 -print_final_stats=1 >"$log" 2>&1; then
    grep -v '^#[0-9]' "$log" | tail -n 80
    exit 1
  fi
  tail -n 4 "$log"
done
