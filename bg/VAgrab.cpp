#include "VAgrab.h"

#include <cmath>

#include "Commonprefs.h"
#include "VAcursor.h"
#include "VAevent.h"
#include "VAremote.h"
#include "VAscroll.h"
#include "VAstate.h"
#include "VAutils.h"
#include "platform/api/platform.h"

using namespace port;

namespace {
VAgrabStatics s;

constexpr int32_t kLockBoth = 0;
constexpr int32_t kLockVertical = 1;
constexpr int32_t kLockHorizontal = 2;
// The axes are decided on this many movements' sum.
constexpr int32_t kMovementsBeforeAxisDecision = 10;
constexpr double kCoastHistoryGap = 0.1;  // a pause this long in the history: no speed

// Splits an amount plus its residue into whole pixels, keeping the fraction for later.
// The whole part comes out with the opposite sign of the residue minus the amount.
double wholePixels(double& accum, double amount) {
  double t = accum - amount;
  if (t > 0) {
    accum = t - std::floor(t);
    return -std::floor(t);
  }
  accum = t + std::floor(-t);
  return std::floor(-t);
}

void decideAxes() {
  float across = s.sDistanceX * s.sDistanceX;
  if (across == 0) return;
  float ratio = s.sDistanceY * s.sDistanceY / across;
  if (ratio < 0.2f) {
    s.sAxesLockedX0Y1 = kLockHorizontal;
  } else if (ratio < 5.0f) {
    s.sAxesLockedX0Y1 = kLockBoth;
  }
}
}  // namespace

VAgrabStatics& VAgrab_statics() {
  return s;
}

void VAgrab_reset() {
  s = VAgrabStatics{};
}

void grab_initPrefs() {
  s.prefs = prefs_bgprefs();
}

void grabStart_unflippedPoint(double x, double y) {
  resetScrollAccum();
  scroll_resetScrollPhase();
  s.sDistanceCursorMovedDuringGrab = 0;
  s.sGrabStartMultiplierX = 0;
  s.sGrabStartMultiplierY = 0;
  s.sAccumX = 0;
  s.sAccumY = 0;
  s.sGrabXYindex = 0;
  s.sGrabDidTryToScroll = false;
  s.sNumContinueCalls = 0;
  s.sDistanceX = 0;
  s.sDistanceY = 0;
  s.sAxesLockedX0Y1 = kLockVertical;
  s.sLastCursorPoint = s.sStartPoint = CGPoint{x, y};
  if (s.prefs->grabFreezeOn) {
    s.sAddedToX = 0;
    s.sAddedToY = 0;
    state_setDoingGrabWOMoving(true);
  }
  state_setDoingGrab(true);
  cursor_backToNormalOScursor();
}

// dx is positive when the pointer moves left, dy when it moves down (Cocoa y grows up).
void grabContinue_event_cgEvent(NSEventRef event, CGEventRef cgEvent) {
  CGPoint p = unflippedPointfor_cgevent(cgEvent);
  double dx = s.sLastCursorPoint.x - p.x;
  double dy = s.sLastCursorPoint.y - p.y;
  s.sLastCursorPoint = p;

  // Frozen: the pointer went back to the start after the last movement, so the movement is
  // what the warp has to undo now.
  if (state_doingGrabWOMoving()) {
    postMouseMovedToCancelCursorMovement();
    dx = dx + s.sAddedToX;
    dy = -(dy + s.sAddedToY);
  }

  // Single-precision sums, each rounded once.
  s.sDistanceCursorMovedDuringGrab =
      static_cast<float>(s.sDistanceCursorMovedDuringGrab + std::fabs(dx) + std::fabs(dy));
  s.sDistanceX = static_cast<float>(s.sDistanceX + dx);
  s.sDistanceY = static_cast<float>(s.sDistanceY + dy);

  if (s.sNumContinueCalls >= 0) {
    if (s.sNumContinueCalls++ >= kMovementsBeforeAxisDecision) {
      s.sNumContinueCalls = -1;
      decideAxes();
    }
  }

  if (s.sGrabStartMultiplierX == 0 || s.sGrabStartMultiplierY == 0) {
    float start = s.prefs->grabSpeedOn ? static_cast<float>(s.prefs->grabSpeed) : 1.0f;
    s.sGrabStartMultiplierX = start;
    s.sGrabStartMultiplierY = start;
  }
  float mx = s.sGrabStartMultiplierX;
  float my = s.sGrabStartMultiplierY;
  if (event && (platform().cocoa->modifierFlags(event) & index2key(s.prefs->grabMod))) {
    mx *= prefs_grabModSpeed();
    my *= prefs_grabModSpeed();
  }
  dx = dx * mx;
  if (s.prefs->grabReverseXOn) dx = -dx;
  dy = dy * my;
  if (s.prefs->grabReverseYOn) dy = -dy;

  if (s.prefs->grabSnapToAxis) {
    if (s.sAxesLockedX0Y1 == kLockVertical) dx = 0;
    if (s.sAxesLockedX0Y1 == kLockHorizontal) dy = 0;
  }

  // A drag down scrolls the content down; a drag right moves it right.
  double ny = wholePixels(s.sAccumY, dy);
  double nx = wholePixels(s.sAccumX, dx);
  s.sGrabDidTryToScroll = true;
  int32_t wholeX = truncateToInt32(nx);
  int32_t wholeY = truncateToInt32(ny);
  // Negated in a wider type: a nonsense amount stays the most negative one, which the
  // posting limit refuses.
  if (wholeX != 0 || wholeY != 0) {
    send_cgWheelEvent_intX_intY(static_cast<int32_t>(-static_cast<int64_t>(wholeX)), wholeY);
  }

  s.sGrabXYhistory[s.sGrabXYindex] = {static_cast<float>(dx), static_cast<float>(dy), utils_now()};
  if (++s.sGrabXYindex == kGrabHistorySize) s.sGrabXYindex = 0;
}

