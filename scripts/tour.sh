#!/usr/bin/env bash
# Installs what is missing, builds, and runs the main job: varsel-sim on the tour.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake -S . -B build/plain -G Ninja >/dev/null
cmake --build build/plain -j "$(nproc)" --target varsel-sim
build/plain/tools/varsel-sim/varsel-sim "$@"
