#include "VAremote.h"

#include <cmath>

#include "Commonprefs.h"
#include "VAscroll.h"
#include "VAstate.h"
#include "VAutils.h"
#include "acc/blockAtomic.h"
#include "bgDelegate.h"
#include "platform/api/platform.h"

using namespace port;

namespace {
VAremoteStatics s;

constexpr float kTickInterval = 1.0f / 60;  // the timer's interval, single precision
constexpr double kParkedFor = 315360000.0;  // ten years
constexpr double kImpulseGap = 0.2;         // older impulses are a new gesture
constexpr double kSpanLimit = 0.25;         // impulses summed over at most this long
constexpr double kMinSpan = 0.008;          // closer impulses give no reliable speed
constexpr double kSingleTickDuration = 0.025;

// Same direction: the average. Opposite directions, or either still: that axis stops.
void mergeAxis(Relaxed<double>& running, float incoming, double& residue) {
  double now = running;
  if ((now > 0 && incoming > 0) || (now < 0 && incoming < 0)) {
    running = (now + incoming) * 0.5;
  } else {
    running = 0;
    residue = 0;
  }
}

// A speed that is not a number would never decay; it is no speed.
float finiteOrZero(float v) {
  return std::isfinite(v) ? v : 0.0f;
}

float towardBase(float delta, float base) {
  if (delta == 0) return 0;
  return delta > 0 ? -base : base;
}
}  // namespace

VAremoteStatics& VAremote_statics() {
  return s;
}

void VAremote_reset() {
  s = VAremoteStatics{};
}

void scroll_setCoastFactorForGrab() {
  s.sCoastFactor_float = prefs_grabCoastFactor();
  state_setCoastStartedBy(1);
}

void scroll_setCoastFactorForWheel() {
  s.sCoastFactor_float = prefs_wheelCoastFactor();
  state_setCoastStartedBy(2);
}

void scroll_setCoastFactorForPad() {
  s.sCoastFactor_float = prefs_padCoastFactor();
  state_setCoastStartedBy(2);
}

void scroll_setCoastFactorForKeys() {
  s.sCoastFactor_float = 0.95f;
  state_setCoastStartedBy(3);
}

void dispatchCoast_atPoint_withX_y_stopTime(double px, double py, float x, float y,
                                            double stopTime) {
  dispatchMainWithAutoreleasePool(
      [px, py, x, y, stopTime] { coast_atPoint_withX_y_stopTime(px, py, x, y, stopTime); });
}

void coast_atPoint_withX_y_stopTime(double px, double py, float x, float y, double stopTime) {
  x = finiteOrZero(x);
  y = finiteOrZero(y);
  VAscrollStatics& scroll = VAscroll_statics();
  s.sCoastStopTime = stopTime;
  scroll.sPostPoint = CGPoint{px, py};
  // The coast's own events must no longer be swallowed.
  bgDelegate::postVAEvent(10);

  if (state_doingCoast()) {
    mergeAxis(s.sCoastX, x, scroll.sCoast_accumX);
    mergeAxis(s.sCoastY, y, scroll.sCoast_accumY);
    return;
  }

  resetScrollAccum();
  s.sCoastX = x;
  s.sCoastY = y;
  double start = utils_now();
  s.sCoastStartedTime = start;
  double fireTime = start + static_cast<double>(kTickInterval);
  RunLoops& runLoops = *platform().runLoops;
  if (!s.sCoastTimer) {
    s.sCoastTimer = runLoops.timerCreate(fireTime, kTickInterval, coastProc, nullptr);
    if (!s.sCoastTimer) return;
  }
  CFRunLoopRef loop = runLoops.getCurrent();
  if (!runLoops.containsTimer(loop, s.sCoastTimer, RunLoopMode::kDefault)) {
    runLoops.addTimer(loop, s.sCoastTimer, RunLoopMode::kDefault);
  }
  runLoops.timerSetNextFireDate(s.sCoastTimer, fireTime);
  state_setDoingCoast(true);
}

void coastProc(CFRunLoopTimerRef, void*) {
  double t = utils_now();
  if (s.sCoastStopTime != 0 && t > s.sCoastStopTime) {
    stopCoast();
    return;
  }
  if (!state_postingMomentum() && t - s.sCoastStartedTime > 0.045 && prefs_wheelBounceOn()) {
    state_setPostingMomentum(true);
    state_setCurMomentumPhase(1);
  }
  double factor = s.sCoastFactor_float;
  s.sCoastX = s.sCoastX * factor;
  s.sCoastY = s.sCoastY * factor;
  double dx = s.sCoastX * (1.0 / 60);
  double dy = s.sCoastY * (1.0 / 60);
  if (std::fabs(dx) < 1.0) dx = 0;
  if (std::fabs(dy) < 1.0) dy = 0;
  // The only natural end: neither axis would move a whole pixel this tick.
  if (dx == 0 && dy == 0) {
    stopCoast();
    return;
  }
  scrollForCoast_x_y(static_cast<float>(dx), static_cast<float>(dy));
}

