#!/usr/bin/env bash
# Compiles every file of the macOS adapter as Objective-C++ with clang 16, against GNUstep's
# Foundation and AppKit headers and the declaration-only headers in
# platform/macos/sdk_declarations/ for what GNUstep lacks, and runs clang's static analyzer
# over each with the Cocoa and Core Foundation ownership, Unix, core, C++, nullability and
# dead-code checkers. Syntax, types and the analyzer's paths only: nothing is linked or run,
# and the real SDK's headers are not used. Fails on any error, warning or analyzer report.
# Then configures the build as for macOS, ad hoc and with a signing identity, which runs the
# bundle's CMake and writes the Info.plists of Varsel.app and of the launcher it carries, and
# checks the keys the system reads from them, that every compile makes both slices of the
# universal binary for the stated minimum system, and how the bundle is signed.
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
# The port contract suite is plain C++ over the ports: compiled as a Mac compiles it, with
# Apple's C++ library (libc++).
contract_flags=(-x c++ -std=c++20 -stdlib=libc++ -Wall -Wextra -Werror -I .
                -DVARSEL_TESTDATA_DIR='"testdata"')
check_contract() {
  local file=$1 out
  out=$("$compiler" "${contract_flags[@]}" -fsyntax-only "$file" 2>&1) ||
    { printf 'FAILED (compile): %s\n%s\n' "$file" "$out"; return 1; }
  echo "compiled: $file"
}
# Run with --one FILE, the script checks that file alone: the files are checked in parallel.
if [ "${1:-}" = --one ]; then
  case "$2" in
    tests/ports/*) check_contract "$2" ;;
    *) check_one "$2" ;;
  esac
  exit
fi

shopt -s nullglob
files=(platform/macos/*.mm platform/macos/launcher/*.mm)
contracts=(tests/ports/*.cpp)
if ! printf '%s\0' "${files[@]}" "${contracts[@]}" | xargs -0 -n 1 -P "$(nproc)" "$0" --one; then
  echo "check-macos: the macOS adapter or the port contract suite does not compile or analyze cleanly" >&2
  exit 1
fi
echo "check-macos: ${#files[@]} adapter files compile with no warning and analyze with no report;" \
  "${#contracts[@]} port contract files compile with libc++"

# Only configuring: the compilers are this machine's, and nothing is built. The SDK is named
# rather than found, as a Mac would find it. Once ad hoc, once with a signing identity.
configure_for_macos() {
  local dir=$1
  shift
  rm -rf "$dir"
  mkdir -p build
  cmake -S . -B "$dir" -G Ninja -DCMAKE_SYSTEM_NAME=Darwin -DCMAKE_OSX_SYSROOT=macosx \
    -DCMAKE_CXX_COMPILER="$(command -v clang++)" -DCMAKE_OBJCXX_COMPILER="$(command -v clang++)" \
    -DCMAKE_INSTALL_NAME_TOOL=/bin/true "$@" >"$dir.log" 2>&1 ||
    { cat "$dir.log"; echo "check-macos: the bundle's CMake does not configure" >&2; exit 1; }
}
configured=build/macos-configure
# This machine's GoogleTest and nlohmann-json stand in for a Mac's, so that the port contract
# suite's target is configured too.
configure_for_macos "$configured" -DGTest_DIR=/usr/lib/x86_64-linux-gnu/cmake/GTest \
  -Dnlohmann_json_DIR=/usr/share/cmake/nlohmann_json
configure_for_macos "$configured-signed" \
  -DVARSEL_SIGNING_IDENTITY="Developer ID Application: Example (ABCDE12345)"
python3 - "$configured" "$configured-signed" platform/macos/Varsel.entitlements <<'PY'
import os, plistlib, re, sys
configured, signed, entitlements = sys.argv[1:4]
bundle = f"{configured}/platform/macos"
problems = []
def expect(ok, what):
    if not ok:
        problems.append(what)

info = plistlib.load(open(f"{bundle}/Varsel.app/Contents/Info.plist", "rb"))
expected = {
    "CFBundleIdentifier": "com.tarnwick.varsel4b",
    "CFBundleExecutable": "Varsel",
    "CFBundlePackageType": "APPL",
    "LSUIElement": True,
}
for k, v in expected.items():
    expect(info.get(k) == v, f"Info.plist {k} is {info.get(k)!r}")
schemes = [s for t in info.get("CFBundleURLTypes", []) for s in t.get("CFBundleURLSchemes", [])]
expect("varsel" in schemes, f"Info.plist URL schemes are {schemes}")
for key in ("CFBundleShortVersionString", "CFBundleVersion", "NSAppleEventsUsageDescription"):
    expect(bool(info.get(key)), f"Info.plist has no {key}")

launcher = plistlib.load(open(f"{bundle}/Varsel Launcher.app/Contents/Info.plist", "rb"))
expect(launcher.get("CFBundleExecutable") == "Varsel Launcher", "the launcher's executable name")
expect(launcher.get("LSUIElement") is True, "the launcher is not faceless")
expect(launcher.get("CFBundleIdentifier", "").startswith("com.tarnwick.varsel4b."),
       "the launcher's identifier")

# Every compile builds both slices for the deployment target the Info.plists state.
ninja = open(f"{configured}/build.ninja").read()
compiles = [l for l in ninja.splitlines() if l.strip().startswith("FLAGS =")]
minimum = info.get("LSMinimumSystemVersion")
expect(minimum == launcher.get("LSMinimumSystemVersion"), "the bundles' minimum systems differ")
for flags in compiles:
    for needed in ("-arch x86_64", "-arch arm64", f"-mmacosx-version-min={minimum}"):
        expect(needed in flags, f"a compile lacks {needed}: {flags.strip()[:120]}")
expect(len(compiles) > 0, "no compile rules found")
# The port contract suite is built beside the bundle, from the same sources as on Linux,
# against the adapter, and its tests carry the ports label.
expect("ports_on_adapter.mm" in ninja and "run_loop_contract_test.cpp" in ninja,
       "the port contract suite is not built against the adapter")
discovery = f"{bundle}/varsel_port_contracts[1]_include.cmake"
tests = open(discovery).read() if os.path.exists(discovery) else ""
expect("LABELS" in tests and "ports" in tests, "the port contract tests carry no ports label")

# The launcher is signed inside the bundle before the bundle, which carries the entitlements;
# with an identity, both get the hardened runtime.
def signing(build_dir):
    text = open(f"{build_dir}/build.ninja").read()
    return [l for l in text.splitlines() if "codesign" in l]
rules = signing(configured)
expect(len(rules) == 1, "the signing step is not one rule")
if rules:
    steps = [p for p in rules[0].split("&&") if "codesign" in p]
    expect(len(steps) == 2 and "MacOS/Varsel Launcher.app" in steps[0] and "Varsel.entitlements" in steps[1],
           "the launcher is not signed before the bundle with its entitlements")
    expect(all("--sign -" in p for p in steps), "an ad-hoc build is not signed ad hoc")
signed_rules = signing(signed)
expect(bool(signed_rules) and signed_rules[0].count("--options runtime") == 2
       and "Developer ID Application: Example (ABCDE12345)" in signed_rules[0],
       "a signing identity does not sign both with the hardened runtime")
granted = plistlib.load(open(entitlements, "rb"))
expect(granted.get("com.apple.security.automation.apple-events") is True,
       "the entitlements do not allow sending Apple events")

if problems:
    sys.exit("check-macos: the bundle's build is wrong:\n  " + "\n  ".join(problems))
print(f"check-macos: Varsel.app {info['CFBundleShortVersionString']}: identifier, faceless, "
      f"varsel scheme, x86_64 and arm64 from macOS {minimum}, the launcher inside, signed "
      "ad hoc or with the hardened runtime and the Apple-events entitlement")
PY
