// The agent's own windows and images (NSWindow, NSImageView, NSImage, NSCursor's images):
// small borderless, click-through windows that show one image above other applications,
// such as the open hand that follows the cursor and the vector scroll's anchor.
#pragma once

#include <cstdint>
#include <string>

#include "events.h"
#include "geometry.h"

namespace port {

// NSWindowCollectionBehavior: on every Space at once, and beside a full-screen window.
inline constexpr uint64_t kNSWindowCollectionBehaviorCanJoinAllSpaces = 1 << 0;
inline constexpr uint64_t kNSWindowCollectionBehaviorFullScreenAuxiliary = 1 << 8;

struct OverlayWindow;
using NSWindowRef = OverlayWindow*;
struct Image;
using NSImageRef = Image*;

// A view that fills its bounds and then strokes them in one calibrated colour.
struct FilledViewStyle {
  double red = 0, green = 0, blue = 0;
  double fillAlpha = 0, strokeAlpha = 0, lineWidth = 0;
};
// A view's -mouseDown:, -mouseDragged: and -mouseUp:, handed the view's window and event.
struct ViewMouseHandlers {
  void (*down)(NSWindowRef window, NSEventRef event) = nullptr;
  void (*dragged)(NSWindowRef window, NSEventRef event) = nullptr;
  void (*up)(NSWindowRef window, NSEventRef event) = nullptr;
};

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
  // backing:NSBackingStoreBuffered defer:] of a window class that never becomes the key
  // or main window. Null when the window cannot be made. Cocoa global coordinates.
  virtual NSWindowRef createBorderlessWindow(CGRect contentRect, bool defer) = 0;
  // -setIdentifier:, naming the window for the user-interface tools that list windows.
  virtual void setIdentifier(NSWindowRef window, const char* identifier) = 0;
  virtual void setOpaque(NSWindowRef window, bool opaque) = 0;
  // [NSColor colorWithCalibratedWhite:white alpha:alpha]
  virtual void setBackgroundColor(NSWindowRef window, double white, double alpha) = 0;
  virtual void setHasShadow(NSWindowRef window, bool hasShadow) = 0;
  virtual void setLevel(NSWindowRef window, int32_t level) = 0;
  virtual void setIgnoresMouseEvents(NSWindowRef window, bool ignores) = 0;
  // -setCollectionBehavior: with NSWindowCollectionBehavior flags.
  virtual void setCollectionBehavior(NSWindowRef window, uint64_t behavior) = 0;
  // An NSImageView of this frame becomes the content view.
  virtual void setImageViewAsContentView(NSWindowRef window, CGRect frame) = 0;
  // The content image view's image (null shows nothing).
  virtual void setContentImage(NSWindowRef window, NSImageRef image) = 0;
  // A filled view of this frame and autoresizing mask becomes the content view; its mouse
  // events go to `handlers`.
  virtual void setFilledViewAsContentView(NSWindowRef window, CGRect frame,
                                          uint32_t autoresizingMask, const FilledViewStyle& style,
                                          ViewMouseHandlers handlers) = 0;
  // An NSImageView showing `image`, added to the content view.
  virtual void addImageSubview(NSWindowRef window, CGRect frame, NSImageRef image,
                               uint32_t autoresizingMask) = 0;
  virtual CGRect imageSubviewFrame(NSWindowRef window) = 0;
  virtual void setImageSubviewFrameOrigin(NSWindowRef window, CGPoint origin) = 0;
  virtual CGRect contentViewBounds(NSWindowRef window) = 0;
  virtual CGRect frame(NSWindowRef window) = 0;  // a zero rect for null
  virtual void setFrame(NSWindowRef window, CGRect frame, bool display) = 0;
  virtual double alphaValue(NSWindowRef window) = 0;
  virtual bool isVisible(NSWindowRef window) = 0;
  // -orderWindow:NSWindowAbove relativeTo:
  virtual void orderWindowAbove(NSWindowRef window, int64_t windowNumber) = 0;
  // -convertBaseToScreen: a point in the window's coordinates to Cocoa global ones.
  virtual CGPoint convertBaseToScreen(NSWindowRef window, CGPoint point) = 0;
  virtual void setAlphaValue(NSWindowRef window, double alpha) = 0;
  virtual void setFrameOrigin(NSWindowRef window, CGPoint cocoaOrigin) = 0;
  virtual void orderFront(NSWindowRef window) = 0;
  virtual void orderOut(NSWindowRef window) = 0;
};

}  // namespace port
