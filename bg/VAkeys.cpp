#include "VAkeys.h"

#include <cmath>

#include "Commonprefs.h"
#include "VAcursor.h"
#include "VAevent.h"
#include "VAremote.h"
#include "VAscroll.h"
#include "VAstate.h"
#include "VAtapMgr.h"
#include "VAutils.h"
#include "platform/api/platform.h"

using namespace port;

namespace {
VAkeysStatics s;

constexpr double kTick = static_cast<double>(1.0f / 60);  // 0.01666666753590107
constexpr double kRampPerTick = 6.666666984558105;        // the single-precision tick times 400
constexpr double kTooSoon = 0.0014;  // a tick this close to the last one does nothing
constexpr double kStale = 0.25;      // a tick this late only resets the timing base
constexpr double kFlickScale = 2.500000238418579;

const PrefsRecord& prefs() {
  return *s.prefs;
}

bool hotKeyOn(int action) {
  switch (action) {
    case kKeyActionUp:
      return prefs().keysHKUpOn;
    case kKeyActionDown:
      return prefs().keysHKDownOn;
    case kKeyActionLeft:
      return prefs().keysHKLeftOn;
    case kKeyActionRight:
      return prefs().keysHKRightOn;
    default:
      return false;
  }
}

// Scroll deltas for an amount in the action's direction.
void directionOf(int32_t action, float amount, float* x, float* y) {
  *x = 0;
  *y = 0;
  switch (action) {
    case kKeyActionUp:
      *y = amount;
      break;
    case kKeyActionDown:
      *y = -amount;
      break;
    case kKeyActionLeft:
      *x = amount;
      break;
    case kKeyActionRight:
      *x = -amount;
      break;
    default:
      break;
  }
}

float topSpeed() {
  float t = static_cast<float>(prefs().keysSpeed) / 3.64f;
  return t * t + 55.0f;
}

void startRepeatTimer() {
  RunLoops& runLoops = *platform().runLoops;
  double now = utils_now();
  double first = now + kTick;
  if (!s.sTimer) {
    s.sTimer = runLoops.timerCreate(first, kTick, repeatProc, nullptr);
    if (!s.sTimer) return;  // no repeat: the flick stands alone
  }
  // The repeat always ticks on the event thread, where the chords start it, even when a
  // hot key on the main thread asks: one thread moves its statics. Before that thread
  // exists there is no repeat, and none may seem to run.
  CFRunLoopRef eventLoop = VAtapMgr_statics().sEventThreadRunLoop;
  if (!eventLoop) {
    keys_stopRepeat();
    return;
  }
  if (!runLoops.containsTimer(eventLoop, s.sTimer, RunLoopMode::kDefault)) {
    runLoops.addTimer(eventLoop, s.sTimer, RunLoopMode::kDefault);
  }
  runLoops.timerSetNextFireDate(s.sTimer, first);
  s.sRepeatLastTime = now;
}
}  // namespace

VAkeysStatics& VAkeys_statics() {
  return s;
}

void VAkeys_reset() {
  s = VAkeysStatics{};
}

void keys_initPrefs() {
  s.prefs = prefs_bgprefs();
}

