// The virtual session's mouse (moves, buttons, a line wheel) and keyboard (keys with
// characters and codes, modifier keys). Each action makes the hardware event the real
// devices would and sends it through the session's taps at the current virtual time.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "event_system.h"
#include "trackpad_gestures.h"
#include "world.h"

namespace vsession {

// Modifier names as scenarios write them, with their flag masks and key codes.
struct ModifierKey {
  const char* name;
  uint64_t mask;
  uint16_t keycode;
};
const ModifierKey* findModifier(const std::string& name);

class InputDevices {
 public:
  InputDevices(World& world, EventSystem& events) : world_(world), events_(events) {}

  // Moves the cursor to `to` (kept on the screens): mouse-moved, or dragged while a button
  // is held.
  void moveTo(port::CGPoint to);
  // A press or release of button `number` (0 to 31); `stylusMask` non-zero makes it a
  // tablet stylus press with those stylus buttons (4 upper, 2 lower, 1 tip), which its drags
  // carry too.
  void button(int number, bool down, uint64_t stylusMask = 0);
  // One notch of `lines` per axis; about 10 px a line unless `pixels` gives them exactly.
  // The whole-line field counts at least one line for any movement, as a notch does.
  void wheel(double linesX, double linesY, std::optional<port::CGPoint> pixels);
  // One trackpad event: a touch frame (gesture, type 29), or a continuous scroll event with
  // precise pixel deltas and its scroll or momentum phase.
  void trackpad(const TrackpadStep& step);
  // The set of held modifiers becomes `flags`: one flags-changed event per key that changed.
  void setModifiers(uint64_t flags);
  void key(const std::string& characters, uint16_t keycode, bool down);
  // An event of any type with the given fields, at the cursor.
  void raw(port::CGEventType type, const std::map<port::CGEventField, double>& fields,
           uint64_t flags);

 private:
  static constexpr double kDoubleClickInterval = 0.5;

  port::CGEventRef make(port::CGEventType type);
  void markStylus(port::CGEventRef e);

  World& world_;
  EventSystem& events_;
  int64_t mouseEventNumber_ = 0;
  int lastClickButton_ = -1;
  double lastClickTime_ = 0;
  int64_t clickCount_ = 0;
};

}  // namespace vsession
