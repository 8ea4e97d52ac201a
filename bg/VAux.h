// What lies under the cursor: the process, the window and the scroll bars (with the areas
// they scroll). The run timer asks on the main thread several times a second; the answers
// feed hover scrolling, the coast rectangle and the per-application settings switch.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "VAutils.h"
#include "platform/api/accessibility.h"

struct Sbar {
  double foundTime = 0;
  double prevFoundTime = 0;
  IRect rect;  // the area this bar scrolls, Cocoa coordinates after a pass
  uint8_t found = 0;
  uint8_t wasFound = 0;
  float value = 0;  // 0 at the start, 1 at the end; 100 for a made-up entry
  float prevValue = 0;
};

// The value a made-up entry carries: there is no real bar behind it.
inline constexpr float kMadeUpBarValue = 100.0f;

// The window identifier as the bars record carries it: inline, so that a copy of the record
// is complete in itself and never points into memory the main thread may change. A longer
// identifier keeps its first bytes, cut at a character boundary, and a hash of the whole, so
// that two identifiers that differ only beyond those bytes still differ.
struct InlineIdentifier {
  static constexpr size_t kCapacity = 256;
  char text[kCapacity] = {};
  size_t wholeHash = 0;
  uint8_t present = 0;  // none yet, which differs from every identifier, the empty one too
  void assign(std::string_view id);
  bool holds(std::string_view id) const;
  const char* c_str() const { return text; }
};

struct Bars {
  Sbar up;
  Sbar down;
  Sbar left;
  Sbar right;
  int32_t upOfst = 0;
  int32_t downOfst = 0;
  uint32_t changeCount = 0;
  InlineIdentifier windowIdentifier;
  uint64_t windowNumber = 0;
  uint8_t deactivateHoverZones = 0;
  uint8_t nonAXbars = 0;
};

class VAux {
 public:
  // The process under the Cocoa point p: a pid, 0 (nothing there or a passing error), -1
  // (the 31st counted failure in a row) or -2 (no element). Sets the element under the
  // cursor that updateBars walks from.
  static int32_t updateAppUnderCursor(port::CGPoint p);
  // The run timer's entry: also stores the window's rectangle, flipped to Cocoa, in *r, and
  // with `centered` asks again at the window's centre.
  static int32_t updateAppUnderCursor_centered_wRect(port::CGPoint p, bool centered, IRect* r);
  // One discovery pass from the element under the cursor.
  static void updateBars_andWindowRect(Bars* b, IRect* r);
  static bool isCurrentWindowFrontMost();
  // An accessibility query while permission is missing, so that the system lists the agent
  // as an accessibility client.
  static void tryAssistive();
};

// Scan state of the test for content that accessibility does not describe.
struct NonAXvars {
  float childArea = 0;
  float minWidth = 80.0f;
  float minHeight = 200.0f;
  int32_t depth = 0;
  uint8_t mayHaveNonAX = 0;
};

void addIfValid_sbar_parent(port::AXUIElementRef bar, port::AXUIElementRef parent);
void processScrollArea(port::AXUIElementRef area);
void checkChildrenOfElement_childToSkip(port::AXUIElementRef element,
                                        port::AXUIElementRef childToSkip);
bool areAllSbarsFound();
bool window_withRect_hasNoScrollAreaAndMayHaveNonAX(IRect windowRect, port::AXUIElementRef window);
// YES: no scroll area was seen below `element`, and the caller may go on.
bool checkChildrenOfElement_nonAXvars(port::AXUIElementRef element, NonAXvars* state);
void limit_rectPtr_toRectPtr_alongVerticalAxis(IRect* rect, const IRect* limit, bool vertical);

struct VAuxStatics {
  port::AXUIElementRef systemWideElement = nullptr;
  bool messagingTimeoutSet = false;  // refused while the permission is missing
  // Owned here until the next question about the cursor replaces it, so that it outlives
  // the pool of the pass that found it.
  port::AXUIElementRef cursorElement = nullptr;
  int64_t sWindowNumberUnderCursor = 0;
  int32_t errCount = 0;
  int32_t lastPid = 0;
  port::CGPoint lastpoint;
  int32_t skipRedoCount = 0;
  Sbar* upSbar = nullptr;
  Sbar* downSbar = nullptr;
  Sbar* leftSbar = nullptr;
  Sbar* rightSbar = nullptr;
};

VAuxStatics& VAux_statics();
void VAux_reset();
