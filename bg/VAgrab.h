// Grab scroll: while a grab runs, each movement of the pointer becomes wheel events in the
// drag's direction, so the page follows the pointer like a sheet of paper. The pointer may
// stay frozen in place, the movement may snap to one axis, and a release while moving lets
// the page coast on.
#pragma once

#include <cstdint>

#include "bgprefs.h"
#include "platform/api/events.h"

// Starts a grab at the pointer's position (Cocoa global coordinates).
void grabStart_unflippedPoint(double x, double y);
// One movement of the pointer during a grab.
void grabContinue_event_cgEvent(port::NSEventRef event, port::CGEventRef cgEvent);
// Ends the grab; the result is what becomes of the event that ended it: a button release
// moved to (1, 1), anything else null.
port::CGEventRef grabStop_event_cgEvent(port::NSEventRef event, port::CGEventRef cgEvent);
// Starts the release coast when the pointer was still moving at the release.
void grabCoastAfterIfShould(double x, double y);
// Posts a mouse movement to a Quartz global point from the agent's tagged source.
void postMouseMovedToPoint(double x, double y);
// Puts the pointer back at the grab's start after a movement (the freeze).
void postMouseMovedToCancelCursorMovement();
void grab_initPrefs();

struct GrabMovement {
  float dx = 0;
  float dy = 0;
  double time = 0;
};

inline constexpr int kGrabHistorySize = 20;

struct VAgrabStatics {
  PrefsRecord* prefs = nullptr;
  port::CGPoint sStartPoint;
  port::CGPoint sLastCursorPoint;
  double sAccumX = 0;
  double sAccumY = 0;
  float sDistanceX = 0;
  float sDistanceY = 0;
  float sDistanceCursorMovedDuringGrab = 0;
  int32_t sNumContinueCalls = 0;  // -1 once the axes are decided
  int32_t sAxesLockedX0Y1 = 1;    // 1 vertical only, 2 horizontal only, 0 both
  float sGrabStartMultiplierX = 0;
  float sGrabStartMultiplierY = 0;
  bool sGrabDidTryToScroll = false;
  float sAddedToX = 0;
  float sAddedToY = 0;
  GrabMovement sGrabXYhistory[kGrabHistorySize] = {};
  int32_t sGrabXYindex = 0;
  float ofst = 0.0002f;
  port::CGEventSourceRef sCgEventSource = nullptr;
};

VAgrabStatics& VAgrab_statics();
void VAgrab_reset();
