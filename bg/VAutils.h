// Screen geometry and small system services: the screen-frame cache and the conversion
// between Cocoa global coordinates (origin at the bottom left of the main screen, y up) and
// Quartz ones (top left, y down), cursor warping, the system's wheel scaling, and the power
// assertion that keeps the display awake while hover scrolling runs.
#pragma once

#include <cstdint>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/api/accessibility.h"
#include "platform/api/events.h"

// A rectangle as four signed 32-bit integers in the order top, left, bottom, right (the
// classic Carbon Rect, widened). Stored rectangles are in Cocoa global coordinates, so top
// is the larger y.
struct IRect {
  int32_t top = 0;
  int32_t left = 0;
  int32_t bottom = 0;
  int32_t right = 0;
  friend bool operator==(const IRect&, const IRect&) = default;
};

// The directions of hover, autoscroll, the zone windows and the saved zone offsets.
inline constexpr int32_t kDirectionUp = 1;
inline constexpr int32_t kDirectionDown = 2;

// The agent's questions to other applications' user interfaces. Every helper takes an
// element that may be null and turns every error into nothing, NO, 0 or a zero size. The
// elements they hand back are autoreleased: valid until the pool in place drains.
class VAutils {
 public:
  static std::optional<std::vector<std::string>> attributeNamesOfUIElement(port::AXUIElementRef e);
  static std::optional<port::AXValue> valueOfAttribute_ofUIElement(const char* attribute,
                                                                   port::AXUIElementRef e);
  static std::optional<std::string> urlScheme(port::AXUIElementRef e);
  static bool hasWebAreaParent(port::AXUIElementRef e);
  static port::AXUIElementRef parentOfUIElement(port::AXUIElementRef e);
  static std::optional<std::vector<port::AXUIElementRef>> children(port::AXUIElementRef e);
  static std::optional<std::string> role(port::AXUIElementRef e);
  static port::AXUIElementRef verticalScrollBar(port::AXUIElementRef e);
  static port::AXUIElementRef horizontalScrollBar(port::AXUIElementRef e);
  static port::CGSize size(port::AXUIElementRef e);
  static float value(port::AXUIElementRef e);
  static bool isEnabled(port::AXUIElementRef e);
  // In accessibility (Quartz) coordinates: top < bottom.
  static IRect rectForElement(port::AXUIElementRef e);
  static port::AXUIElementRef windowElementForElement(port::AXUIElementRef e);
  // The window's identifier, else its title; never missing, possibly empty.
  static std::string windowIdentifier(port::AXUIElementRef e);
};

// One pass of questions to another application's user interface, as the run timer makes
// them: everything the pass copies lives in an autorelease pool of its own, and each
// attribute of an element is asked of the application once. Within a pass the answer cannot
// change, and on a real system every read is a round trip to the other process. Passes run
// on the main thread only, as every accessibility read does.
class AXReadsOfOnePass {
 public:
  AXReadsOfOnePass();
  ~AXReadsOfOnePass();
  AXReadsOfOnePass(const AXReadsOfOnePass&) = delete;
  AXReadsOfOnePass& operator=(const AXReadsOfOnePass&) = delete;

  struct Reads;

 private:
  void* pool_;
  std::unique_ptr<Reads> reads_;
  Reads* outer_;
};

// Refreshes the cache of screen frames (at most 8, in NSScreen order: slot 0 holds the menu
// bar). Without `force` it is skipped only before the clock reaches 10 s after 2001, so in
// practice every call refreshes.
void utils_cacheNSScreenFrames_force(bool force);
port::CGRect utils_mainScreenFrame();
// Cocoa global point to Quartz global point; (0, 0) for a point on no screen even after a
// refresh.
port::CGPoint carbonScreenPointFromCocoaScreenPoint(port::CGPoint p);
void warpCursorToCocoaPoint(port::CGPoint p);
port::CGPoint unflippedPointfor_cgevent(port::CGEventRef event);
// The system's wheel scaling, clamped to 0...5, read on the main queue at most every 2 s;
// a fresh read is seen by the call after it has run.
float readAppleScrollWheelSpeed(double now);
// Grows `rect` at one edge: up moves its top by -ofst, down its bottom by +ofst.
IRect rectWith_rect_ofst_dir(IRect rect, int32_t ofst, int32_t dir);
// Clips `rect` in place to `limit`; an empty result is not detected.
void intersect_rectPtr_withRect(IRect* rect, IRect limit);
void preventSleep_yesno(bool yes);
// CFAbsoluteTimeGetCurrent: seconds since 1 Jan 2001.
double utils_now();
// Double to integer truncation toward zero as the processor does it: NaN and values out of
// range give the most negative integer, which every size limit then refuses.
int32_t truncateToInt32(double v);
int64_t truncateToInt64(double v);

inline constexpr int kMaxCachedScreens = 8;

struct VAutilsStatics {
  port::CGRect sScreenFrames[kMaxCachedScreens] = {};
  int32_t sNumScreens = 0;
  float scrollWheelSpeed = 0;
  double timeAppleScrollSpeedLastFetched = 0;
  uint32_t assertionID = 0;
};

VAutilsStatics& VAutils_statics();
void VAutils_reset();