bool keys_processModsAndCkIfShouldEatEvent(uint64_t flags) {
  const PrefsRecord& p = prefs();
  bool repeatStartedNow = false;
  bool repeatStoppedNow = false;
  auto stopOnce = [&repeatStoppedNow] {
    if (repeatStoppedNow) return;
    repeatStoppedNow = true;
    keys_stopRepeat();
  };

  for (int i = 0; i < kKeyActionCount; ++i) {
    if (!p.keysOn && i != kKeyActionGrabTrigger) continue;
    if (hotKeyOn(i)) continue;  // driven by its hot key only
    uint64_t hold = index2key(p.keysHoldMod[i]);
    uint64_t tap = index2key(p.keysPressMod[i]);
    bool holdDown = (flags & hold) != 0;
    bool tapDown = (flags & tap) != 0;
    bool otherDown = (flags & ~(hold | tap)) != 0;
    uint16_t& state = s.stateList[i];
    bool done = true;
    bool endLoop = false;
    switch (state) {
      case kChordIdle:
        if (holdDown && (flags & ~hold) == 0) {
          state = kChordHoldDown;
        } else if (holdDown) {
          done = false;  // held with others: a tap may still arm it
        }
        break;
      case kChordHoldDown:
        if (!holdDown) {
          state = kChordIdle;
        } else {
          done = false;
        }
        break;
      case kChordArmed:
        if (!holdDown) {
          state = kChordIdle;
        } else if (otherDown) {
          state = kChordHoldDown;
        } else if (!tapDown) {
          state = kChordFired;
          stopCoast();
          keys_doAction(i);
          if (i == kKeyActionGrabTrigger) {
            state = kChordGrabbing;
            endLoop = true;
          }
        }
        break;
      case kChordFired:
        if (!holdDown) {
          state = kChordIdle;
        } else if (otherDown) {
          state = kChordHoldDown;
        } else if (tapDown) {
          state = kChordRepeating;
          stopCoast();
          keys_doAction(i);
          if (!repeatStartedNow) {
            repeatStartedNow = true;
            keys_doRepeat(i);
          }
        }
        break;
      case kChordRepeating:
        if (!holdDown) {
          state = kChordIdle;
          stopOnce();
        } else if (otherDown) {
          state = kChordHoldDown;
          stopOnce();
        } else if (!tapDown) {
          state = kChordFired;
          stopOnce();
        }
        break;
      case kChordGrabbing:
        if (!holdDown) {
          state = kChordIdle;
          state_setDoingGrabWScrollKey(false);
          cursor_backToNormalOScursor();
        }
        break;
      default:
        state = kChordIdle;
        break;
    }
    if (!done && tapDown) state = kChordArmed;
    if (endLoop) break;
  }

  if (!p.keysOn) return s.stateList[kKeyActionGrabTrigger] == kChordGrabbing;

  // Once a chord fired, the others on the same hold modifier fire on their tap's first
  // press without being armed again.
  for (int i = 0; i < kKeyActionCount; ++i) {
    if (s.stateList[i] != kChordFired && s.stateList[i] != kChordRepeating) continue;
    for (int j = 0; j < kKeyActionCount; ++j) {
      if (j != i && p.keysHoldMod[j] == p.keysHoldMod[i] && s.stateList[j] == kChordHoldDown) {
        s.stateList[j] = kChordFired;
      }
    }
  }
  for (uint16_t state : s.stateList) {
    if (state == kChordFired || state == kChordRepeating) return true;
  }
  return false;
}

void keys_doAction(int32_t action) {
  const PrefsRecord& p = prefs();
  if (action == kKeyActionGrabTrigger) {
    if (p.grabOn && p.grabTriggerKind == 1) {
      state_setDoingGrabWScrollKey(true);
      cursor_showOpenHand();
    }
    return;
  }
  if (action < kKeyActionUp || action > kKeyActionRight) return;
  s.okToRepeat = true;
  scroll_resetScrollPhase();
  scroll_setCoastFactorForKeys();
  state_setDoingWheel(false);
  float v = static_cast<float>(p.keysSpeed * kFlickScale + 50.0);
  float x, y;
  directionOf(action, v, &x, &y);
  CGPoint at = event_lastLocation();
  dispatchCoast_atPoint_withX_y_stopTime(at.x, at.y, x, y, 0);
}

void keys_doRepeat(int32_t action) {
  if (!s.okToRepeat || s.sTimer) return;
  if (action < kKeyActionUp || action > kKeyActionRight) return;
  s.sActionToRepeat = action;
  float speed = static_cast<float>(prefs().keysSpeed);
  s.sSpeed = prefs().keysProgressiveStartOn ? static_cast<double>(0.125f * speed * 8 + 10)
                                            : static_cast<double>(topSpeed());
  startRepeatTimer();
}

// The distance follows the time that really passed, not the number of ticks: a late tick
// catches up in whole ticks, and the ramp grows with each of them.
void repeatProc(CFRunLoopTimerRef, void*) {
  double now = utils_now();
  double dt = now - s.sRepeatLastTime;
  if (dt < kTooSoon) return;
  s.sRepeatLastTime = now;
  if (dt > kStale) return;  // after a stall or a sleep: no burst

  bool progressive = prefs().keysProgressiveStartOn;
  double distance = 0;
  while (dt > kTick) {
    distance += s.sSpeed * kTick;
    if (progressive) s.sSpeed = s.sSpeed + kRampPerTick;
    dt -= kTick;
  }
  if (progressive) {
    s.sSpeed = s.sSpeed + dt / kTick * kRampPerTick;
    double top = static_cast<double>(topSpeed());
    if (s.sSpeed > top) s.sSpeed = top;
  }
  distance += dt * s.sSpeed;
  if (std::fabs(distance) < 1) distance = 0;

  float x, y;
  directionOf(s.sActionToRepeat, static_cast<float>(distance), &x, &y);
  if (scrollForCoast_x_y(x, y) != 0) keys_stopRepeat();
}

void keys_stopRepeat() {
  s.okToRepeat = false;
  if (s.sTimer) {
    platform().runLoops->timerInvalidate(s.sTimer);
    s.sTimer = nullptr;
  }
}

void stopScrollKeysRepeat() {
  keys_stopRepeat();
}

bool keys_repeatStarted() {
  return s.sTimer != nullptr;
}

void resetScrollKeysState() {
  for (uint16_t& state : s.stateList) state = kChordIdle;
}
