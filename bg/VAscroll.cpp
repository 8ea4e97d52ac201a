#include "VAscroll.h"

#include <cmath>
#include <cstdio>

#include "VAevent.h"
#include "VAremote.h"
#include "VAstate.h"
#include "VAutils.h"
#include "platform/api/platform.h"

using namespace port;

namespace {
VAscrollStatics s;

constexpr int32_t kMaxPixelsPerEvent = 1000;

// |v| by negation, so the most negative integer stays negative and counts as too large.
bool overLimit(int32_t v) {
  int32_t magnitude = v < 0 ? static_cast<int32_t>(0u - static_cast<uint32_t>(v)) : v;
  return magnitude > kMaxPixelsPerEvent || magnitude < 0;
}
// Splits `sum` into whole pixels, returned negated, and the fraction left in `residue`
// with the sign of the sum.
double postWholePart(double sum, double& residue) {
  double n = std::floor(std::fabs(sum));
  residue = sum > 0 ? sum - n : sum + n;
  return sum > 0 ? -n : n;
}
}  // namespace

VAscrollStatics& VAscroll_statics() {
  return s;
}

void VAscroll_reset() {
  s = VAscrollStatics{};
}

void resetScrollAccum() {
  s.sCoast_accumX = 0;
  s.sCoast_accumY = 0;
}

void scroll_resetScrollPhase() {}

CGEventRef newWheelEvent_intX_intY(int32_t x, int32_t y) {
  QuartzEvents& quartz = *platform().quartz;
  if (!s.sCgEventSource) {
    s.sCgEventSource = quartz.sourceCreate(kCGEventSourceStatePrivate);
    if (!s.sCgEventSource) return nullptr;
    quartz.sourceSetUserData(s.sCgEventSource, kAgentEventTag);
  }
  CGEventRef event =
      x != 0
          ? quartz.createScrollWheelEvent2(s.sCgEventSource, kCGScrollEventUnitPixel, 2, y, x, 0)
          : quartz.createScrollWheelEvent2(s.sCgEventSource, kCGScrollEventUnitPixel, 1, y, 0, 0);
  if (!event) return nullptr;
  // A held Command or Option must not turn the scroll into a zoom or another gesture.
  quartz.setFlags(event, 0);
  return event;
}

int send_cgWheelEvent_intX_intY(int32_t x, int32_t y) {
  if (overLimit(x) || overLimit(y)) {
    char message[64];
    std::snprintf(message, sizeof message, "rate limit %d %d", x, y);
    platform().systemLog->log(message);
    // The brake against a runaway coast: each refused tick halves its speed.
    coast_halveSpeeds();
    return 1;
  }
  if (x == 0 && y == 0 && !(state_postingMomentum() && state_curMomentumPhase() == 3)) return 1;
  CGEventRef event = newWheelEvent_intX_intY(x, y);
  if (!event) return 1;
  QuartzEvents& quartz = *platform().quartz;
  if (state_postingMomentum()) {
    quartz.setIntegerValueField(event, kCGScrollWheelEventMomentumPhase, state_curMomentumPhase());
    if (state_curMomentumPhase() == 1) state_setCurMomentumPhase(2);
  }
  quartz.post(kCGSessionEventTap, event);
  quartz.release(event);
  return 1;
}

int scrollForCoast_x_y(float x, float y) {
  // The vertical residue is kept negated, so both axes split the same way and both
  // posted values come out with the opposite sign of their sums.
  double postedY = postWholePart(s.sCoast_accumY - static_cast<double>(y), s.sCoast_accumY);
  double postedX = postWholePart(static_cast<double>(x) + s.sCoast_accumX, s.sCoast_accumX);
  send_cgWheelEvent_intX_intY(truncateToInt32(postedX), truncateToInt32(postedY));
  return 0;
}

int scroll_postStopWheelEvent() {
  if (state_postingMomentum()) state_setCurMomentumPhase(3);
  return send_cgWheelEvent_intX_intY(0, 0);
}

void scroll_repostEvent(CGEventRef event) {
  QuartzEvents& quartz = *platform().quartz;
  CGEventRef copy = quartz.createCopy(event);
  if (!copy) {
    platform().systemLog->log("failed to copy event.");
    return;
  }
  quartz.post(kCGSessionEventTap, copy);
  quartz.release(copy);
}

void scroll_resetMomentumDelay() {
  VAremote_statics().sCoastStartedTime = utils_now();
}
