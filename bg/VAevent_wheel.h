// Wheel and gesture intake, and the speed shaping of wheel and trackpad events: what the
// dispatcher calls for every scroll-wheel event (type 22) and every gesture event (type 29).
#pragma once

#include <cstdint>

#include "platform/api/events.h"

// One wheel event as the intake read it, handed to the shaping handlers.
struct WheelVars {
  port::CGEventRef event = nullptr;
  uint64_t modifierFlags = 0;
  uint64_t phase = 0;          // Cocoa phase: 1 began, 2 stationary, 4 changed, 8 ended, ...
  uint64_t momentumPhase = 0;  // same values; 0 when the system reports none
  bool reversedX = false;
  bool reversedY = false;
  bool modSpeedActive = false;
  bool zeroAndNotCoasting = false;
  bool shiftDown = false;  // not consulted by any handler
  float multX = 1;
  float multY = 1;
  double time = 0;
};

// Pass (possibly rewritten) or null to swallow. The overlay window of the name is not used.
port::CGEventRef handleWheel_event_cgEvent_overlayWindow(port::NSEventRef event,
                                                         port::CGEventRef cgEvent);
// Fingers touch the surface; a touch well after the gesture ended stops the coast.
void handleGesture_event_cgEvent_overlayWindow();

// Handler deltas: dx the event's horizontal delta, dy its negated vertical delta, each
// negated once more when its axis is reversed.
port::CGEventRef handleTrueWheel_dy_dx_vars(WheelVars* vars, double dy, double dx);
port::CGEventRef handlePadNoLift_dy_dx_vars(WheelVars* vars, double dy, double dx);
// Rewrites the event's delta fields in place; dx and dy in the event's own sense, reversal
// included.
void changeDeltas_dx_dy(WheelVars* vars, double dx, double dy);
// No multiplier other than 1 and no reversal: the event is passed as it came.
bool wheelVars_needNoChange(const WheelVars& vars);
// Coasting off: the event passes, rewritten unless it needs no change.
port::CGEventRef wheel_passShaped(WheelVars* vars, double dx, double dy);
// Unless the event needs no change: rewrites it, and scales the handler deltas by the
// multipliers.
void wheel_shapeDeltas(WheelVars* vars, double& dx, double& dy);
// A trackpad coast starts or is refreshed where the event happened.
void wheel_startPadCoast(const WheelVars& vars, float x, float y);
// Phase bookkeeping of a multi-touch gesture: began or changed arms the first momentum
// event; ended notes when.
void wheel_notePhase(uint64_t phase, double time);
// The tablet test: a whole, non-zero delta, as tablet drivers send.
bool wheel_isWholeDelta(double v);
