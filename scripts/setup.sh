#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the benchmarks need. Safe to run
# again: it installs only what is missing.
set -euo pipefail
packages=(cmake ninja-build g++ pkg-config libgtest-dev libgmock-dev libbenchmark-dev
          nlohmann-json3-dev libcli11-dev libplist-dev python3 gnuplot-nox
          clang libclang-rt-14-dev libcurl4-openssl-dev libcpp-httplib-dev
          libgnustep-base-dev libgnustep-gui-dev libobjc-12-dev)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  sudo=""; [ "$(id -u)" -eq 0 ] || sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
fi
