// Vector scroll: an anchor set by a button, a hot key or a command, and a 60 Hz scroll
// whose speed on each axis follows the pointer's distance from the anchor, marked on
// screen by a small anchor image.
#pragma once

#include <cstdint>

#include "acc/relaxed.h"
#include "bgprefs.h"
#include "platform/api/events.h"
#include "platform/api/overlay_windows.h"
#include "platform/api/run_loop.h"

// Starts at the anchor (x, y), Cocoa global coordinates.
void vectorStart_point(double x, double y);
// The speeds follow the event's location.
void vectorContinue_event_cgEvent(port::NSEventRef event, port::CGEventRef cgEvent);
// Stops; a button release comes back moved to (1, 1) to be passed on, anything else null.
port::CGEventRef vectorStop_event_cgEvent(port::NSEventRef event, port::CGEventRef cgEvent);
// The speed law: writes both speeds for the pointer at (x, y) and the anchor (ax, ay).
void calcVectorSpeed_pt_startPoint(double x, double y, double ax, double ay);
void start_vectortimer();
void stop_vectortimer();
void vectorTimerProc(port::CFRunLoopTimerRef timer, void* info);
void vectorAnchor_showAt(double x, double y);
void vectorAnchor_hide();
void overlay_setImage(port::NSImageRef image);
void overlay_showAtPoint(double x, double y);
void vector_initPrefs();

struct VAvectorStatics {
  port::CGPoint sStartPoint;
  float sSpeedX = 0;  // pixels per tick as the scroll poster takes them
  float sSpeedY = 0;
  port::CFRunLoopTimerRef sVectorTimer = nullptr;
  PrefsRecord* prefs = nullptr;
  port::NSImageRef anchorImage = nullptr;  // owned
  bool usingGray = false;
  // Counted from any thread, read on the main thread: a hide was asked for since the last show.
  Relaxed<int32_t> sHideOverlayWindow = 0;
  port::NSWindowRef sOverlayWindow = nullptr;
};

VAvectorStatics& VAvector_statics();
void VAvector_reset();
