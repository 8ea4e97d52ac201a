#!/usr/bin/env bash
# Compiles every file of the macOS adapter as Objective-C++ with clang 16, against GNUstep's
# Foundation and AppKit headers and the declaration-only headers in
# platform/macos/sdk_declarations/ for what GNUstep lacks, and runs clang's static analyzer
# over each with the Cocoa and Core Foundation ownership, Unix, core, C++, nullability and
# dead-code checkers. Syntax, types and the analyzer's paths only: nothing is linked or run,
# and the real SDK's headers are not used. Fails on any error, warning or analyzer report.
# Then configures the build as for macOS, which runs the bundle's CMake and writes its
# Info.plist, and checks the keys the system reads from it.
set -euo pipefail
cd "$(dirname "$0")/.."

declarations=platform/macos/sdk_declarations
gnustep=/usr/include/GNUstep
objc_runtime="$(gcc -print-file-name=include)"  # GNU libobjc's objc/objc.h
[ -f "$objc_runtime/objc/objc.h" ] || { echo "check-macos: objc/objc.h not found; run scripts/setup.sh" >&2; exit 1; }
[ -d "$gnustep/AppKit" ] || { echo "check-macos: GNUstep headers not found; run scripts/setup.sh" >&2; exit 1; }
compiler=clang++-16
command -v "$compiler" >/dev/null || { echo "check-macos: $compiler not found; run scripts/setup.sh" >&2; exit 1; }

flags=(
  -x objective-c++ -std=c++20
  -fobjc-runtime=gnustep-2.0 -fno-objc-arc -fblocks -fobjc-exceptions
  -fconstant-string-class=NSConstantString
  -DGNUSTEP -DGNUSTEP_BASE_LIBRARY=1 -DGNU_GUI_LIBRARY=1 -DGNU_RUNTIME=1
  -Wall -Wextra -Werror
  # As in the bundle's build: deprecated calls are used on purpose, and the classic
  # assertion macros are kept out of ordinary names.
  -Wno-deprecated-declarations -D__ASSERT_MACROS_DEFINE_VERSIONS_WITHOUT_UNDERSCORES=0
  # The declarations come first, so that GNUstep's headers find our blocks runtime header
  # and the frameworks GNUstep has no copy of resolve to ours. GNUstep's headers are system
  # headers: their own warnings are not ours to fix.
  -I "$declarations" -I . -isystem "$gnustep" -idirafter "$objc_runtime"
  -include "$declarations/gnustep_gaps.h"
)

# Every checker of these groups is forced on, beyond clang's defaults. A deliberate
# ownership hand-over is written so the analyzer sees it (an annotation, an owner that
# lives for the process), never silenced.
analyzer=(--analyze -Xclang -analyzer-output=text -o /dev/null
          -Xclang -analyzer-checker=osx,unix,core,cplusplus,nullability,deadcode)

# One file: compiled for warnings, then analyzed; its output kept for the report.
check_one() {
  local file=$1 out
  out=$("$compiler" "${flags[@]}" -fsyntax-only "$file" 2>&1) ||
    { printf 'FAILED (compile): %s\n%s\n' "$file" "$out"; return 1; }
  # The analyzer reports as warnings, which -Werror does not turn into a failing status.
  out=$("$compiler" "${flags[@]}" "${analyzer[@]}" "$file" 2>&1)
  if [ -n "$out" ]; then
    printf 'FAILED (analyzer): %s\n%s\n' "$file" "$out"
    return 1
  fi
  echo "compiled and analyzed: $file"
}
# Run with --one FILE, the script checks that file alone: the files are checked in parallel.
if [ "${1:-}" = --one ]; then
  check_one "$2"
  exit
fi

shopt -s nullglob
files=(platform/macos/*.mm platform/macos/launcher/*.mm)
if ! printf '%s\0' "${files[@]}" | xargs -0 -n 1 -P "$(nproc)" "$0" --one; then
  echo "check-macos: the macOS adapter does not compile or analyze cleanly" >&2
  exit 1
fi
echo "check-macos: ${#files[@]} adapter files compile with no warning and analyze with no report"

# Only configuring: the compilers are this machine's, and nothing is built.
configured=build/macos-configure
rm -rf "$configured"
mkdir -p build
cmake -S . -B "$configured" -G Ninja -DCMAKE_SYSTEM_NAME=Darwin \
  -DCMAKE_CXX_COMPILER="$(command -v clang++)" -DCMAKE_OBJCXX_COMPILER="$(command -v clang++)" \
  -DCMAKE_INSTALL_NAME_TOOL=/bin/true >"$configured.log" 2>&1 ||
  { cat "$configured.log"; echo "check-macos: the bundle's CMake does not configure" >&2; exit 1; }
python3 - "$configured/platform/macos/Varsel.app/Contents/Info.plist" <<'PY'
import plistlib, sys
info = plistlib.load(open(sys.argv[1], "rb"))
expected = {
    "CFBundleIdentifier": "com.tarnwick.varsel4b",
    "CFBundleExecutable": "Varsel",
    "CFBundlePackageType": "APPL",
    "LSUIElement": True,
}
wrong = {k: info.get(k) for k, v in expected.items() if info.get(k) != v}
schemes = [s for t in info.get("CFBundleURLTypes", []) for s in t.get("CFBundleURLSchemes", [])]
if "varsel" not in schemes:
    wrong["CFBundleURLSchemes"] = schemes
for key in ("CFBundleShortVersionString", "CFBundleVersion"):
    if not info.get(key):
        wrong[key] = info.get(key)
if wrong:
    sys.exit(f"check-macos: Info.plist has wrong or missing keys: {wrong}")
print(f"check-macos: Info.plist of Varsel.app {info['CFBundleShortVersionString']}: "
      "identifier, faceless, varsel scheme")
PY