void stopCoast() {
  if (!state_doingCoast()) return;
  s.sCoastX = 0;
  s.sCoastY = 0;
  // Parked, never released: the next coast reuses it.
  if (s.sCoastTimer)
    platform().runLoops->timerSetNextFireDate(s.sCoastTimer, utils_now() + kParkedFor);
  state_setDoingCoast(false);
  bgDelegate::stoppedCoasting();
  scroll_postStopWheelEvent();
  if (state_doingWheel() && state_isMultiTouch()) {
    Dispatch& dispatch = *platform().dispatch;
    dispatch.after(0.020, dispatch.getMainQueue(),
                   BlockWithAutoreleasePool([] { bgDelegate::postVAEvent(7); }));
  }
}

void coast_halveSpeeds() {
  s.sCoastX = s.sCoastX * 0.5;
  s.sCoastY = s.sCoastY * 0.5;
}

bool shouldCoastFor_xPtr_yPtr_updateOnly_startFromHistory_singleFactor(float* x, float* y,
                                                                       bool updateOnly,
                                                                       bool startFromHistory,
                                                                       uint16_t singleFactor) {
  double t = utils_now();
  bool vOn = prefs_wheelCoastVOn();
  bool hOn = prefs_wheelCoastHOn();
  if (*x != 0 && *y != 0) {
    if (vOn && !hOn) *x = 0;
    if (hOn && !vOn) *y = 0;
  }

  double anchor;
  if (!startFromHistory) {
    if (*y != 0 && !vOn) return false;
    if (*x != 0 && !hOn) return false;
    s.sWheelXYhistory[s.sWheelXYindex] = WheelImpulse{-*x, -*y, t};
    s.sWheelXYindex = (s.sWheelXYindex + 1) % 4;
    anchor = t;
  } else {
    anchor = s.sWheelXYhistory[(s.sWheelXYindex + 3) % 4].time;
  }
  if (updateOnly) return false;

  // Newest first: the entries of this gesture, each within the gap of the one after it.
  const WheelImpulse* taken[3];
  double gaps[2] = {0, 0};
  int count = 0;
  int slot = s.sWheelXYindex;
  double later = anchor;
  for (int i = 0; i < 3; ++i) {
    slot = slot == 0 ? 3 : slot - 1;
    double gap = later - s.sWheelXYhistory[slot].time;
    if (i >= 1) gaps[i - 1] = gap;
    if (gap > kImpulseGap) break;
    taken[count++] = &s.sWheelXYhistory[slot];
    later = s.sWheelXYhistory[slot].time;
  }
  int intervals = count > 1 ? count - 1 : 0;

  float base = readAppleScrollWheelSpeed(t) + 1.4f;
  double sumX, sumY, duration;
  if (intervals >= 1) {
    sumX = 0;
    sumY = 0;
    double span = 0;
    for (int k = 1; k <= intervals; ++k) {
      sumX += taken[k - 1]->x;
      sumY += taken[k - 1]->y;
      span += gaps[k - 1];
      if (!(span < kSpanLimit)) break;
    }
    if (span < kMinSpan) return false;
    double scale = state_isMultiTouch() ? 5.0 : 2.0;
    sumX *= scale;
    sumY *= scale;
    duration = span;
  } else {
    float bx = towardBase(*x, base);
    float by = towardBase(*y, base);
    double slower = (static_cast<int>(singleFactor) - 100) / 100.0;
    double factor = slower * slower * 0.125 + 1.16;
    // Only the vertical single tick is scaled.
    by = static_cast<float>(by * factor);
    sumX = bx / 1.2f;
    sumY = by / 1.2f;
    duration = kSingleTickDuration;
  }
  float vx = static_cast<float>(sumX / duration);
  float vy = static_cast<float>(sumY / duration);

  // A quick run of three impulses never coasts slower than this.
  if (intervals == 2) {
    float minimum = base * 1.2f / 0.025f;
    if (vx != 0 && std::fabs(vx) < minimum) vx = std::copysign(minimum, vx);
    if (vy != 0 && std::fabs(vy) < minimum) vy = std::copysign(minimum, vy);
  }
  *x = vx;
  *y = vy;
  return true;
}
