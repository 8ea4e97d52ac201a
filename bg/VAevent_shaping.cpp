// Speed shaping: multipliers and reversal per axis, and the coast impulse that replaces a
// wheel tick or rides along with a finger movement.
#include <cmath>

#include "Commonprefs.h"
#include "VAevent.h"
#include "VAevent_wheel.h"
#include "VAremote.h"
#include "VAscroll.h"
#include "VAstate.h"
#include "VAutils.h"
#include "bgDelegate.h"
#include "platform/api/platform.h"

using namespace port;

namespace {
int64_t scaled(int64_t value, float mult, bool reversed) {
  int64_t v = truncateToInt64(static_cast<float>(value) * mult);
  return reversed ? -v : v;
}

void startCoastFrom(const WheelVars& vars, float x, float y) {
  CGPoint at = platform().quartz->getLocation(vars.event);
  dispatchCoast_atPoint_withX_y_stopTime(at.x, at.y, x, y, 0);
}
}  // namespace

bool wheelVars_needNoChange(const WheelVars& vars) {
  return !vars.reversedX && !vars.reversedY && vars.multX == 1.0f && vars.multY == 1.0f;
}

CGEventRef wheel_passShaped(WheelVars* vars, double dx, double dy) {
  if (!wheelVars_needNoChange(*vars)) changeDeltas_dx_dy(vars, dx, -dy);
  return vars->event;
}

void wheel_shapeDeltas(WheelVars* vars, double& dx, double& dy) {
  if (wheelVars_needNoChange(*vars)) return;
  changeDeltas_dx_dy(vars, dx, -dy);
  dx *= vars->multX;
  dy *= vars->multY;
}

void wheel_startPadCoast(const WheelVars& vars, float x, float y) {
  bgDelegate::setCoastRect();
  scroll_setCoastFactorForPad();
  state_setDoingWheel(true);
  startCoastFrom(vars, x, y);
}

bool wheel_isWholeDelta(double v) {
  return v != 0 && std::fabs(v) - std::fabs(std::floor(v)) == 0;
}

void changeDeltas_dx_dy(WheelVars* vars, double dx, double dy) {
  QuartzEvents& quartz = *platform().quartz;
  CGEventRef e = vars->event;
  int64_t lines1 = quartz.getIntegerValueField(e, kCGScrollWheelEventDeltaAxis1);
  int64_t pixels1 = quartz.getIntegerValueField(e, kCGScrollWheelEventPointDeltaAxis1);
  int64_t lines2 = quartz.getIntegerValueField(e, kCGScrollWheelEventDeltaAxis2);
  int64_t pixels2 = quartz.getIntegerValueField(e, kCGScrollWheelEventPointDeltaAxis2);
  quartz.setDoubleValueField(e, kCGScrollWheelEventFixedPtDeltaAxis1, vars->multY * dy);
  quartz.setIntegerValueField(e, kCGScrollWheelEventDeltaAxis1,
                              scaled(lines1, vars->multY, vars->reversedY));
  quartz.setIntegerValueField(e, kCGScrollWheelEventPointDeltaAxis1,
                              scaled(pixels1, vars->multY, vars->reversedY));
  quartz.setDoubleValueField(e, kCGScrollWheelEventFixedPtDeltaAxis2, vars->multX * dx);
  quartz.setIntegerValueField(e, kCGScrollWheelEventDeltaAxis2,
                              scaled(lines2, vars->multX, vars->reversedX));
  quartz.setIntegerValueField(e, kCGScrollWheelEventPointDeltaAxis2,
                              scaled(pixels2, vars->multX, vars->reversedX));
}

CGEventRef handleTrueWheel_dy_dx_vars(WheelVars* vars, double dy, double dx) {
  if (!prefs_wheelCoastVOn()) return wheel_passShaped(vars, dx, dy);
  // The dominant axis alone; equal squares keep both.
  if (dy * dy > dx * dx) {
    dx = 0;
  } else if (dy * dy < dx * dx) {
    dy = 0;
  }
  if (prefs_wacomCompatible() &&
      ((wheel_isWholeDelta(dx) && dy == 0) || (wheel_isWholeDelta(dy) && dx == 0))) {
    stopCoast();
    return vars->event;
  }
  wheel_shapeDeltas(vars, dx, dy);
  float x = static_cast<float>(dx);
  float y = static_cast<float>(dy);
  if (!shouldCoastFor_xPtr_yPtr_updateOnly_startFromHistory_singleFactor(
          &x, &y, false, false, VAevent_statics().prefs->wheelSingleTickSpeed)) {
    stopCoast();
    return vars->event;
  }
  // The tick is swallowed; the coast does its scrolling.
  bgDelegate::setCoastRect();
  scroll_resetScrollPhase();
  scroll_setCoastFactorForWheel();
  state_setDoingWheel(true);
  startCoastFrom(*vars, x, y);
  return nullptr;
}

CGEventRef handlePadNoLift_dy_dx_vars(WheelVars* vars, double dy, double dx) {
  VAeventStatics& s = VAevent_statics();
  vars->zeroAndNotCoasting = dx == 0 && dy == 0 && !state_doingCoast();
  wheel_notePhase(vars->phase, vars->time);
  if (dx == 0 && dy == 0) return nullptr;
  if (!prefs_wheelCoastVOn()) return wheel_passShaped(vars, dx, dy);
  // Horizontal or diagonal finger movement is not shaped in this mode.
  if (dy * dy > dx * dx) {
    dx = 0;
  } else if (dx != 0) {
    return vars->event;
  }
  if (prefs_wacomCompatible() && wheel_isWholeDelta(dy) && dx == 0) {
    stopCoast();
    return vars->event;
  }

  bool swallow = false;
  if (vars->momentumPhase != 0) {
    if (vars->phase != 0) return vars->event;
    // The agent's coast replaces the system's momentum: its first event goes.
    if (!s.sIsFirstMomentumEvent) return vars->event;
    s.sIsFirstMomentumEvent = false;
    swallow = true;
  } else if (s.sHavePhases && s.sGotPhaseEnded && vars->phase == 0) {
    if (!s.sIsFirstMomentumEvent) return vars->event;
    s.sIsFirstMomentumEvent = false;
    swallow = true;
  }
  if (vars->zeroAndNotCoasting) return nullptr;

  wheel_shapeDeltas(vars, dx, dy);
  dy *= 1.5;
  float x = static_cast<float>(dx);
  float y = static_cast<float>(dy);
  // Refused or not, the movement starts or refreshes a coast: the shaped deltas stand in
  // for a speed when there is none.
  shouldCoastFor_xPtr_yPtr_updateOnly_startFromHistory_singleFactor(&x, &y, false, false, 100);
  wheel_startPadCoast(*vars, x, y);
  return swallow ? nullptr : vars->event;
}
