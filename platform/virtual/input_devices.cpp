#include "input_devices.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace vsession {

using namespace port;

namespace {
constexpr double kPixelsPerLine = 10;

// The wheel's acceleration, fitted to a mouse wheel recorded on a Mac (the recordings in
// shared/testdata/traces/simple-mouse-continuous-horizontal, where Safari and Chrome report
// 40 px per unit of Cocoa delta): notches more than 0.25 s apart are not accelerated (0.1
// each); otherwise the rate of notches (an event's notches over the time since the last) is
// smoothed, a fifth of the way to the new rate each event, and the multiplier is 1 + 0.89 r^2 at
// the default scaling, so a run of notches 100 ms apart climbs 0.1,
// 0.46, 1.25, 2.2, 3.2, 4.1, 5.0, 5.7 as the recordings' 0.1, 0.43, 1.5, 1.9, 2.6, 4.4, 5.4, 5.7
// do. The multiplier grows with the scaling and is 1 at 0.
constexpr double kUnacceleratedGap = 0.25;
constexpr double kRateSmoothing = 0.2;
constexpr double kAccelerationAtDefault = 0.89;
constexpr double kDefaultWheelScaling = 0.5;  // the recordings' own is not known
constexpr double kMaxNotchRate = 25;          // beyond any finger on a notchy wheel
// The recordings reach 5.7 a notch; the curve is not extrapolated far beyond them: a notch
// carries at most 10 lines' worth (an assumption, no recording goes further).
constexpr double kMaxAcceleration = 100;
constexpr double kShortestGap = 0.004;  // the wheel reports at most at 250 Hz
constexpr double kFixedPointPerNotch = 0.1;
constexpr double kPointsPerNotch = 1;

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

double InputDevices::wheelAcceleration(double notches) {
  double now = scheduler_.now();
  double gap = now - lastNotch_;
  if (lastNotch_ < 0 || gap > kUnacceleratedGap) {
    notchRate_ = 0;
  } else {
    double rate = std::max(1.0, notches) / std::max(gap, kShortestGap);
    notchRate_ += kRateSmoothing * (rate - notchRate_);
    notchRate_ = std::min(notchRate_, kMaxNotchRate);
  }
  lastNotch_ = now;
  double scaling = std::clamp(wheelScaling_.value_or(kDefaultWheelScaling), 0.0, 5.0);
  double a = 1 + kAccelerationAtDefault * scaling / kDefaultWheelScaling * notchRate_ * notchRate_;
  return std::min(a, kMaxAcceleration);
}

void InputDevices::wheel(double notchesX, double notchesY, std::optional<CGPoint> pixels) {
  double a = wheelAcceleration(std::max(std::fabs(notchesX), std::fabs(notchesY)));
  CGPoint lines{static_cast<double>(wholeLines(notchesX)),
                static_cast<double>(wholeLines(notchesY))};
  CGPoint fixed{notchesX * kFixedPointPerNotch * a, notchesY * kFixedPointPerNotch * a};
  CGPoint points =
      pixels.value_or(CGPoint{notchesX * kPointsPerNotch * a, notchesY * kPointsPerNotch * a});
  postWheel(lines, fixed, points);
}

void InputDevices::recordedWheel(double cocoaX, double cocoaY) {
  wheelAcceleration(1);  // the wheel's own rate goes on being counted
  // Each recorded event stands for one notch: its raw line delta is one, whatever the system
  // made of it.
  CGPoint lines{static_cast<double>(wholeLines(cocoaX == 0 ? 0 : std::copysign(1.0, cocoaX))),
                static_cast<double>(wholeLines(cocoaY == 0 ? 0 : std::copysign(1.0, cocoaY)))};
  CGPoint fixed{cocoaX, cocoaY};
  CGPoint points{cocoaX * kPointsPerNotch / kFixedPointPerNotch,
                 cocoaY * kPointsPerNotch / kFixedPointPerNotch};
  postWheel(lines, fixed, points);
}

void InputDevices::postWheel(CGPoint lines, CGPoint fixed, CGPoint points) {
  CGEventRef e = make(kCGEventScrollWheel);
  if (e->flags & kCGEventFlagMaskShift) {
    // A notchy wheel turned with Shift scrolls sideways: its lines and Cocoa deltas go to
    // the horizontal axis, while the point delta keeps the vertical.
    lines = {lines.x + lines.y, 0};
    fixed = {fixed.x + fixed.y, 0};
  }
  events_.setIntegerValueField(e, kCGScrollWheelEventDeltaAxis1, static_cast<int64_t>(lines.y));
  events_.setIntegerValueField(e, kCGScrollWheelEventDeltaAxis2, static_cast<int64_t>(lines.x));
  events_.setDoubleValueField(e, kCGScrollWheelEventFixedPtDeltaAxis1, fixed.y);
  events_.setDoubleValueField(e, kCGScrollWheelEventFixedPtDeltaAxis2, fixed.x);
  events_.setDoubleValueField(e, kCGScrollWheelEventPointDeltaAxis1, points.y);
  events_.setDoubleValueField(e, kCGScrollWheelEventPointDeltaAxis2, points.x);
  events_.setIntegerValueField(e, kCGScrollWheelEventIsContinuous, 0);
  events_.dispatchHardware(e);
}

// A trackpad counts whole lines as the pixels add up to them, so most frames carry none.
int64_t InputDevices::trackpadLines(double pixels, double& gathered) {
  if (!std::isfinite(pixels)) return 0;
  gathered += pixels;
  double whole = std::trunc(gathered / kPixelsPerLine);
  gathered -= whole * kPixelsPerLine;
  return static_cast<int64_t>(std::clamp(whole, -9.2e18, 9.2e18));
}

void InputDevices::trackpad(const TrackpadStep& step) {
  if (step.gesture) {
    events_.dispatchHardware(make(kNSEventTypeGesture));
    return;
  }
  if (step.phase == kScrollPhaseBegan || step.momentumPhase == kMomentumPhaseBegin) {
    padLinesX_ = padLinesY_ = 0;
  }
  CGEventRef e = make(kCGEventScrollWheel);
  events_.setIntegerValueField(e, kCGScrollWheelEventDeltaAxis1,
                               trackpadLines(step.pixelsY, padLinesY_));
  events_.setIntegerValueField(e, kCGScrollWheelEventDeltaAxis2,
                               trackpadLines(step.pixelsX, padLinesX_));
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
