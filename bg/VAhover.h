// Hover scrolling: a band along the top or bottom edge of the scroll area under the cursor
// scrolls the area while the cursor rests in it, faster the deeper it sits. Autoscroll puts
// the cursor into a band by itself. A timer on the main run loop ticks slowly while nothing
// happens and at 40 Hz while it scrolls.
#pragma once

#include <cstdint>

#include "acc/relaxed.h"
#include "VAutils.h"
#include "VAux.h"
#include "bgprefs.h"
#include "platform/api/overlay_windows.h"
#include "platform/api/run_loop.h"

void hover_initPrefs();
// Takes the zone rects from a fresh bars record (run timer, after discovery).
void hover_updateRects(Bars* bars);
void hover_hideZones(bool hide);
// Whether (x, y), Cocoa coordinates, lies in a zone grown by `margin`; a hit sets the speed.
bool hover_isPoint_inZoneWithMargin(int32_t margin, double x, double y);
bool is_cursorIn_hoverZoneUp_margin(const IRect* r, int32_t margin, double x, double y);
bool is_cursorIn_hoverZoneDown_margin(const IRect* r, int32_t margin, double x, double y);
// The depth of the zones of a scroll area `r` (top is the larger y).
float hover_edgeSizeV(const IRect* r);
// The speed law: pixels per tick for the cursor at height y in a zone of the area `r`.
float calcHoverSpeedY_pty_rect(const IRect* r, double y);
// Whether the cursor drifted slowly over the last 0.3 s: moved, but not rushed through.
bool isCursorSpeedInRange_timeNow(double now);
void startHoverTimer();
void stopHoverTimer();
// Ticks every `interval` seconds from now on; hover scrolling and autoscroll end.
void setHoverLow(double interval);
void hoverTimerProc(port::CFRunLoopTimerRef timer, void* info);
// Autoscroll: the cursor goes into the zone of `dir` (kDirectionUp or kDirectionDown).
void hover_startAutoScroll(int32_t dir);
// Asked on clicks, keys and wheel events: whether the event ends hover scrolling. In a zone
// it pauses hover until the cursor leaves, and ends it only at a real speed.
bool hover_willEventStopHover();
void hover_setUpOfst_down(int32_t up, int32_t down);
// A zone window of `dir` was dropped: its frame becomes the zone's offset, saved for `pid`'s
// application.
void hover_draggedWindow_direction_pid(port::NSWindowRef window, int32_t dir, int32_t pid);
void hover_setLastSpeedTweakWnum(int32_t windowNumber);

struct PanMovement {
  float dx = 0;  // absolute
  float dy = 0;
  double time = 0;
};

inline constexpr int kPanHistorySize = 50;

struct VAhoverStatics {
  PrefsRecord* prefs = nullptr;
  IRect sCurUpRect;
  IRect sCurDownRect;
  bool sHaveUpRect = false;
  bool sHaveDownRect = false;
  int32_t sUpOfst = 0;
  int32_t sDownOfst = 0;
  IRect sCurZoneUp;
  IRect sCurZoneDown;
  // Also read and written by the click and key checks on the other thread.
  Relaxed<float> sHoverSpeedY = 0;
  float sLastEdgeSizeV = 0;
  float sHoverScrollDeltaX = 0;
  float sHoverScrollDeltaY = 0;
  port::CGPoint sLastCursorPoint;
  PanMovement sPanXYhistory[kPanHistorySize] = {};
  int32_t sPanXYindex = 0;
  port::CFRunLoopTimerRef hoverTimer = nullptr;
  double hoverTimerFreq = static_cast<double>(1.3f);
  double sTimeHoverScrollStarted = 0;
  Relaxed<bool> sPauseHoverUntilOutOfZone = false;
  bool sDeactivateHoverZones = false;
  int32_t sLastSpeedTweakWnum = 0;
  double sLastSpeedTweakTime = 0;
};

VAhoverStatics& VAhover_statics();
void VAhover_reset();
