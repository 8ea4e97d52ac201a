#include "VAevent.h"

#include "Commonprefs.h"
#include "VAcursor.h"
#include "VAevent_wheel.h"
#include "VAgrab.h"
#include "VAhover.h"
#include "VAkeys.h"
#include "VAremote.h"
#include "VAscroll.h"
#include "VAstate.h"
#include "VAutils.h"
#include "VAvector.h"
#include "bgDelegate.h"
#include "platform/api/platform.h"

using namespace port;

namespace {
VAeventStatics s;

}  // namespace

VAeventStatics& VAevent_statics() {
  return s;
}
void VAevent_reset() {
  s = VAeventStatics{};
}

CGEventRef VAevent::eventForEvent_bars_window(CGEventRef event, const Bars*, void*) {
  NSEventRef nsEvent = platform().cocoa->eventWithCGEvent(event);
  CGEventType type = platform().cocoa->type(nsEvent);

  if (s.sCoastStopEventsIgnoredUntil != 0) {
    if (s.sCoastStopEventsIgnoredUntil > utils_now()) return nullptr;
    s.sCoastStopEventsIgnoredUntil = 0;
  }

  switch (type) {
    case kCGEventLeftMouseDown:
    case kCGEventRightMouseDown:
    case kCGEventOtherMouseDown:
      return handleMDown_event_cgEvent(nsEvent, event);
    case kCGEventLeftMouseUp:
    case kCGEventRightMouseUp:
    case kCGEventOtherMouseUp:
      return handleMUp_event_cgEvent(nsEvent, event);
    case kCGEventMouseMoved:
      return handleMMoved_event_cgEvent(nsEvent, event);
    case kCGEventLeftMouseDragged:
    case kCGEventRightMouseDragged:
    case kCGEventOtherMouseDragged:
      return handleMDragged_event_cgEvent(nsEvent, event);
    case kCGEventKeyDown:
    case kCGEventKeyUp:
      return handleKeyUpDown_event_cgEvent(nsEvent, event);
    case kCGEventFlagsChanged:
      return handleFlags_event_cgEvent(nsEvent, event);
    case kCGEventScrollWheel:
      return handleWheel_event_cgEvent_overlayWindow(nsEvent, event);
    case kCGEventTabletProximity:
      // The stylus left the tablet: a grab it drove ends.
      if (state_doingGrab()) return grabStop_event_cgEvent(nsEvent, event);
      return event;
    case kNSEventTypeGesture:
      handleGesture_event_cgEvent_overlayWindow();
      return event;
    default:
      return event;
  }
}

CGEventRef handleMMoved_event_cgEvent(NSEventRef nsEvent, CGEventRef cgEvent) {
  QuartzEvents& quartz = *platform().quartz;
  // While grabbing without moving, the agent keeps putting the cursor back; its own moves
  // must not count as the user's.
  if (state_doingGrabWOMoving() && (quartz.getIntegerValueField(cgEvent, kCGEventSourceUserData) &
                                    kAgentEventTagMask) == kAgentEventTag) {
    return cgEvent;
  }
  s.sLastUnflippedEventLocation = unflippedPointfor_cgevent(cgEvent);
  // Nudging the mouse stops a wheel or trackpad coast, and its remaining events with it.
  if (prefs_nudgeCursorToStopNow() && state_doingCoast() && state_coastStartedBy() == 2) {
    stopCoast();
    s.sCoastEventsCancelledUntil = utils_now() + 0.3;
  }
  if (s.prefs->vectorOn && state_doingVector() &&
      (s.prefs->vectorTriggerKind < 2 || state_doingVectorWurl())) {
    vectorContinue_event_cgEvent(nsEvent, cgEvent);
  }
  if (s.prefs->grabOn &&
      (state_doingGrabWHotKeyOnly() || state_doingGrabWToggle() || state_doingGrabWurl())) {
    grabContinue_event_cgEvent(nsEvent, cgEvent);
  }
  // Leaving the area the coast began in cancels its events there.
  if (state_doingCoast() && !bgDelegate::ckCursorInCoastRect()) {
    s.sCoastEventsCancelledUntil = utils_now() + 0.3;
  }
  bgDelegate::MMoved();
  return cgEvent;
}

