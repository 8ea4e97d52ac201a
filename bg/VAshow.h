// The zone windows: two translucent bands over the hover zones of the area under the
// cursor, each with an open hand, which fade out when autoscroll starts and which the user
// can drag up or down to move a zone.
#pragma once

#include <cstdint>

#include "VAux.h"
#include "platform/api/overlay_windows.h"

class VAshow {
 public:
  // Places both windows for a bars record and shows or hides them.
  static void showActiveZones(const Bars* bars);
  static bool areZonesShown();
  static port::CGRect upZoneRect();
  static port::CGRect downZoneRect();
  static void makeZonesClickable(bool clickable);
  // A fade-out of the windows in `mask` (bit 1 up, bit 2 down), 0.03 of alpha every 0.05 s.
  static void fadeZones(int mask);
  static void fadeZones2(int mask);
  static void hideZones();
};

port::NSWindowRef newWindow();
// Fits a zone window to the zone of the area `r`, short of the vertical bar.
void set_window_rect(port::NSWindowRef window, IRect r);
// 1 for the up window, 2 for the down window, 8 for another window, 4 for none.
int32_t VAshow_getDirectionForWindow(port::NSWindowRef window);

// The view of a zone window: drags move the window vertically; the release reports it.
void VAhoverView_mouseDown(port::NSWindowRef window, port::NSEventRef event);
void VAhoverView_mouseDragged(port::NSWindowRef window, port::NSEventRef event);
void VAhoverView_mouseUp(port::NSWindowRef window, port::NSEventRef event);

struct VAshowStatics {
  port::NSWindowRef upW = nullptr;
  port::NSWindowRef downW = nullptr;
  bool sDoingFadeUp = false;
  bool sDoingFadeDown = false;
  float sDragOfstY = 0;  // the view's: where the current drag took hold, window coordinates
};

VAshowStatics& VAshow_statics();
void VAshow_reset();
