#!/usr/bin/env bash
# Compiles every file of the macOS adapter as Objective-C++ with clang, against GNUstep's
# Foundation and AppKit headers and the declaration-only headers in
# platform/macos/sdk_declarations/ for what GNUstep lacks. Syntax and types only: nothing is
# linked or run, and the real SDK's headers are not used. Fails on any error or warning.
set -euo pipefail
cd "$(dirname "$0")/.."

declarations=platform/macos/sdk_declarations
gnustep=/usr/include/GNUstep
objc_runtime="$(gcc -print-file-name=include)"  # GNU libobjc's objc/objc.h
[ -f "$objc_runtime/objc/objc.h" ] || { echo "check-macos: objc/objc.h not found; run scripts/setup.sh" >&2; exit 1; }
[ -d "$gnustep/AppKit" ] || { echo "check-macos: GNUstep headers not found; run scripts/setup.sh" >&2; exit 1; }

flags=(
  -x objective-c++ -std=c++20 -fsyntax-only
  -fobjc-runtime=gnustep-2.0 -fno-objc-arc -fblocks -fobjc-exceptions
  -fconstant-string-class=NSConstantString
  -DGNUSTEP -DGNUSTEP_BASE_LIBRARY=1 -DGNU_GUI_LIBRARY=1 -DGNU_RUNTIME=1
  -Wall -Wextra -Werror
  # The declarations come first, so that GNUstep's headers find our blocks runtime header
  # and the frameworks GNUstep has no copy of resolve to ours. GNUstep's headers are system
  # headers: their own warnings are not ours to fix.
  -I "$declarations" -I . -isystem "$gnustep" -idirafter "$objc_runtime"
  -include "$declarations/gnustep_gaps.h"
)

files=(platform/macos/*.mm)
failed=0
for file in "${files[@]}"; do
  if clang++ "${flags[@]}" "$file"; then
    echo "compiled: $file"
  else
    echo "FAILED: $file"
    failed=1
  fi
done
if [ "$failed" -ne 0 ]; then
  echo "check-macos: the macOS adapter does not compile cleanly" >&2
  exit 1
fi
echo "check-macos: ${#files[@]} adapter files compile with no warning (syntax and types only)"
