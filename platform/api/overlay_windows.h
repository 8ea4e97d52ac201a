// The agent's own windows and images (NSWindow, NSImageView, NSImage, NSCursor's images):
// small borderless, click-through windows that show one image above other applications,
// such as the open hand that follows the cursor and the vector scroll's anchor.
#pragma once

#include <cstdint>
#include <string>

#include "geometry.h"

namespace port {

struct OverlayWindow;
using NSWindowRef = OverlayWindow*;
struct Image;
using NSImageRef = Image*;

class OverlayWindows {
 public:
  virtual ~OverlayWindows() = default;

  // -[NSImage initWithContentsOfFile:]: owned by the caller; null when the file cannot be
  // read as an image.
  virtual NSImageRef imageWithContentsOfFile(const std::string& path) = 0;
  // [[NSCursor openHandCursor] image]: the system's, not owned.
  virtual NSImageRef openHandCursorImage() = 0;
  virtual CGSize imageSize(NSImageRef image) = 0;  // a zero size for null
  virtual void setImageSize(NSImageRef image, CGSize size) = 0;
  virtual void releaseImage(NSImageRef image) = 0;

  // -[NSWindow initWithContentRect:styleMask:NSBorderlessWindowMask
  // backing:NSBackingStoreBuffered defer:NO] of a window class that never becomes the key
  // or main window. Null when the window cannot be made. Cocoa global coordinates.
  virtual NSWindowRef createBorderlessWindow(CGRect contentRect) = 0;
  virtual void setOpaque(NSWindowRef window, bool opaque) = 0;
  // [NSColor colorWithCalibratedWhite:white alpha:alpha]
  virtual void setBackgroundColor(NSWindowRef window, double white, double alpha) = 0;
  virtual void setHasShadow(NSWindowRef window, bool hasShadow) = 0;
  virtual void setLevel(NSWindowRef window, int32_t level) = 0;
  virtual void setIgnoresMouseEvents(NSWindowRef window, bool ignores) = 0;
  // An NSImageView of this frame becomes the content view.
  virtual void setImageViewAsContentView(NSWindowRef window, CGRect frame) = 0;
  // The content image view's image (null shows nothing).
  virtual void setContentImage(NSWindowRef window, NSImageRef image) = 0;
  virtual void setAlphaValue(NSWindowRef window, double alpha) = 0;
  virtual void setFrameOrigin(NSWindowRef window, CGPoint cocoaOrigin) = 0;
  virtual void orderFront(NSWindowRef window) = 0;
  virtual void orderOut(NSWindowRef window) = 0;
};

}  // namespace port
