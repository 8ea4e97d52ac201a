#include "VAevent.h"

#include "Commonprefs.h"
#include "VAevent_wheel.h"
#include "VAremote.h"
#include "VAscroll.h"
#include "VAstate.h"
#include "VAutils.h"
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
    case kCGEventMouseMoved:
      return handleMMoved_event_cgEvent(nsEvent, event);
    case kCGEventScrollWheel:
      return handleWheel_event_cgEvent_overlayWindow(nsEvent, event);
    case kNSEventTypeGesture:
      handleGesture_event_cgEvent_overlayWindow();
      return event;
    default:
      return event;
  }
}

CGEventRef handleMMoved_event_cgEvent(NSEventRef, CGEventRef cgEvent) {
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
    case 9:
      stopCoast();
      break;
    case 10:
      s.sCoastEventsCancelledUntil = 0;
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
    case 17:
    case 18:
    case 19:
    case 20:
      stopAllScrolling();
      break;
    default:
      break;
  }
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
}

void startAutoScrollUp() {
  stopAllScrolling();
  state_setDoingAutoScrollWurl(true);
}

void startGrabScroll() {
  stopAllScrolling();
  state_setDoingGrabWurl(true);
}

void startVectorScroll() {
  stopAllScrolling();
  state_setDoingVectorWurl(true);
}
