#include "VAstate.h"

#include <new>

namespace {
VAstateStatics s;

// Starting grab, vector, hover or autoscroll ends wheel scrolling; stopping them does not
// touch it.
void storeModeFlag(Relaxed<bool>& flag, bool v) {
  flag = v;
  if (v) s.sDoingWheel = false;
}
}  // namespace

VAstateStatics& VAstate_statics() {
  return s;
}
void VAstate_reset() {
  s.~VAstateStatics();
  new (&s) VAstateStatics{};
}

bool state_quitting() {
  return s.sQuitting;
}
bool state_forceOff() {
  return s.sForceOff;
}

bool state_isMultiTouch() {
  return s.sIsMultiTouch;
}
void state_setIsMultiTouch(bool v) {
  s.sIsMultiTouch = v;
}

bool state_doingWheel() {
  return s.sDoingWheel;
}
void state_setDoingWheel(bool v) {
  s.sDoingWheel = v;
}

bool state_doingCoast() {
  return s.sDoingCoast;
}
void state_setDoingCoast(bool v) {
  s.sDoingCoast = v;
}

bool state_postingMomentum() {
  return s.sPostingMomentum;
}
void state_setPostingMomentum(bool v) {
  s.sPostingMomentum = v;
}

int32_t state_curMomentumPhase() {
  return s.sCurMomentumPhase;
}
void state_setCurMomentumPhase(int32_t v) {
  s.sCurMomentumPhase = v;
}

bool state_repostWheelEventsUntilMomentumEnd() {
  return s.sRepost;
}
void state_setRepostWheelEventsUntilMomentumEnd(bool v) {
  s.sRepost = v;
}

bool state_doingGrabWOMoving() {
  return s.sDoingGrabWOMoving;
}
void state_setDoingGrabWOMoving(bool v) {
  s.sDoingGrabWOMoving = v;
}

bool state_doingGrabWScrollKey() {
  return s.sDoingGrabWScrollKey;
}
void state_setDoingGrabWScrollKey(bool v) {
  s.sDoingGrabWScrollKey = v;
}

bool state_doingGrabWHotKeyAndButton() {
  return s.sDoingGrabWHotKeyAndButton;
}
void state_setDoingGrabWHotKeyAndButton(bool v) {
  s.sDoingGrabWHotKeyAndButton = v;
}

bool state_doingGrabWHotKeyOnly() {
  return s.sDoingGrabWHotKeyOnly;
}
void state_setDoingGrabWHotKeyOnly(bool v) {
  s.sDoingGrabWHotKeyOnly = v;
}

bool state_doingGrabWToggle() {
  return s.sDoingGrabWToggle;
}
void state_setDoingGrabWToggle(bool v) {
  s.sDoingGrabWToggle = v;
}

bool state_doingGrabWurl() {
  return s.sDoingGrabWurl;
}
void state_setDoingGrabWurl(bool v) {
  s.sDoingGrabWurl = v;
}

bool state_interceptNextKeypress() {
  return s.sInterceptNextKeypress;
}
void state_setInterceptNextKeypress(bool v) {
  s.sInterceptNextKeypress = v;
}

bool state_nextMoveResumesTimer() {
  return s.sNextMoveResumesTimer;
}
void state_setNextMoveResumesTimer(bool v) {
  s.sNextMoveResumesTimer = v;
}

int32_t state_coastStartedBy() {
  return s.sFeatureStartedCoast;
}
void state_setCoastStartedBy(int32_t v) {
  s.sFeatureStartedCoast = v;
}

bool state_draggingHoverZone() {
  return s.sDraggingHoverZone;
}
void state_setDraggingHoverZone(bool v) {
  s.sDraggingHoverZone = v;
}

bool state_canHoverCurFrontWindow() {
  return s.sCanHoverCurFrontWindow;
}
void state_setCanHoverCurFrontWindow(bool v) {
  s.sCanHoverCurFrontWindow = v;
}

bool state_hoverFaster() {
  return s.sHoverFaster;
}
void state_setHoverFaster(bool v) {
  s.sHoverFaster = v;
}

bool state_hoverReverse() {
  return s.sHoverReverse;
}
void state_setHoverReverse(bool v) {
  s.sHoverReverse = v;
}

bool state_AXdisabled() {
  return s.sAXdisabled;
}
void state_setAXdisabled(bool v) {
  s.sAXdisabled = v;
}

bool state_cursorOverDockGrid() {
  return s.sCursorOverDockGrid;
}
void state_setCursorOverDockGrid(bool v) {
  s.sCursorOverDockGrid = v;
}

bool state_doingGrab() {
  return s.sDoingGrab;
}
void state_setDoingGrab(bool v) {
  storeModeFlag(s.sDoingGrab, v);
}
bool state_doingVector() {
  return s.sDoingVector;
}
void state_setDoingVector(bool v) {
  storeModeFlag(s.sDoingVector, v);
}
bool state_doingVectorWurl() {
  return s.sDoingVectorWurl;
}
void state_setDoingVectorWurl(bool v) {
  storeModeFlag(s.sDoingVectorWurl, v);
}
bool state_doingHover() {
  return s.sDoingHover;
}
void state_setDoingHover(bool v) {
  storeModeFlag(s.sDoingHover, v);
}
bool state_doingAutoScroll() {
  return s.sDoingAutoScroll;
}
void state_setDoingAutoScroll(bool v) {
  storeModeFlag(s.sDoingAutoScroll, v);
}
void state_setDoingAutoScrollWurl(bool v) {
  storeModeFlag(s.sDoingAutoScrollWurl, v);
}

bool state_forcingZonesVisible() {
  return s.sForcingZonesVisible;
}
void state_forceZonesVisible(bool v) {
  s.sForcingZonesVisible = v;
}

int32_t state_hoverSpeedTweak() {
  return s.sHoverSpeedTweak;
}
int32_t state_lastAutoScrollSpeedTweak() {
  return s.sLastAutoScrollSpeedTweak;
}

// The last adjustment made during an autoscroll survives the reset to 0 at its end.
void state_setHoverSpeedTweak(int32_t v) {
  if (s.sDoingAutoScroll && v != 0) s.sLastAutoScrollSpeedTweak = v;
  s.sHoverSpeedTweak = v;
}

bool state_haveCurWindow_rectPtr(IRect* rect) {
  *rect = s.sCurWRect.load();
  return s.sHaveCurWindow;
}

void state_setHaveCurWindow_rect(bool have, IRect rect) {
  s.sHaveCurWindow = have;
  s.sCurWRect.store(rect);
}

BidRef state_currentAppBid() {
  return s.sCurBid;
}
void state_setCurrentAppBid(BidRef bid) {
  s.sCurBid = std::move(bid);
}

bool state_canHover() {
  return !s.sForcingZonesVisible && !s.sDraggingHoverZone && !s.sDoingVector && !s.sDoingGrab &&
         !s.sDoingCoast && s.sCanHoverCurFrontWindow;
}
