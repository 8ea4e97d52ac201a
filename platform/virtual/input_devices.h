// The virtual session's mouse (relative moves, buttons, a notchy wheel) and keyboard (keys with
// characters and codes, modifier keys). Each action makes the hardware event the real
// devices would and sends it through the session's taps at the current virtual time.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "event_system.h"
#include "keyboard_layout.h"
#include "scheduler.h"
#include "trackpad_gestures.h"
#include "world.h"

namespace vsession {

class InputDevices {
 public:
  InputDevices(World& world, EventSystem& events, Scheduler& scheduler)
      : world_(world), events_(events), scheduler_(scheduler) {}

  // Moves the cursor to `to` (kept on the screens): mouse-moved, or dragged while a button
  // is held.
  void moveTo(port::CGPoint to);
  // The hand moves the mouse to where, from its last place, it would put the cursor at
  // `handTo`. A mouse reports movement, not places: the movement lands wherever the cursor is
  // now, so after a warp (or a stop at a screen's edge) the cursor follows from there.
  void moveHand(port::CGPoint handTo);
  // Where the hand last put the cursor.
  port::CGPoint hand() const { return hand_; }
  // The hand takes the mouse with the cursor where it is now, as at the session's start.
  void placeHand() { hand_ = world_.cursor; }
  // A press or release of button `number` (0 to 31); `stylusMask` non-zero makes it a
  // tablet stylus press with those stylus buttons (4 upper, 2 lower, 1 tip), which its drags
  // carry too.
  void button(int number, bool down, uint64_t stylusMask = 0);
  // One event of the notchy wheel carrying `notchesX` and `notchesY` notches (a fast turn can
  // put several in one event), as macOS fills it: the line delta is the raw count (at least
  // one for any movement); the fixed-point delta, which Cocoa reports as the event's delta,
  // is 0.1 a notch and the point delta 1 a notch, both accelerated by how fast the notches
  // come and the system's wheel scaling. `pixels` gives the point deltas exactly instead.
  // With Shift held the line and fixed-point deltas move to axis 2; the point delta stays.
  void wheel(double notchesX, double notchesY, std::optional<port::CGPoint> pixels);
  // One notch of the notchy wheel whose Cocoa deltas are known already, as a recording
  // gives them (the system's acceleration is in them).
  void recordedWheel(double cocoaX, double cocoaY);
  // The system's "com.apple.scrollwheel.scaling"; the default when absent.
  void setWheelScaling(std::optional<double> scaling) { wheelScaling_ = scaling; }
  // One trackpad event: a touch frame (gesture, type 29), or a continuous scroll event with
  // precise pixel deltas and its scroll or momentum phase.
  void trackpad(const TrackpadStep& step);
  // The held modifier keys become `keys` (bit i for kModifierKeys[i]; Caps Lock's bit is
  // its lock): one flags-changed event per key that changed, releases first.
  void setModifierKeys(uint32_t keys);
  // The same by generic masks, each raised by its left-side key.
  void setModifiers(uint64_t masks) { setModifierKeys(modifierKeysForMasks(masks)); }
  // A key goes down or up. Its characters come from the layout unless given; a key held
  // down repeats at the system's rate until it goes up or another key goes down.
  void key(uint16_t keycode, bool down, std::optional<std::string> characters = std::nullopt,
           std::optional<std::string> ignoringModifiers = std::nullopt);
  // The user lets go of everything: every button held, the key held and the modifiers.
  void releaseAll();
  // An event of any type with the given fields, at the cursor.
  void raw(port::CGEventType type, const std::map<port::CGEventField, double>& fields,
           uint64_t flags);

 private:
  static constexpr double kDoubleClickInterval = 0.5;
  // The system's default key repeat: InitialKeyRepeat 25 and KeyRepeat 6, in 15 ms units.
  static constexpr double kKeyRepeatDelay = 0.375;
  static constexpr double kKeyRepeatInterval = 0.09;

  struct HeldKey {
    uint16_t keycode = 0;
    std::optional<std::string> characters;
    std::optional<std::string> ignoringModifiers;
  };
  void postKey(const HeldKey& key, bool down, bool autorepeat);
  void scheduleRepeat(double delay);

  port::CGEventRef make(port::CGEventType type);
  void markStylus(port::CGEventRef e);
  // How much the system multiplies the deltas of an event of `notches` notches now, the
  // notch rate brought up to date.
  double wheelAcceleration(double notches);
  void postWheel(port::CGPoint lines, port::CGPoint fixed, port::CGPoint points);
  // A trackpad's whole-line field: the pixels gathered (in `gathered`) until they make a line.
  int64_t trackpadLines(double pixels, double& gathered);

  World& world_;
  EventSystem& events_;
  Scheduler& scheduler_;
  uint32_t heldModifierKeys_ = 0;
  std::optional<HeldKey> repeating_;
  uint64_t repeatGeneration_ = 0;  // a key event ends the repeat scheduled before it
  int64_t mouseEventNumber_ = 0;
  int lastClickButton_ = -1;
  double lastClickTime_ = 0;
  int64_t clickCount_ = 0;
  port::CGPoint hand_;
  std::optional<double> wheelScaling_;
  double lastNotch_ = -1;  // virtual time of the wheel's last event
  double notchRate_ = 0;   // notches a second, smoothed
  double padLinesX_ = 0, padLinesY_ = 0;
};

}  // namespace vsession
