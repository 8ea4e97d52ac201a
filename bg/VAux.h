// The bars record: the scroll bars and scrollable areas found under the cursor, and facts
// about their window. The run timer fills one copy on the main thread and hands the event
// thread a whole copy under eventThreadBarsLock.
#pragma once

#include <cstdint>

#include "VAutils.h"

struct Sbar {
  double foundTime = 0;
  double prevFoundTime = 0;
  IRect rect;  // the area this bar scrolls, Cocoa coordinates after a pass
  uint8_t found = 0;
  uint8_t wasFound = 0;
  float value = 0;  // 0 at the start, 1 at the end; 100 for a made-up entry
  float prevValue = 0;
};

struct Bars {
  Sbar up;
  Sbar down;
  Sbar left;
  Sbar right;
  int32_t upOfst = 0;
  int32_t downOfst = 0;
  uint32_t changeCount = 0;
  const char* windowIdentifier = nullptr;  // owned by the main thread's record
  uint64_t windowNumber = 0;
  uint8_t deactivateHoverZones = 0;
  uint8_t nonAXbars = 0;
};
