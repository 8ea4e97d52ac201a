// Coasting: after a flick of the wheel, a lift of the fingers, the release of a grab or a
// key step, scrolling goes on by itself and slows geometrically until it would not move a
// pixel. One 60 Hz timer on the main thread, made once and parked between coasts; the rule
// that merges a new impulse into a running coast; the estimator that turns the last few
// wheel impulses into a start speed; and the stop every other feature calls.
//
// Speeds are in pixels per second. Vertical: the sign of the posted vertical delta.
// Horizontal: the negation of the posted horizontal delta (posting negates it back).
#pragma once

#include <cstdint>

#include "acc/relaxed.h"
#include "platform/api/run_loop.h"

// The decay per tick and who started the coast (1 grab, 2 wheel or trackpad, 3 keys); each
// is called right before the start it describes is dispatched.
void scroll_setCoastFactorForGrab();
void scroll_setCoastFactorForWheel();
void scroll_setCoastFactorForPad();
void scroll_setCoastFactorForKeys();

// Any thread: queues the start on the main queue and returns at once.
void dispatchCoast_atPoint_withX_y_stopTime(double px, double py, float x, float y,
                                            double stopTime);
// Main thread: starts a coast, or merges the speeds into the running one per axis. A stop
// time of 0 sets no limit.
void coast_atPoint_withX_y_stopTime(double px, double py, float x, float y, double stopTime);
void coastProc(port::CFRunLoopTimerRef timer, void* info);
// Safe to call at any time, from either thread.
void stopCoast();
// Event thread: records one shaped wheel impulse (x horizontal, y the negated vertical
// delta) and, unless `updateOnly`, replaces x and y with the coast's start speeds. False when
// there is no reliable speed or the axis may not coast.
bool shouldCoastFor_xPtr_yPtr_updateOnly_startFromHistory_singleFactor(float* x, float* y,
                                                                       bool updateOnly,
                                                                       bool startFromHistory,
                                                                       uint16_t singleFactor);
// A tick over the size limit halves both speeds.
void coast_halveSpeeds();

struct WheelImpulse {
  float x = 0;  // stored negated
  float y = 0;  // stored negated
  double time = 0;
};

struct VAremoteStatics {
  // The coast runs on the main thread, but the event thread stops it, halves its speeds at
  // the rate limit and resets its start time; a stop racing a tick at worst posts one tick
  // more.
  Relaxed<double> sCoastX = 0;
  Relaxed<double> sCoastY = 0;
  Relaxed<float> sCoastFactor_float = 0.95f;
  Relaxed<double> sCoastStartedTime = 0;
  Relaxed<double> sCoastStopTime = 0;
  port::CFRunLoopTimerRef sCoastTimer = nullptr;
  WheelImpulse sWheelXYhistory[4];
  int32_t sWheelXYindex = 0;
};

VAremoteStatics& VAremote_statics();
void VAremote_reset();