void VAevent::handleVAEvent(int kind) {
  switch (kind) {
    case 6:
      // The mouse-down held back by the button handler is let go now.
      if (s.sCopiedMdownToDelay) {
        QuartzEvents& quartz = *platform().quartz;
        quartz.post(kCGSessionEventTap, s.sCopiedMdownToDelay);
        quartz.release(s.sCopiedMdownToDelay);
        s.sCopiedMdownToDelay = nullptr;
        s.sSuppressDelayMdownTime = utils_now() + 0.08;
      }
      break;
    case 7:
      scroll_postStopWheelEvent();
      break;
    case 8:
      stopCoast();
      if (state_doingVector()) vectorStop_event_cgEvent(nullptr, nullptr);
      break;
    case 9:
      stopCoast();
      break;
    case 10:
      s.sCoastEventsCancelledUntil = 0;
      break;
    case 11:
      stopHoverTimer();
      break;
    case 12:
      stopAllScrolling();
      break;
    case 13:
      startAutoScroll();
      break;
    case 14:
      startAutoScrollUp();
      break;
    case 15:
      startGrabScroll();
      break;
    case 16:
      startVectorScroll();
      break;
    case 17:  // up, down, left and right once
    case 18:
    case 19:
    case 20:
      stopAllScrolling();
      keys_doAction(kind - 17);
      break;
    case 21:  // the same, repeated
    case 22:
    case 23:
    case 24:
      keys_doRepeat(kind - 21);
      break;
    default:
      break;
  }
}

CGEventRef event_releaseAwayFromPage(NSEventRef event, CGEventRef cgEvent) {
  CGEventType type = event ? platform().cocoa->type(event) : kCGEventNull;
  bool release = type == kCGEventNull || type == kCGEventLeftMouseUp ||
                 type == kCGEventRightMouseUp || type == kCGEventOtherMouseUp;
  if (!release) return nullptr;
  if (cgEvent) platform().quartz->setLocation(cgEvent, CGPoint{1.0, 1.0});
  return cgEvent;
}

void event_ignoreCoastStopEventsForDelay(double seconds) {
  s.sCoastStopEventsIgnoredUntil = utils_now() + seconds;
}

// The keyboard scroller asks for a location; the origin is what it gets.
CGPoint event_lastLocation() {
  return CGPoint{0, 0};
}

void event_initPrefs() {
  s.prefs = prefs_bgprefs();
}

bool event_needMmovedTap() {
  if (state_doingGrabWOMoving()) return true;
  if (state_doingVector() && (s.prefs->vectorTriggerKind < 2 || state_doingVectorWurl())) {
    return true;
  }
  return state_doingGrabWHotKeyOnly() || state_doingGrabWToggle() || state_doingGrabWurl() ||
         state_doingCoast();
}

// Ends every mode a trigger started. A running coast goes on.
void stopAllScrolling() {
  state_setDoingWheel(false);
  resetScrollKeysState();
  stopScrollKeysRepeat();
  cursor_backToNormalOScursor();
  if (state_doingGrab()) grabStop_event_cgEvent(nullptr, nullptr);
  if (state_doingVector()) vectorStop_event_cgEvent(nullptr, nullptr);
  if (state_doingHover()) setHoverLow(1.0);
  state_setDoingAutoScrollWurl(false);
  state_setDoingVectorWurl(false);
  state_setDoingGrabWToggle(false);
  state_setDoingGrabWScrollKey(false);
  state_setDoingGrabWHotKeyOnly(false);
  state_setDoingGrabWHotKeyAndButton(false);
  state_setDoingGrabWurl(false);
  state_setDraggingHoverZone(false);
  s.sIsLastMdownInHoverZone = 0;
  state_setInterceptNextKeypress(false);
}

void startAutoScroll() {
  stopAllScrolling();
  state_setDoingAutoScrollWurl(true);
  hover_startAutoScroll(kDirectionDown);
  bgDelegate::fadeZones(kDirectionDown);
}

void startAutoScrollUp() {
  stopAllScrolling();
  state_setDoingAutoScrollWurl(true);
  hover_startAutoScroll(kDirectionUp);
  bgDelegate::fadeZones(kDirectionUp);
}

void startGrabScroll() {
  stopAllScrolling();
  state_setDoingGrabWurl(true);
  grabStart_unflippedPoint(s.sLastUnflippedEventLocation.x, s.sLastUnflippedEventLocation.y);
  if (s.prefs->grabShowHand) cursor_showOpenHand();
}

void startVectorScroll() {
  stopAllScrolling();
  state_setDoingVectorWurl(true);
  CGPoint mouse = platform().cocoa->mouseLocation();
  vectorStart_point(mouse.x, mouse.y);
}
