// The mouse buttons: the triggers of grab and vector scrolling. A press that may become a
// drag is held back for 70 ms and let go if nothing else happens to it.
#include <cmath>

#include "Commonprefs.h"
#include "VAcursor.h"
#include "VAevent.h"
#include "VAgrab.h"
#include "VAhover.h"
#include "VAkeys.h"
#include "VAremote.h"
#include "VAstate.h"
#include "VAutils.h"
#include "VAvector.h"
#include "acc/blockAtomic.h"
#include "bgDelegate.h"
#include "platform/api/platform.h"

using namespace port;

namespace {
constexpr double kHoldPressFor = 0.07;    // 70,000,000 ns
constexpr double kClickAfterTouch = 0.4;  // a click this soon after a touch is the pad's
constexpr double kStylusKeepsPressButton = 0.15;
constexpr int32_t kVectorNearTitleBar = 50;  // pixels below a window's top edge

VAeventStatics& st() {
  return VAevent_statics();
}

const PrefsRecord& prefs() {
  return *st().prefs;
}

// The flag of the first stylus button held, in the order upper (4), lower (2), tip (1).
bool* stylusButtonFlag(uint64_t mask) {
  VAeventStatics& s = st();
  if (mask & 4) return &s.buttonForWacomUpper;
  if (mask & 2) return &s.buttonForWacomLower;
  if (mask & 1) return &s.buttonForWacomTip;
  return nullptr;
}

bool isStylus(NSEventRef event) {
  return platform().cocoa->subtype(event) == kCGEventMouseSubtypeTabletPoint;
}

// With hover scrolling on, a click near a window's top or on something that shows a hand
// (a link) is left to the application rather than starting a vector scroll.
bool vectorClickPositionAllows(CGPoint click) {
  IRect window;
  if (!prefs_hoverEngineOn() || !state_haveCurWindow_rectPtr(&window)) return true;
  return !(click.y >= window.top - kVectorNearTitleBar || isHandCursorCurrent());
}

bool withinSlop(CGPoint at, CGPoint press) {
  double slop = prefs_dragSlop();
  return std::fabs(at.x - press.x) < slop && std::fabs(at.y - press.y) < slop;
}

// A press let go by a drag or a release before its 70 ms are up never reaches the
// application.
void dropHeldPress() {
  VAeventStatics& s = st();
  if (!s.sCopiedMdownToDelay) return;
  platform().quartz->release(s.sCopiedMdownToDelay);
  s.sCopiedMdownToDelay = nullptr;
}

void holdPress(CGEventRef cgEvent) {
  VAeventStatics& s = st();
  dropHeldPress();
  s.sCopiedMdownToDelay = platform().quartz->createCopy(cgEvent);
  Dispatch& dispatch = *platform().dispatch;
  dispatch.after(kHoldPressFor, dispatch.getMainQueue(), [] { bgDelegate::postVAEvent(6); });
}

// The reposted copy of a held press, on a grab button that toggles: grabbing starts here.
CGEventRef repostedPress(NSEventRef event, CGEventRef cgEvent, CGPoint click) {
  const PrefsRecord& p = prefs();
  uint64_t flags = platform().cocoa->modifierFlags(event);
  if (p.grabTriggerKind == 4 && p.grabOn && !state_doingGrabWToggle() &&
      !(flags & prefs_grabDisablingMods())) {
    state_setDoingGrabWToggle(true);
    grabStart_unflippedPoint(click.x, click.y);
    if (p.grabShowHand) cursor_showOpenHand();
    return nullptr;
  }
  return cgEvent;
}
}  // namespace

