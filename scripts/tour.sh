#!/usr/bin/env bash
# Installs what is missing, builds, and runs the main job: varsel-sim on the tour, or with
# the arguments given (paths in them are taken from where the script was called).
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
(
  cd "$root"
  scripts/setup.sh
  cmake -S . -B build/plain -G Ninja >/dev/null
  cmake --build build/plain -j "$(nproc)" --target varsel-sim
)
"$root/build/plain/tools/varsel-sim/varsel-sim" "$@"