// The alternating 0.0002 offset keeps successive warps from being identical events.
void postMouseMovedToCancelCursorMovement() {
  CGPoint start = carbonScreenPointFromCocoaScreenPoint(s.sStartPoint);
  s.ofst = -s.ofst;
  CGPoint target{start.x - s.ofst, start.y - s.ofst};
  CGPoint last = carbonScreenPointFromCocoaScreenPoint(s.sLastCursorPoint);
  s.sAddedToX = static_cast<float>(target.x - last.x);
  s.sAddedToY = static_cast<float>(target.y - last.y);
  postMouseMovedToPoint(target.x, target.y);
}

// The event comes back through the agent's taps, where its tag tells it apart from the
// user's movements.
void postMouseMovedToPoint(double x, double y) {
  QuartzEvents& quartz = *platform().quartz;
  if (!s.sCgEventSource) {
    s.sCgEventSource = quartz.sourceCreate(kCGEventSourceStatePrivate);
    if (!s.sCgEventSource) return;
    quartz.sourceSetUserData(s.sCgEventSource, kAgentEventTag);
  }
  CGEventRef moved = quartz.createMouseEvent(s.sCgEventSource, kCGEventMouseMoved, CGPoint{x, y},
                                             kCGMouseButtonLeft);
  if (!moved) return;
  quartz.post(kCGSessionEventTap, moved);
  quartz.release(moved);
}

CGEventRef grabStop_event_cgEvent(NSEventRef event, CGEventRef cgEvent) {
  QuartzEvents& quartz = *platform().quartz;
  if (s.prefs->grabFreezeOn) state_setDoingGrabWOMoving(false);
  if (s.prefs->grabCoastOn && s.sGrabDidTryToScroll) {
    CGPoint at = cgEvent ? quartz.getLocation(cgEvent) : CGPoint{0, 0};
    grabCoastAfterIfShould(at.x, at.y);
  }
  // The pointer is left where the grab saw it last, not wherever a freeze put it.
  if (!state_doingGrabWHotKeyOnly()) {
    CGPoint last = carbonScreenPointFromCocoaScreenPoint(s.sLastCursorPoint);
    postMouseMovedToPoint(last.x, last.y);
  }
  state_setDoingGrab(false);
  if (s.prefs->grabShowHand && state_doingGrabWHotKeyAndButton()) {
    cursor_showOpenHand();
  } else if (state_doingGrabWScrollKey()) {
    cursor_showOpenHand();
  }
  return event_releaseAwayFromPage(event, cgEvent);
}

// Walks back over the movements of about the last 0.1 s. A gap in them, or a pointer that
// had come to rest just before the release, means no coast.
void grabCoastAfterIfShould(double x, double y) {
  double now = utils_now();
  double sumX = 0;
  double sumY = 0;
  double newer = now;
  int32_t index = s.sGrabXYindex;
  for (int n = 0; n < kGrabHistorySize - 1; ++n) {
    if (--index < 0) index = kGrabHistorySize - 1;
    const GrabMovement& m = s.sGrabXYhistory[index];
    s.sGrabXYindex = index;
    if (newer - m.time > kCoastHistoryGap) return;
    sumX += m.dx;
    sumY += m.dy;
    double age = now - m.time;
    if (age > 0.02 && age < 0.04 && std::fabs(sumX) + std::fabs(sumY) < 1.0) return;
    if (age >= kCoastHistoryGap) {
      scroll_setCoastFactorForGrab();
      dispatchCoast_atPoint_withX_y_stopTime(x, y, static_cast<float>(sumX / age),
                                             static_cast<float>(sumY / age), 0);
      // The release and its stray events must not stop the coast just started.
      event_ignoreCoastStopEventsForDelay(0.2);
      return;
    }
    newer = m.time;
  }
}
