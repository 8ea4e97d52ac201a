// Wheel and gesture intake: the agent's own events, disabling modifiers, the deltas as the
// running system reports them, repost mode behind the agent's momentum, phases, whether
// the event comes from a multi-touch surface, and which shaping handler takes it.
#include "VAevent_wheel.h"
#include "VAhover.h"

#include "Commonprefs.h"
#include "VAevent.h"
#include "VAkeys.h"
#include "VAremote.h"
#include "VAscroll.h"
#include "VAstate.h"
#include "VAutils.h"
#include "bgDelegate.h"
#include "bgprefs.h"
#include "platform/api/platform.h"

using namespace port;

namespace {
constexpr uint32_t kLion = 0x100700;          // 10.7: phases on the Cocoa event
constexpr uint32_t kLastYosemite = 0x1010FF;  // every 10.10.x, and all before
constexpr uint32_t kSierraEarly = 0x101200;   // 10.12.0 and 10.12.1
constexpr double kPhasesForgottenAfter = 0.35;
constexpr double kTouchCountsFor = 0.2;
constexpr double kTouchStopsCoastAfter = 0.08;
constexpr int kMaxReposts = 6;

bool isAgentTag(int64_t userData, int64_t tag) {
  return (userData & kAgentEventTagMask) == tag;
}

// Multipliers and reversal from the settings of the device the event came from.
void fillShaping(WheelVars& vars) {
  uint64_t flags = vars.modifierFlags;
  uint32_t speedModifier = prefs_wheelModSpeedOn() ? prefs_wheelModifier() : 0;
  vars.modSpeedActive = (speedModifier & flags) != 0;
  float vertical = 1.0f, horizontal = 1.0f;
  if (vars.modSpeedActive) {
    float m = prefs_wheelSpeedMultiplierWithModifier();
    vertical = m;
    horizontal = prefs_wheelModSpeedXOn() ? m : 1.0f;
  }
  vars.multY = prefs_wheelSpeedMultiplier() * vertical;
  vars.multX = prefs_wheelSpeedMultiplierX() * horizontal;
  vars.reversedX = prefs_reverseWheelX();
  // Only the vertical reversal can be tied to a modifier.
  vars.reversedY = prefs_reverseWheelY() &&
                   (!prefs_wheelReverseOnlyWithModOn() || (flags & prefs_wheelReverseModifier()));
}

// A multi-touch event when coasting starts as the fingers lift, or pad coasting is off.
CGEventRef handlePadLift(WheelVars& vars, double Y, double X, double t) {
  VAeventStatics& s = VAevent_statics();
  vars.zeroAndNotCoasting = X == 0 && Y == 0 && !state_doingCoast();
  wheel_notePhase(vars.phase, t);
  CGEventRef cgEvent = vars.event;
  if (!prefs_wheelCoastVOn()) return wheel_passShaped(&vars, X, Y);
  float scaledY = static_cast<float>(Y * vars.multY);
  float scaledX = static_cast<float>(X * vars.multX);
  if (scaledY * scaledY > scaledX * scaledX) {
    X = 0;
  } else if (scaledX * scaledX > scaledY * scaledY) {
    Y = 0;
  }
  // Anything with a horizontal part passes untouched in this mode.
  if (scaledX != 0) return cgEvent;
  if (prefs_wacomCompatible() &&
      ((wheel_isWholeDelta(X) && Y == 0) || (wheel_isWholeDelta(Y) && X == 0))) {
    stopCoast();
    return cgEvent;
  }

  bool mayStart;
  if (vars.momentumPhase == 0 && !(s.sHavePhases && s.sGotPhaseEnded)) {
    mayStart = false;  // fingers still down, or a device without phases
  } else if (vars.phase == 0 && s.sIsFirstMomentumEvent) {
    s.sIsFirstMomentumEvent = false;
    mayStart = true;  // the first momentum event after the fingers lifted
  } else if (vars.momentumPhase != 0) {
    return cgEvent;
  } else if (vars.phase == 0) {
    return cgEvent;
  } else {
    mayStart = false;
  }

  stopCoast();
  wheel_shapeDeltas(&vars, X, Y);
  float x = static_cast<float>(X);
  float y = static_cast<float>(Y);
  if (!shouldCoastFor_xPtr_yPtr_updateOnly_startFromHistory_singleFactor(&x, &y, false, false,
                                                                         100)) {
    stopCoast();
    return cgEvent;
  }
  if (!mayStart) return cgEvent;
  wheel_startPadCoast(vars, x, y);
  return nullptr;
}
}  // namespace

void wheel_notePhase(uint64_t phase, double time) {
  VAeventStatics& s = VAevent_statics();
  if (phase == kNSEventPhaseBegan || phase == kNSEventPhaseChanged) {
    s.sHavePhases = true;
    s.sGotPhaseEnded = false;
    s.sIsFirstMomentumEvent = true;
  } else if (phase == kNSEventPhaseEnded) {
    s.sGotPhaseEnded = true;
    s.sTimeGotPhaseEnded = time;
  }
}

