// The only road by which the agent's own scrolling reaches applications: pixel-unit wheel
// events from one private source that tags them as the agent's, fractional per-tick amounts
// carried in residues so no fraction is lost, a hard limit on a single event's size, the
// momentum-phase marking of posted events, and the reposting of a real event behind them.
#pragma once

#include <cstdint>

#include "platform/api/events.h"

// Both residues back to 0 (a grab or vector scroll starts).
void resetScrollAccum();
// A hook kept for the scroll modes' starts; it has nothing to do.
void scroll_resetScrollPhase();
// One pixel-unit wheel event from the agent's source, flags cleared; owned by the caller.
// x is the horizontal delta (wheel 2), y the vertical one (wheel 1). Null if it cannot be
// made.
port::CGEventRef newWheelEvent_intX_intY(int32_t x, int32_t y);
// Posts one event of these deltas unless either is over 1000 pixels (then the coast speeds
// are halved and nothing is posted). A zero event is posted only as the end-of-momentum
// marker. Always 1.
int send_cgWheelEvent_intX_intY(int32_t x, int32_t y);
// Adds per-tick amounts to the residues and posts the whole pixels. The vertical amount
// keeps its sign on the way out; the horizontal one is negated. Always 0.
int scrollForCoast_x_y(float x, float y);
// Ends a momentum sequence with a zero-delta event marked "end", if one is being posted.
int scroll_postStopWheelEvent();
// Posts a copy of a real event behind everything posted so far.
void scroll_repostEvent(port::CGEventRef event);
// Restarts the delay before a coast's events carry momentum phases.
void scroll_resetMomentumDelay();

struct VAscrollStatics {
  double sCoast_accumX = 0;  // with the sign of the horizontal amount
  double sCoast_accumY = 0;  // negated: minus the vertical residue
  port::CGEventSourceRef sCgEventSource = nullptr;
  port::CGPoint sPostPoint;  // where the last coast started
};

VAscrollStatics& VAscroll_statics();
void VAscroll_reset();
