#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the benchmarks need (clang 16 and
# libc++ 16 for the build with Apple's C++ library, GoogleTest's sources for that build).
# Safe to run again: it installs only what is missing.
set -euo pipefail
packages=(cmake ninja-build g++ pkg-config libgtest-dev libgmock-dev googletest libbenchmark-dev
          nlohmann-json3-dev libcli11-dev libplist-dev python3 gnuplot-nox
          clang libclang-rt-14-dev libcurl4-openssl-dev libmicrohttpd-dev
          clang-16 libc++-16-dev libc++abi-16-dev libclang-rt-16-dev
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
