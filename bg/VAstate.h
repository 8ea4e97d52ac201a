// The agent's run-time mode: process-wide flags and small values, each read with
// state_<name> and set with state_set<Name>. Relaxed atomics; most belong to the event
// thread, a few to the run timer on the main thread. The application's bundle identifier
// belongs to the main thread alone.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "VAutils.h"
#include "acc/relaxed.h"

using BidRef = std::shared_ptr<const std::string>;  // null when there is none

bool state_quitting();
bool state_isMultiTouch();
void state_setIsMultiTouch(bool v);
bool state_doingWheel();
void state_setDoingWheel(bool v);
bool state_doingCoast();
void state_setDoingCoast(bool v);
bool state_postingMomentum();
void state_setPostingMomentum(bool v);
int32_t state_curMomentumPhase();
void state_setCurMomentumPhase(int32_t v);
bool state_repostWheelEventsUntilMomentumEnd();
void state_setRepostWheelEventsUntilMomentumEnd(bool v);
bool state_doingGrab();
void state_setDoingGrab(bool v);
bool state_doingGrabWOMoving();
void state_setDoingGrabWOMoving(bool v);
bool state_doingGrabWScrollKey();
void state_setDoingGrabWScrollKey(bool v);
bool state_doingGrabWHotKeyAndButton();
void state_setDoingGrabWHotKeyAndButton(bool v);
bool state_doingGrabWHotKeyOnly();
void state_setDoingGrabWHotKeyOnly(bool v);
bool state_doingGrabWToggle();
void state_setDoingGrabWToggle(bool v);
bool state_doingGrabWurl();
void state_setDoingGrabWurl(bool v);
bool state_interceptNextKeypress();
void state_setInterceptNextKeypress(bool v);
bool state_nextMoveResumesTimer();
void state_setNextMoveResumesTimer(bool v);
bool state_doingVector();
void state_setDoingVector(bool v);
bool state_doingVectorWurl();
void state_setDoingVectorWurl(bool v);
int32_t state_coastStartedBy();  // 1 grab, 2 wheel or trackpad, 3 keys
void state_setCoastStartedBy(int32_t v);
bool state_draggingHoverZone();
void state_setDraggingHoverZone(bool v);
bool state_forcingZonesVisible();
void state_forceZonesVisible(bool v);
bool state_doingHover();
void state_setDoingHover(bool v);
bool state_canHoverCurFrontWindow();
void state_setCanHoverCurFrontWindow(bool v);
bool state_doingAutoScroll();
void state_setDoingAutoScroll(bool v);
void state_setDoingAutoScrollWurl(bool v);
bool state_hoverFaster();
void state_setHoverFaster(bool v);
int32_t state_hoverSpeedTweak();
void state_setHoverSpeedTweak(int32_t v);
int32_t state_lastAutoScrollSpeedTweak();
bool state_hoverReverse();
void state_setHoverReverse(bool v);
bool state_AXdisabled();
void state_setAXdisabled(bool v);
bool state_forceOff();
bool state_cursorOverDockGrid();
void state_setCursorOverDockGrid(bool v);

// Copies the stored window rectangle into *rect (always) and answers whether a window is
// under the cursor.
bool state_haveCurWindow_rectPtr(IRect* rect);
void state_setHaveCurWindow_rect(bool have, IRect rect);

// Main thread only: the settings switch, discovery and the run timer are its only users.
// The caller may keep the returned reference past a later change.
BidRef state_currentAppBid();
void state_setCurrentAppBid(BidRef bid);

// Whether hover scrolling may run now: nothing else owns the scrolling and the window under
// the cursor may be hover-scrolled.
bool state_canHover();

// A rectangle shared between threads, field by field: a read racing a write may mix the old
// and the new rectangle for that one event, as the run timer's next pass sets it again.
struct RelaxedRect {
  Relaxed<int32_t> top, left, bottom, right;
  IRect load() const { return {top, left, bottom, right}; }
  void store(IRect r) {
    top = r.top;
    left = r.left;
    bottom = r.bottom;
    right = r.right;
  }
};

// A point shared between threads the same way.
struct RelaxedPoint {
  Relaxed<double> x, y;
  port::CGPoint load() const { return {x, y}; }
  void store(port::CGPoint p) {
    x = p.x;
    y = p.y;
  }
};

// Written on one thread and read on another: the event thread owns the flags of the
// scrolling modes, the run timer on the main thread the window, the permission, the zones
// and the next-move flag, and each thread reads the other's. Hence relaxed atomics. No
// reader depends on seeing two of them change together.
struct VAstateStatics {
  Relaxed<bool> sQuitting = false;
  Relaxed<bool> sIsMultiTouch = false;
  Relaxed<bool> sDoingWheel = false;
  Relaxed<bool> sDoingCoast = false;
  Relaxed<bool> sPostingMomentum = false;
  Relaxed<int32_t> sCurMomentumPhase = 0;
  Relaxed<bool> sRepost = false;
  Relaxed<bool> sDoingGrab = false;
  Relaxed<bool> sDoingGrabWOMoving = false;
  Relaxed<bool> sDoingGrabWScrollKey = false;
  Relaxed<bool> sDoingGrabWHotKeyAndButton = false;
  Relaxed<bool> sDoingGrabWHotKeyOnly = false;
  Relaxed<bool> sDoingGrabWToggle = false;
  Relaxed<bool> sDoingGrabWurl = false;
  Relaxed<bool> sInterceptNextKeypress = false;
  Relaxed<bool> sNextMoveResumesTimer = false;
  Relaxed<bool> sDoingVector = false;
  Relaxed<bool> sDoingVectorWurl = false;
  Relaxed<int32_t> sFeatureStartedCoast = 0;
  Relaxed<bool> sDraggingHoverZone = false;
  Relaxed<bool> sForcingZonesVisible = false;
  Relaxed<bool> sDoingHover = false;
  Relaxed<bool> sCanHoverCurFrontWindow = false;
  Relaxed<bool> sDoingAutoScroll = false;
  Relaxed<bool> sDoingAutoScrollWurl = false;
  Relaxed<bool> sHoverFaster = false;
  Relaxed<int32_t> sHoverSpeedTweak = 0;
  Relaxed<int32_t> sLastAutoScrollSpeedTweak = 0;
  Relaxed<bool> sHoverReverse = false;
  Relaxed<bool> sAXdisabled = false;
  Relaxed<bool> sForceOff = false;
  Relaxed<bool> sHaveCurWindow = false;
  RelaxedRect sCurWRect;
  BidRef sCurBid;  // main thread only
  Relaxed<bool> sCursorOverDockGrid = false;
};

// The module's statics, for the process reset and for observers of the mode.
VAstateStatics& VAstate_statics();
void VAstate_reset();
