// The window server, screens and cursor: CGWindowListCopyWindowInfo,
// +[NSWindow windowNumberAtPoint:belowWindowWithWindowNumber:], NSScreen frames,
// CGWarpMouseCursorPosition and the cursor's visibility and image (NSCursor).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "geometry.h"

namespace port {

// One entry of the on-screen window list (kCGWindowNumber, kCGWindowLayer,
// kCGWindowOwnerPID, kCGWindowSharingState, kCGWindowBounds, kCGWindowAlpha,
// kCGWindowOwnerName).
struct WindowInfo {
  int64_t number = 0;
  int32_t layer = 0;
  int32_t ownerPid = 0;
  int32_t sharingState = 0;
  CGRect bounds;  // Quartz coordinates
  double alpha = 1;
  std::string ownerName;
};

enum class SystemCursor { kArrow, kOpenHand, kClosedHand };

class WindowServer {
 public:
  virtual ~WindowServer() = default;
  virtual std::vector<WindowInfo> copyOnScreenWindowList() = 0;  // front to back
  virtual int64_t windowNumberAtPoint(CGPoint cocoaPoint, int64_t belowWindowNumber) = 0;
  virtual std::vector<CGRect> screenFrames() = 0;  // NSScreen screens, main screen first, Cocoa
  virtual void warpMouseCursorPosition(CGPoint quartzPoint) = 0;
  virtual void associateMouseAndMouseCursorPosition(bool connected) = 0;
  virtual void hideCursor() = 0;                    // CGDisplayHideCursor
  virtual void showCursor() = 0;                    // CGDisplayShowCursor
  virtual void setCursor(SystemCursor cursor) = 0;  // -[NSCursor set]
  virtual CGPoint cursorHotSpot() = 0;  // the system cursor's hot spot (framebuffer memory)
};

}  // namespace port