CGEventRef handleWheel_event_cgEvent_overlayWindow(NSEventRef event, CGEventRef cgEvent) {
  VAeventStatics& s = VAevent_statics();
  QuartzEvents& quartz = *platform().quartz;
  CocoaEvents& cocoa = *platform().cocoa;

  int64_t userData = quartz.getIntegerValueField(cgEvent, kCGEventSourceUserData);
  if (isAgentTag(userData, kAgentEventPassTag)) return cgEvent;
  if (isAgentTag(userData, kAgentEventTag)) {
    // The end-of-momentum marker is back: real events need no reposting any more.
    if (sysvers() >= kLion && cocoa.momentumPhase(event) == kNSEventPhaseEnded &&
        state_repostWheelEventsUntilMomentumEnd()) {
      state_setRepostWheelEventsUntilMomentumEnd(false);
    }
    if (s.sCoastEventsCancelledUntil != 0 && utils_now() < s.sCoastEventsCancelledUntil)
      return nullptr;
    return cgEvent;
  }

  bgDelegate::runTimerOnMain();
  stopScrollKeysRepeat();
  state_setDoingGrabWScrollKey(false);
  // The wheel event that ends hover scrolling goes no further.
  if (hover_willEventStopHover()) return nullptr;

  uint64_t flags = cocoa.modifierFlags(event);
  if (flags & prefs_wheelDisablingMods()) return cgEvent;

  WheelVars vars;
  vars.shiftDown = (flags & kCGEventFlagMaskShift) != 0;
  double dx, dy;
  uint32_t version = sysvers();
  if (version <= kLastYosemite) {
    dx = cocoa.deltaX(event);
    dy = cocoa.deltaY(event);
    vars.shiftDown = false;
  } else if ((version & ~1u) == kSierraEarly) {
    // These releases report unreliable Cocoa deltas: the pixel fields are read instead.
    dy = static_cast<float>(
             quartz.getIntegerValueField(cgEvent, kCGScrollWheelEventPointDeltaAxis1)) /
         10.0f;
    dx = static_cast<float>(
             quartz.getIntegerValueField(cgEvent, kCGScrollWheelEventPointDeltaAxis2)) /
         10.0f;
  } else {
    dx = cocoa.scrollingDeltaX(event);
    dy = cocoa.scrollingDeltaY(event);
    if (cocoa.hasPreciseScrollingDeltas(event)) {
      dx /= 10;
      dy /= 10;
    }
  }

  // The real event must reach applications behind the agent's end-of-momentum marker.
  if (state_postingMomentum()) {
    scroll_postStopWheelEvent();
    state_setPostingMomentum(false);
    scroll_repostEvent(cgEvent);
    scroll_resetMomentumDelay();
    state_setRepostWheelEventsUntilMomentumEnd(true);
    s.sRepostCount = 0;
    return nullptr;
  }
  if (state_repostWheelEventsUntilMomentumEnd()) {
    // Left after the sixth repost even when the marker never comes back.
    int32_t old = s.sRepostCount++;
    if (old >= kMaxReposts - 1) state_setRepostWheelEventsUntilMomentumEnd(false);
    scroll_repostEvent(cgEvent);
    return nullptr;
  }

  if (version >= kLion) {
    vars.phase = cocoa.phase(event);
    vars.momentumPhase = cocoa.momentumPhase(event);
  }

  double t = utils_now();
  if (t - kPhasesForgottenAfter > s.sTimeOfLastWheelEvent) s.sHavePhases = false;
  s.sTimeOfLastWheelEvent = t;
  vars.time = t;

  bool multiTouch =
      vars.phase != 0 || vars.momentumPhase != 0 || t < s.sTimeLastTouch + kTouchCountsFor;
  state_setIsMultiTouch(multiTouch);
  if (!prefs_wheelOn()) return cgEvent;

  vars.event = cgEvent;
  vars.modifierFlags = flags;
  fillShaping(vars);
  double X = dx;
  double Y = dy == 0 ? 0.0 : -dy;
  if (vars.reversedX) X = -X;
  if (vars.reversedY) Y = -Y;

  if (!multiTouch) return handleTrueWheel_dy_dx_vars(&vars, Y, X);
  if (prefs_wheelCoastVOn() && !s.prefs->pad.padLiftFingersToCoast) {
    return handlePadNoLift_dy_dx_vars(&vars, Y, X);
  }
  return handlePadLift(vars, Y, X, t);
}

void handleGesture_event_cgEvent_overlayWindow() {
  VAeventStatics& s = VAevent_statics();
  bool wasCoasting = state_doingCoast();
  double t = utils_now();
  s.sTimeLastTouch = t;
  // Touching again well after the gesture ended stops the coast it left behind.
  if (s.sHavePhases && s.sGotPhaseEnded && wasCoasting &&
      t - kTouchStopsCoastAfter > s.sTimeGotPhaseEnded) {
    stopCoast();
  }
  bgDelegate::MMoved();
}
