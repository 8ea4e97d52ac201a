// The event dispatcher: routes every tapped event by type to its handler and returns the
// handler's answer (the event to pass on, possibly rewritten, or null to swallow it); runs
// the VA events queued onto the event thread; holds the small mode starters.
#pragma once

#include <cstdint>

#include "VAux.h"
#include "acc/relaxed.h"
#include "bgprefs.h"
#include "platform/api/events.h"

// Every event the agent synthesises carries this source user data (field 42). An event is
// the agent's own when its user data masked with kAgentEventTagMask equals kAgentEventTag.
inline constexpr int64_t kAgentEventTag = 0xA9FF0001;
inline constexpr int64_t kAgentEventPassTag = 0xA9FF0002;  // passes untouched
inline constexpr int64_t kAgentEventTagMask = 0xFFFF000F;

class VAevent {
 public:
  // `bars` is the event thread's private copy (null for key events on the main thread);
  // `window` is always null. Neither is read here: the handlers find what they need.
  static port::CGEventRef eventForEvent_bars_window(port::CGEventRef event, const Bars* bars,
                                                    void* window);
  static void handleVAEvent(int kind);
};

port::CGEventRef handleMMoved_event_cgEvent(port::NSEventRef event, port::CGEventRef cgEvent);
// The mouse buttons: start, continue and stop grab and vector scrolling, hold a press back
// while it may still become a drag, and map a stylus's buttons onto mouse buttons.
port::CGEventRef handleMDown_event_cgEvent(port::NSEventRef event, port::CGEventRef cgEvent);
port::CGEventRef handleMDragged_event_cgEvent(port::NSEventRef event, port::CGEventRef cgEvent);
port::CGEventRef handleMUp_event_cgEvent(port::NSEventRef event, port::CGEventRef cgEvent);
// The keyboard: modifier taps, chords and hot keys start and hold the modes, the arrow keys
// tune hover speed, a key press may be captured for the pane, and typing ends modes.
port::CGEventRef handleFlags_event_cgEvent(port::NSEventRef event, port::CGEventRef cgEvent);
port::CGEventRef handleKeyUpDown_event_cgEvent(port::NSEventRef event, port::CGEventRef cgEvent);
// True when the modifier change is no clean tap: a mouse button is down or a key went down
// in the last `window` seconds (then `*isDown` is untouched). Otherwise `*isDown` says
// whether `mod` is down, and the answer is whether another modifier is down with it.
bool is_keypressSince_orOtherModDownInMods_thanMod_isDownPtr(uint64_t flags, uint64_t mod,
                                                             bool* isDown, double window);

// What a mode's stop makes of the event that ended it: a button release goes on moved to
// (1, 1), so it still reaches the system but not the page under the pointer; anything
// else is swallowed (null).
port::CGEventRef event_releaseAwayFromPage(port::NSEventRef event, port::CGEventRef cgEvent);
// Swallows every tapped event for the next `seconds` (after a grab launches a coast, so the
// release's stray events do not stop it at once).
void event_ignoreCoastStopEventsForDelay(double seconds);
port::CGPoint event_lastLocation();
void event_initPrefs();
// Whether a running mode needs mouse-moved events.
bool event_needMmovedTap();

void stopAllScrolling();
void startAutoScroll();
void startAutoScrollUp();
void startGrabScroll();
void startVectorScroll();

struct VAeventStatics {
  PrefsRecord* prefs = nullptr;
  double sCoastStopEventsIgnoredUntil = 0;
  port::CGPoint sLastUnflippedEventLocation;
  double sCoastEventsCancelledUntil = 0;
  port::CGEventRef sCopiedMdownToDelay = nullptr;  // owned
  double sSuppressDelayMdownTime = 0;
  uint8_t sIsLastMdownInHoverZone = 0;
  // The mouse buttons' (event thread only).
  double sLastMDownTime = 0;
  int64_t sLastMdownButton = 0;
  port::CGPoint slastMDownPointForGrabButton;
  int64_t sLastMDownEventNumberThatStoppedVector = 0;
  // Per stylus button: its last press came as a right or other button (1) or a left one (0).
  bool buttonForWacomUpper = false;
  bool buttonForWacomLower = false;
  bool buttonForWacomTip = false;
  bool sSubstitutingButtonForWacom = false;
  // The wheel intake's (event thread only).
  int32_t sRepostCount = 0;
  double sTimeOfLastWheelEvent = 0;
  bool sHavePhases = false;
  double sTimeLastTouch = 0;
  bool sGotPhaseEnded = false;
  bool sIsFirstMomentumEvent = false;
  double sTimeGotPhaseEnded = 0;
  // The keyboard's. The last key down is written on the main thread, where keys arrive,
  // and read on both.
  Relaxed<double> sLastKeyDownTime = 0;
  double sAutoScrollModWentDownTime = 0;  // 0 while the modifier is not down
  double sAutoScrollUpModWentDownTime = 0;
  double sLastKeysHotKeyDown = 0;
};

VAeventStatics& VAevent_statics();
void VAevent_reset();
