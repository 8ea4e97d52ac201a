// Keyboard scroll: a chord of two modifiers (hold one, tap the other) or a hot key scrolls
// the view under the cursor. The first trigger flicks (a coast in that direction); tapping
// again while still holding starts a 60 Hz repeat that speeds up until the tap modifier is
// let go. A fifth chord switches grab scrolling on while its hold modifier stays down.
#pragma once

#include <cstdint>

#include "acc/relaxed.h"
#include "bgprefs.h"
#include "platform/api/run_loop.h"

// The actions, in the order of the settings arrays.
enum KeyAction : int32_t {
  kKeyActionUp = 0,
  kKeyActionDown = 1,
  kKeyActionLeft = 2,
  kKeyActionRight = 3,
  kKeyActionGrabTrigger = 4,
};
inline constexpr int kKeyActionCount = 5;

// The chord states of one action.
enum KeyChordState : uint16_t {
  kChordIdle = 0,
  kChordHoldDown = 1,   // the hold modifier down alone
  kChordArmed = 2,      // hold and tap both down
  kChordFired = 3,      // fired once; hold still down
  kChordRepeating = 4,  // hold and tap down, the repeat runs
  kChordGrabbing = 5,   // the grab chord fired; grab runs until the hold goes up
};

void keys_initPrefs();
// One modifier change; `flags` without their low 17 bits (Caps Lock and the device bits).
// True to swallow the event.
bool keys_processModsAndCkIfShouldEatEvent(uint64_t flags);
void keys_doAction(int32_t action);
// Starts the repeat for an action 0..3 after that action ran, unless one runs already; it
// ticks on the event thread whichever thread asks.
void keys_doRepeat(int32_t action);
void keys_stopRepeat();
void stopScrollKeysRepeat();
bool keys_repeatStarted();
void resetScrollKeysState();
void repeatProc(port::CFRunLoopTimerRef timer, void* info);

struct VAkeysStatics {
  PrefsRecord* prefs = nullptr;
  uint16_t stateList[kKeyActionCount] = {};
  // A hot key starts the repeat on the main thread; the chords, the ticks and the stops run
  // on the event thread. A start racing a stop at worst leaves one tick to the next stop.
  Relaxed<bool> okToRepeat = false;
  Relaxed<port::CFRunLoopTimerRef> sTimer = nullptr;  // non-null while repeating
  Relaxed<int32_t> sActionToRepeat = 0;
  Relaxed<double> sSpeed = 0;  // scroll units per second
  Relaxed<double> sRepeatLastTime = 0;
};

VAkeysStatics& VAkeys_statics();
void VAkeys_reset();
