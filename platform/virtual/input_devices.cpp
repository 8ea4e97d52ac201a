#include "input_devices.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace vsession {

using namespace port;

namespace {
constexpr double kPixelsPerLine = 10;

int64_t wholeLines(double lines) {
  if (!std::isfinite(lines) || lines == 0) return 0;
  double whole = std::max(1.0, std::min(std::trunc(std::fabs(lines)), 9.2e18));
  return static_cast<int64_t>(std::copysign(whole, lines));
}

CGEventType downType(int button) {
  return button == 0   ? kCGEventLeftMouseDown
         : button == 1 ? kCGEventRightMouseDown
                       : kCGEventOtherMouseDown;
}
CGEventType upType(int button) {
  return button == 0   ? kCGEventLeftMouseUp
         : button == 1 ? kCGEventRightMouseUp
                       : kCGEventOtherMouseUp;
}
}  // namespace

CGEventRef InputDevices::make(CGEventType type) {
  CGEventRef e = events_.newEvent(type);
  e->flags = world_.modifierFlags;
  return e;
}

void InputDevices::moveHand(CGPoint handTo) {
  // What stands between the cursor and the hand: nothing, unless the cursor was warped or
  // held at an edge since; kept exact so that a plain path lands exactly on its points.
  CGPoint from = hand();
  if (handTo == from) return;  // a mouse that did not move reports nothing
  CGPoint shift{world_.cursor.x - from.x, world_.cursor.y - from.y};
  hand_ = handTo;
  moveTo({handTo.x + shift.x, handTo.y + shift.y});
}

void InputDevices::moveTo(CGPoint to) {
  CGPoint from = world_.cursor;
  world_.moveCursor(to);
  // While buttons are held the move is a drag of the lowest one.
  CGEventType type = kCGEventMouseMoved;
  int dragged = -1;
  for (int b = 0; b < 32; ++b) {
    if (world_.pressedButtons & (1u << b)) {
      dragged = b;
      break;
    }
  }
  if (dragged >= 0) {
    type = dragged == 0   ? kCGEventLeftMouseDragged
           : dragged == 1 ? kCGEventRightMouseDragged
                          : kCGEventOtherMouseDragged;
  }
  CGEventRef e = make(type);
  events_.setIntegerValueField(e, kCGMouseEventDeltaX,
                               static_cast<int64_t>(std::lround(world_.cursor.x - from.x)));
  events_.setIntegerValueField(e, kCGMouseEventDeltaY,
                               static_cast<int64_t>(std::lround(world_.cursor.y - from.y)));
  if (dragged >= 0) {
    events_.setIntegerValueField(e, kCGMouseEventButtonNumber, dragged);
    events_.setIntegerValueField(e, kCGMouseEventNumber, mouseEventNumber_);
    markStylus(e);
  }
  events_.dispatchHardware(e);
}

// A stylus reports itself as a tablet point (subtype 1) with the mask of its buttons held.
void InputDevices::markStylus(CGEventRef e) {
  if (!world_.stylusButtons) return;
  events_.setIntegerValueField(e, kCGMouseEventSubtype, kCGEventMouseSubtypeTabletPoint);
  events_.setIntegerValueField(e, kCGTabletEventPointButtons,
                               static_cast<int64_t>(world_.stylusButtons));
}

void InputDevices::button(int number, bool down, uint64_t stylusMask) {
  if (number < 0 || number > 31) return;
  uint32_t bit = 1u << number;
  CGEventRef e = make(down ? downType(number) : upType(number));
  double now = events_.secondsSinceBoot(e);
  if (down) {
    world_.pressedButtons |= bit;
    world_.stylusButtons = stylusMask;
    ++mouseEventNumber_;
    // Presses of one button in quick succession count up, as a double click does.
    bool again = number == lastClickButton_ && now - lastClickTime_ <= kDoubleClickInterval;
    clickCount_ = again ? clickCount_ + 1 : 1;
    lastClickButton_ = number;
    lastClickTime_ = now;
  } else {
    world_.pressedButtons &= ~bit;
  }
  events_.setIntegerValueField(e, kCGMouseEventButtonNumber, number);
  events_.setIntegerValueField(e, kCGMouseEventClickState, clickCount_);
  events_.setIntegerValueField(e, kCGMouseEventNumber, mouseEventNumber_);
  markStylus(e);
  if (!down && !world_.pressedButtons) world_.stylusButtons = 0;
  events_.dispatchHardware(e);
}

void InputDevices::wheel(double linesX, double linesY, std::optional<CGPoint> pixels) {
  CGEventRef e = make(kCGEventScrollWheel);
  CGPoint px = pixels.value_or(CGPoint{linesX * kPixelsPerLine, linesY * kPixelsPerLine});
  events_.setIntegerValueField(e, kCGScrollWheelEventDeltaAxis1, wholeLines(linesY));
  events_.setIntegerValueField(e, kCGScrollWheelEventDeltaAxis2, wholeLines(linesX));
  events_.setDoubleValueField(e, kCGScrollWheelEventFixedPtDeltaAxis1, linesY);
  events_.setDoubleValueField(e, kCGScrollWheelEventFixedPtDeltaAxis2, linesX);
  events_.setDoubleValueField(e, kCGScrollWheelEventPointDeltaAxis1, px.y);
  events_.setDoubleValueField(e, kCGScrollWheelEventPointDeltaAxis2, px.x);
  events_.setIntegerValueField(e, kCGScrollWheelEventIsContinuous, 0);
  events_.dispatchHardware(e);
}