CGEventRef handleMDown_event_cgEvent(NSEventRef event, CGEventRef cgEvent) {
  VAeventStatics& s = st();
  const PrefsRecord& p = prefs();
  CocoaEvents& cocoa = *platform().cocoa;
  s.sLastMDownTime = utils_now();
  s.sLastMdownButton = cocoa.buttonNumber(event);
  s.sSubstitutingButtonForWacom = false;
  if (state_interceptNextKeypress()) {
    // A click ends the pane's wait for a hot key.
    state_setInterceptNextKeypress(false);
    bgDelegate::notifyKeyPressed_mods(0, 0);
  }
  bgDelegate::runTimerAfter(0.05f);
  // Fresh for the release, which may start a vector scroll unless the cursor is a hand.
  if (prefs_hoverEngineOn()) cursor_noteSystemCursorSoon();
  if (state_doingCoast()) stopCoast();
  CGPoint click = unflippedPointfor_cgevent(cgEvent);
  s.slastMDownPointForGrabButton = click;
  s.sIsLastMdownInHoverZone = 0;
  state_setDoingWheel(false);

  CGEventType type = cocoa.type(event);
  if (isStylus(event)) {
    if (bool* flag = stylusButtonFlag(cocoa.buttonMask(event))) {
      if (type == kCGEventRightMouseDown || type == kCGEventOtherMouseDown) *flag = true;
      if (type == kCGEventLeftMouseDown) *flag = false;
    }
  }

  if (s.sLastMDownTime < s.sSuppressDelayMdownTime) return repostedPress(event, cgEvent, click);

  stopScrollKeysRepeat();
  if (hover_willEventStopHover()) {
    // A press on a zone begins dragging it: the agent's window must take the drag.
    if (hover_isPoint_inZoneWithMargin(0, click.x, click.y)) {
      s.sIsLastMdownInHoverZone = 1;
      dispatchMainWithAutoreleasePool(
          [] { platform().application->activateIgnoringOtherApps(true); });
      return cgEvent;
    }
    return nullptr;
  }

  uint64_t flags = cocoa.modifierFlags(event);
  int64_t button = s.sLastMdownButton;
  bool vectorCandidate = false;
  if (p.vectorOn) {
    if (state_doingVector()) {
      // This click ends the scroll; its release must not start another.
      s.sLastMDownEventNumberThatStoppedVector = cocoa.eventNumber(event);
      vectorStop_event_cgEvent(event, cgEvent);
      return nullptr;
    }
    if (button == p.vectorButton && !state_doingGrabWScrollKey()) {
      vectorCandidate = !state_doingGrabWHotKeyOnly();
      if (vectorCandidate && button == 1 && p.vectorTriggerKind == 0 && !state_doingVector() &&
          !(flags & prefs_vectorDisablingMods()) && vectorClickPositionAllows(click)) {
        vectorStart_point(click.x, click.y);
        return nullptr;
      }
    }
  }

  if (state_doingGrabWToggle() || state_doingGrabWurl()) {
    grabStop_event_cgEvent(event, cgEvent);
    state_setDoingGrabWToggle(false);
    state_setDoingGrabWurl(false);
    cursor_backToNormalOScursor();
    return nullptr;
  }
  if (state_doingGrabWScrollKey()) {
    if (button == p.grabButton) return nullptr;
    state_setDoingGrabWScrollKey(false);
    cursor_backToNormalOScursor();
    return cgEvent;
  }
  if (state_doingGrabWHotKeyAndButton()) {
    if (button == p.grabButton) return nullptr;
    state_setDoingGrabWHotKeyAndButton(false);
    cursor_backToNormalOScursor();
    return cgEvent;
  }

  bool grabButton = p.grabOn && button == p.grabButton;
  bool grabDrag = grabButton && p.grabTriggerKind == 0;
  bool grabToggle = grabButton && p.grabTriggerKind == 4;
  bool vector = vectorCandidate && (p.vectorTriggerKind == 0 || p.vectorTriggerKind == 2);
  if (!grabDrag && !grabToggle && !vector) return cgEvent;
  // Fingers just lifted from the trackpad: this is the pad's click, not a trigger.
  if (s.sLastMDownTime < s.sTimeLastTouch + kClickAfterTouch) return cgEvent;

  if (flags & prefs_vectorDisablingMods()) vector = false;
  if (!(flags & prefs_grabDisablingMods()) && grabDrag && p.grabEatMDown && !vector) {
    return nullptr;
  }
  if (p.vectorTriggerKind == 2 && vector && p.vectorEatMDown) return nullptr;
  holdPress(cgEvent);
  return nullptr;
}

