// Overlay windows: borderless, translucent NSWindows with a view that draws an image or
// a filled shape, used for the hand cursor, the vector anchor and the hover zones.
#pragma once

#include <cstdint>
#include <string>

#include "geometry.h"

namespace port {

struct OverlayWindow;
using NSWindowRef = OverlayWindow*;

class OverlayWindows {
 public:
  virtual ~OverlayWindows() = default;
  virtual NSWindowRef create(CGRect cocoaFrame, int32_t level) = 0;
  virtual void close(NSWindowRef window) = 0;
  virtual void setFrame(NSWindowRef window, CGRect cocoaFrame) = 0;
  virtual CGRect frame(NSWindowRef window) = 0;
  virtual void setAlphaValue(NSWindowRef window, double alpha) = 0;
  virtual double alphaValue(NSWindowRef window) = 0;
  virtual void setLevel(NSWindowRef window, int32_t level) = 0;
  virtual void setIgnoresMouseEvents(NSWindowRef window, bool ignores) = 0;
  virtual void orderFront(NSWindowRef window) = 0;
  virtual void orderOut(NSWindowRef window) = 0;
  virtual bool isVisible(NSWindowRef window) = 0;
  virtual int64_t windowNumber(NSWindowRef window) = 0;
  virtual void setImage(NSWindowRef window, const std::string& resourceName) = 0;
  virtual void setFillColor(NSWindowRef window, double red, double green, double blue,
                            double alpha) = 0;
};

}  // namespace port