void InputDevices::trackpad(const TrackpadStep& step) {
  if (step.gesture) {
    events_.dispatchHardware(make(kNSEventTypeGesture));
    return;
  }
  CGEventRef e = make(kCGEventScrollWheel);
  events_.setIntegerValueField(e, kCGScrollWheelEventDeltaAxis1, wholeLines(step.pixelsY / 10));
  events_.setIntegerValueField(e, kCGScrollWheelEventDeltaAxis2, wholeLines(step.pixelsX / 10));
  events_.setDoubleValueField(e, kCGScrollWheelEventFixedPtDeltaAxis1, step.pixelsY / 10);
  events_.setDoubleValueField(e, kCGScrollWheelEventFixedPtDeltaAxis2, step.pixelsX / 10);
  events_.setDoubleValueField(e, kCGScrollWheelEventPointDeltaAxis1, step.pixelsY);
  events_.setDoubleValueField(e, kCGScrollWheelEventPointDeltaAxis2, step.pixelsX);
  events_.setIntegerValueField(e, kCGScrollWheelEventIsContinuous, 1);
  events_.setIntegerValueField(e, kCGScrollWheelEventScrollPhase, step.phase);
  events_.setIntegerValueField(e, kCGScrollWheelEventMomentumPhase, step.momentumPhase);
  events_.dispatchHardware(e);
}

void InputDevices::setModifierKeys(uint32_t keys) {
  // Keys let go first, then keys pressed, each in the table's order.
  for (bool pressing : {false, true}) {
    for (int i = 0; i < kModifierKeyCount; ++i) {
      uint32_t bit = 1u << i;
      bool held = heldModifierKeys_ & bit;
      bool wanted = keys & bit;
      if (held == wanted || wanted != pressing) continue;
      heldModifierKeys_ = pressing ? heldModifierKeys_ | bit : heldModifierKeys_ & ~bit;
      world_.modifierFlags = flagsOfModifierKeys(heldModifierKeys_);
      CGEventRef e = make(kCGEventFlagsChanged);
      e->flags |= kFlagNonCoalesced;
      events_.setIntegerValueField(e, kCGKeyboardEventKeycode, kModifierKeys[i].keycode);
      events_.dispatchHardware(e);
    }
  }
}

void InputDevices::key(uint16_t keycode, bool down, std::optional<std::string> characters,
                       std::optional<std::string> ignoringModifiers) {
  HeldKey key{keycode, std::move(characters), std::move(ignoringModifiers)};
  // A press takes over the repeat from the key held before it; the repeating key's release
  // ends it.
  if (down || (repeating_ && repeating_->keycode == keycode)) {
    ++repeatGeneration_;
    repeating_.reset();
  }
  postKey(key, down, false);
  if (down) {
    repeating_ = std::move(key);
    scheduleRepeat(kKeyRepeatDelay);
  }
}

void InputDevices::scheduleRepeat(double delay) {
  scheduler_.scheduleGuarded(scheduler_.now() + delay, Scheduler::kSystemLane, "key repeat",
                             &repeatGeneration_, [this] {
                               if (!repeating_) return;
                               postKey(*repeating_, true, true);
                               scheduleRepeat(kKeyRepeatInterval);
                             });
}

// The characters follow the modifiers held when the event is made, so a repeat after a
// Shift press types capitals.
void InputDevices::postKey(const HeldKey& key, bool down, bool autorepeat) {
  CGEventRef e = make(down ? kCGEventKeyDown : kCGEventKeyUp);
  e->flags |= kFlagNonCoalesced;
  std::optional<KeyCharacters> layout = layoutCharacters(key.keycode, world_.modifierFlags);
  if (layout) e->flags |= layout->keyFlags;
  std::string typed = key.characters.value_or(layout ? layout->characters : std::string());
  std::string ignoring = key.ignoringModifiers.value_or(layout ? layout->ignoringModifiers : typed);
  e->characters.assign(typed);
  e->charactersIgnoringModifiers.assign(ignoring);
  events_.setIntegerValueField(e, kCGKeyboardEventKeycode, key.keycode);
  events_.setIntegerValueField(e, kCGKeyboardEventAutorepeat, autorepeat ? 1 : 0);
  events_.dispatchHardware(e);
}

void InputDevices::raw(CGEventType type, const std::map<CGEventField, double>& fields,
                       uint64_t flags) {
  CGEventRef e = events_.newEvent(type);
  e->flags = flags;
  for (const auto& [field, value] : fields) {
    if (std::isfinite(value) && std::fabs(value) < 9.2e18 && value == std::trunc(value)) {
      events_.setIntegerValueField(e, field, static_cast<int64_t>(value));
    } else {
      events_.setDoubleValueField(e, field, value);
    }
  }
  events_.dispatchHardware(e);
}

void InputDevices::releaseAll() {
  for (int number = 0; number < 32; ++number) {
    if (world_.pressedButtons & (1u << number)) button(number, false);
  }
  if (repeating_)
    key(repeating_->keycode, false, repeating_->characters, repeating_->ignoringModifiers);
  setModifierKeys(0);
}

}  // namespace vsession