CGEventRef handleMDragged_event_cgEvent(NSEventRef event, CGEventRef cgEvent) {
  VAeventStatics& s = st();
  const PrefsRecord& p = prefs();
  CocoaEvents& cocoa = *platform().cocoa;
  state_setDoingWheel(false);
  if (state_doingCoast()) stopCoast();
  CGPoint at = unflippedPointfor_cgevent(cgEvent);
  s.sLastUnflippedEventLocation = at;

  if (state_draggingHoverZone()) return cgEvent;
  if (s.sIsLastMdownInHoverZone) {
    state_setDraggingHoverZone(true);
    return cgEvent;
  }
  dropHeldPress();

  int64_t button = cocoa.buttonNumber(event);
  if (isStylus(event)) {
    if (const bool* flag = stylusButtonFlag(cocoa.buttonMask(event))) button = *flag ? 1 : 0;
    // A stylus drag that begins right after its press keeps the press's button.
    if (s.sSubstitutingButtonForWacom || utils_now() < s.sLastMDownTime + kStylusKeepsPressButton) {
      s.sSubstitutingButtonForWacom = true;
      button = s.sLastMdownButton;
    }
  }

  if (state_doingGrabWToggle()) return nullptr;
  bgDelegate::MMoved();
  if (state_doingGrabWurl()) {
    grabContinue_event_cgEvent(event, cgEvent);
    return nullptr;
  }
  if (state_doingVectorWurl()) {
    bgDelegate::runTimerAfter(0.25f);
    vectorContinue_event_cgEvent(event, cgEvent);
    return nullptr;
  }

  uint64_t flags = cocoa.modifierFlags(event);
  CGPoint press = s.slastMDownPointForGrabButton;
  if (p.grabOn && button == p.grabButton) {
    if (p.grabTriggerKind == 3 || p.grabTriggerKind == 4) return cgEvent;
    if (state_doingGrab()) {
      grabContinue_event_cgEvent(event, cgEvent);
      return nullptr;
    }
    if ((p.grabTriggerKind == 1 && !state_doingGrabWScrollKey()) ||
        (p.grabTriggerKind == 2 && !state_doingGrabWHotKeyAndButton())) {
      return cgEvent;
    }
    if (flags & prefs_grabDisablingMods()) return cgEvent;
    if (withinSlop(at, press)) return nullptr;
    grabStart_unflippedPoint(at.x, at.y);
    return nullptr;
  }

  if (!(p.vectorOn && button == p.vectorButton && p.vectorTriggerKind == 2 &&
        !state_doingGrabWScrollKey() && !state_doingGrabWHotKeyAndButton())) {
    return cgEvent;
  }
  if (state_doingVector()) {
    bgDelegate::runTimerAfter(0.25f);
    vectorContinue_event_cgEvent(event, cgEvent);
    return nullptr;
  }
  if (flags & prefs_vectorDisablingMods()) return cgEvent;
  if (withinSlop(at, press)) return nullptr;
  vectorStart_point(press.x, press.y);
  return nullptr;
}

CGEventRef handleMUp_event_cgEvent(NSEventRef event, CGEventRef cgEvent) {
  VAeventStatics& s = st();
  const PrefsRecord& p = prefs();
  CocoaEvents& cocoa = *platform().cocoa;
  bgDelegate::runTimerAfter(0.05f);
  s.sSubstitutingButtonForWacom = false;
  state_setDoingWheel(false);
  if (state_doingCoast()) stopCoast();
  if (state_draggingHoverZone()) {
    state_setDraggingHoverZone(false);
    return cgEvent;
  }
  dropHeldPress();

  CGEventRef result = cgEvent;
  bool grabRan = state_doingGrab();
  if (grabRan) {
    if (state_doingGrabWToggle()) return nullptr;  // the grab goes on until the next click
    result = grabStop_event_cgEvent(event, cgEvent);
  }
  if (state_doingVector() && p.vectorTriggerKind == 2)
    return vectorStop_event_cgEvent(event, result);

  if (!grabRan) {
    if (p.vectorOn && cocoa.eventNumber(event) != s.sLastMDownEventNumberThatStoppedVector &&
        cocoa.buttonNumber(event) == p.vectorButton && p.vectorTriggerKind == 0 &&
        !state_doingGrabWScrollKey() && !state_doingGrabWHotKeyAndButton()) {
      if (cocoa.modifierFlags(event) & prefs_vectorDisablingMods()) return cgEvent;
      CGPoint press = s.slastMDownPointForGrabButton;
      if (vectorClickPositionAllows(press)) {
        vectorStart_point(press.x, press.y);
        return event_releaseAwayFromPage(event, cgEvent);
      }
    }
    if (state_doingGrabWHotKeyAndButton()) {
      state_setDoingGrabWHotKeyAndButton(false);
      cursor_backToNormalOScursor();
    }
  }
  stopScrollKeysRepeat();
  hover_willEventStopHover();
  return result;
}
