// The window server, screens and cursor: CGWindowListCopyWindowInfo,
// +[NSWindow windowNumberAtPoint:belowWindowWithWindowNumber:], NSScreen frames,
// CGWarpMouseCursorPosition and the system cursor's shape as the display's framebuffer holds
// it.
#pragma once

#include <cstddef>
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

// A cursor's size and hot spot: what the framebuffer shows now (StdFBShmem_t's cursorSize
// and hotSpot of the current frame), or an NSCursor's image size and hotSpot.
struct CursorShape {
  CGSize size;
  CGPoint hotSpot;
};

class WindowServer {
 public:
  virtual ~WindowServer() = default;
  virtual std::vector<WindowInfo> copyOnScreenWindowList() = 0;  // front to back
  virtual int64_t windowNumberAtPoint(CGPoint cocoaPoint, int64_t belowWindowNumber) = 0;
  virtual std::vector<CGRect> screenFrames() = 0;  // NSScreen screens, main screen first, Cocoa
  virtual void warpMouseCursorPosition(CGPoint quartzPoint) = 0;
  // The "NSScreenNumber" of the screen at `index` in screenFrames' order.
  virtual uint32_t screenNumber(size_t index) = 0;
  // IOFramebufferOpen on the display's service (CGDisplayIOServicePort) with connection
  // type 1 (the shared connection), IOConnectMapMemory of memory type 100 with options
  // 4097 (anywhere, read-only), the current frame's cursorSize and hotSpot, then unmap and close.
  // False when the framebuffer cannot be opened or mapped, as on Apple silicon, where the
  // display has no such service (its service port is 0).
  virtual bool readFramebufferCursor(uint32_t displayID, CursorShape* cursor) = 0;
  // NSCursor's currentSystemCursor: the cursor shown now, whichever application set it.
  // False when the system gives none. AppKit: main thread only.
  virtual bool currentSystemCursor(CursorShape* cursor) = 0;
  // The hot spots of AppKit's hand cursors: pointingHandCursor, openHandCursor and
  // closedHandCursor. AppKit: main thread only.
  virtual std::vector<CGPoint> handCursorHotSpots() = 0;
};

}  // namespace port
