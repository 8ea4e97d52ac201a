#include "event_system.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace vsession {

using namespace port;

namespace {
// Whether `tap` is served on the thread of `lane`.
bool servedOn(const MachPort* tap, LaneId lane) {
  return tap->source && tap->source->loop && tap->source->loop->lane == lane;
}
constexpr double kPixelsPerLine = 10;

bool isMouseMoveType(CGEventType type) {
  return type == kCGEventMouseMoved || type == kCGEventLeftMouseDragged ||
         type == kCGEventRightMouseDragged || type == kCGEventOtherMouseDragged;
}

bool isKeyboardType(CGEventType type) {
  return type == kCGEventKeyDown || type == kCGEventKeyUp || type == kCGEventFlagsChanged;
}

int64_t truncateToInteger(double v) {
  if (!std::isfinite(v)) return 0;
  constexpr double kLimit = 9.2e18;
  return static_cast<int64_t>(std::clamp(v, -kLimit, kLimit));
}
}  // namespace

EventSystem::EventSystem(Scheduler& scheduler, Threading& threading, World& world, Trace& trace,
                         const Faults& faults)
    : scheduler_(scheduler),
      threading_(threading),
      world_(world),
      trace_(trace),
      faults_(faults),
      bootTime_(scheduler.startTime() - 3600) {
  free_.reserve(256);
}

CGEventRef EventSystem::acquire() {
  CGEvent* e;
  if (free_.empty()) {
    e = &records_.emplace_back();
  } else {
    e = free_.back();
    free_.pop_back();
    *e = CGEvent{};
  }
  e->refCount = 1;
  ++live_;
  return e;
}

CGEventRef EventSystem::newEvent(CGEventType type) {
  CGEventRef e = acquire();
  e->type = type;
  e->location = world_.cursor;
  e->timestamp = static_cast<CGEventTimestamp>((scheduler_.now() - bootTime_) * 1e9);
  return e;
}

void EventSystem::release(CGEventRef e) {
  if (!e || --e->refCount > 0) return;
  free_.push_back(e);
  --live_;
}

int64_t EventSystem::getIntegerValueField(CGEventRef e, CGEventField field) {
  return field < kCGEventFieldCount ? e->integerFields[field] : 0;
}

void EventSystem::setIntegerValueField(CGEventRef e, CGEventField field, int64_t value) {
  if (field >= kCGEventFieldCount) return;
  e->integerFields[field] = value;
  e->doubleFields[field] = static_cast<double>(value);
}

double EventSystem::getDoubleValueField(CGEventRef e, CGEventField field) {
  return field < kCGEventFieldCount ? e->doubleFields[field] : 0;
}

void EventSystem::setDoubleValueField(CGEventRef e, CGEventField field, double value) {
  if (field >= kCGEventFieldCount) return;
  e->doubleFields[field] = value;
  e->integerFields[field] = truncateToInteger(value);
}

CGEventRef EventSystem::createCopy(CGEventRef e) {
  CGEventRef copy = acquire();
  *copy = *e;
  copy->refCount = 1;
  return copy;
}

void EventSystem::stampSource(CGEventRef e, CGEventSourceRef source) {
  if (!source) return;
  setIntegerValueField(e, kCGEventSourceUserData, source->userData);
  if (source->state != kCGEventSourceStatePrivate) e->flags = world_.modifierFlags;
}

CGEventRef EventSystem::create(CGEventSourceRef source) {
  CGEventRef e = newEvent(kCGEventNull);
  stampSource(e, source);
  return e;
}

CGEventRef EventSystem::createScrollWheelEvent2(CGEventSourceRef source, CGScrollEventUnit units,
                                                uint32_t wheelCount, int32_t wheel1, int32_t wheel2,
                                                int32_t) {
  CGEventRef e = newEvent(kCGEventScrollWheel);
  stampSource(e, source);
  double axis[2] = {static_cast<double>(wheel1), wheelCount > 1 ? static_cast<double>(wheel2) : 0};
  for (int i = 0; i < 2; ++i) {
    double lines = units == kCGScrollEventUnitLine ? axis[i] : axis[i] / kPixelsPerLine;
    double pixels = units == kCGScrollEventUnitLine ? axis[i] * kPixelsPerLine : axis[i];
    setIntegerValueField(e, kCGScrollWheelEventDeltaAxis1 + i, truncateToInteger(lines));
    setDoubleValueField(e, kCGScrollWheelEventFixedPtDeltaAxis1 + i, lines);
    setDoubleValueField(e, kCGScrollWheelEventPointDeltaAxis1 + i, pixels);
  }
  setIntegerValueField(e, kCGScrollWheelEventIsContinuous, units == kCGScrollEventUnitPixel);
  return e;
}

CGEventRef EventSystem::createMouseEvent(CGEventSourceRef source, CGEventType type,
                                         CGPoint location, CGMouseButton button) {
  CGEventRef e = newEvent(type);
  stampSource(e, source);
  e->location = location;
  setIntegerValueField(e, kCGMouseEventButtonNumber, button);
  return e;
}

CGEventRef EventSystem::createKeyboardEvent(CGEventSourceRef source, uint16_t keycode,
                                            bool keyDown) {
  CGEventRef e = newEvent(keyDown ? kCGEventKeyDown : kCGEventKeyUp);
  stampSource(e, source);
  setIntegerValueField(e, kCGKeyboardEventKeycode, keycode);
  return e;
}

CGEventSourceRef EventSystem::sourceCreate(CGEventSourceStateID state) {
  CGEventSource& source = sources_.emplace_back();
  source.state = state;
  return &source;
}

void EventSystem::sourceSetUserData(CGEventSourceRef source, int64_t userData) {
  if (source) source->userData = userData;
}

// A posted event enters the event stream after whatever is being handled now, at the level
// it was posted to: a HID post passes every tap, a session post the session taps (the
// poster's own included), an annotated-session post goes straight to the application. A
// posted mouse movement moves the cursor to its location, as the window server does.
void EventSystem::post(CGEventTapLocation location, CGEventRef e) {
  if (!e) return;
  // The window server takes a posted movement's position in the order of the calls that
  // reach it, so a warp made after the post wins; the event itself goes its way later.
  if (isMouseMoveType(e->type)) world_.moveCursor(e->location);
  retain(e);
  scheduler_.schedule(scheduler_.now(), Scheduler::kSystemLane, "post", [this, location, e] {
    if (location == kCGAnnotatedSessionEventTap) {
      deliver(e);
      release(e);
    } else {
      throughTaps(e, location);
    }
  });
}

void EventSystem::postToPid(pid_t pid, CGEventRef e) {
  if (!e) return;
  retain(e);
  scheduler_.schedule(scheduler_.now(), Scheduler::kSystemLane, "post", [this, pid, e] {
    if (VirtualApp* app = world_.app(pid)) ++app->eventsReceived;
    release(e);
  });
}

void EventSystem::dispatchHardware(CGEventRef event) {
  throughTaps(event, kCGHIDEventTap);
}

void EventSystem::throughTaps(CGEventRef event, CGEventTapLocation entry) {
  // Taps made while an event is under way see the next event, not this one.
  const std::vector<MachPort*> taps = order_;
  // A mask has a bit for each type below 64; no tap can ask for a type beyond.
  bool maskable = event->type < 64;
  for (MachPort* tap : taps) {
    if (!trusted_ && tap->options != kCGEventTapOptionListenOnly) continue;
    if (tap->location < entry || !tap->enabled || !maskable ||
        !(tap->mask & CGEventMaskBit(event->type)) || !tap->source || !tap->source->loop) {
      continue;
    }
    if (!tap->source->served() && !waitToBeServed(tap)) continue;
    CGEventRef result = nullptr;
    scheduler_.runOnLane(tap->source->loop->lane, "tap", [&] {
      result = tap->callback(&tap->proxy, event->type, event, tap->userInfo);
    });
    if (tap->options == kCGEventTapOptionListenOnly) continue;
    if (!result) {
      trace_.add(scheduler_.now(), "swallow",
                 {{"type", event->type}, {"x", event->location.x}, {"y", event->location.y}});
      if (swallowWatcher_) swallowWatcher_(event);
      release(event);
      return;
    }
    if (result != event) {
      // A tap that answers with a new event hands its reference to the system.
      release(event);
      event = result;
    }
  }
  deliver(event);
  release(event);
}

void EventSystem::deliver(CGEventRef e) {
  int32_t pid = windowMouseRouter_ ? windowMouseRouter_(e) : 0;
  if (pid == 0) pid = isKeyboardType(e->type) ? world_.frontPid : world_.pidAt(e->location);
  if (VirtualApp* app = world_.app(pid)) ++app->eventsReceived;
  TraceLine line = {{"pid", pid},         {"type", e->type},
                    {"x", e->location.x}, {"y", e->location.y},
                    {"flags", e->flags},  {"user", e->integerFields[kCGEventSourceUserData]}};
  if (e->type == kCGEventScrollWheel) {
    line["d1"] = e->integerFields[kCGScrollWheelEventDeltaAxis1];
    line["d2"] = e->integerFields[kCGScrollWheelEventDeltaAxis2];
    line["fp1"] = e->doubleFields[kCGScrollWheelEventFixedPtDeltaAxis1];
    line["fp2"] = e->doubleFields[kCGScrollWheelEventFixedPtDeltaAxis2];
    line["px1"] = e->doubleFields[kCGScrollWheelEventPointDeltaAxis1];
    line["px2"] = e->doubleFields[kCGScrollWheelEventPointDeltaAxis2];
    line["cont"] = e->integerFields[kCGScrollWheelEventIsContinuous];
    line["phase"] = e->integerFields[kCGScrollWheelEventScrollPhase];
    line["mphase"] = e->integerFields[kCGScrollWheelEventMomentumPhase];
  }
  trace_.add(scheduler_.now(), "deliver", std::move(line));
  if (e->type == kCGEventScrollWheel && scrollReceiver_) scrollReceiver_(e);
}

CFMachPortRef EventSystem::tapCreate(CGEventTapLocation location, CGEventTapPlacement placement,
                                     CGEventTapOptions options, CGEventMask mask,
                                     CGEventTapCallBack callback, void* userInfo) {
  if (faults_.failTapCreate.count(++tapsCreated_) || !callback) return nullptr;
  MachPort& tap = tapStore_.emplace_back();
  tap.location = location;
  tap.options = options;
  tap.mask = mask;
  tap.callback = callback;
  tap.userInfo = userInfo;
  // Taps at the HID level see events before any session tap.
  auto sessionStart = std::find_if(order_.begin(), order_.end(),
                                   [](MachPort* t) { return t->location != kCGHIDEventTap; });
  if (location == kCGHIDEventTap) {
    order_.insert(placement == kCGHeadInsertEventTap ? order_.begin() : sessionStart, &tap);
  } else {
    order_.insert(placement == kCGHeadInsertEventTap ? sessionStart : order_.end(), &tap);
  }
  return &tap;
}

void EventSystem::tapEnable(CFMachPortRef tap, bool enable) {
  if (tap) tap->enabled = enable;
}

CFRunLoopSourceRef EventSystem::machPortCreateRunLoopSource(CFMachPortRef tap, int64_t) {
  if (faults_.failTapSourceCreate.count(++tapSourcesCreated_) || !tap) return nullptr;
  tap->source = threading_.createSource();
  return tap->source;
}

// The tap's loop runs a mode that does not serve its source (an alert is up): the window
// server waits for it, the input behind this event waiting too, up to the tap timeout; then
// the tap is disabled and the event goes on. The notice comes once the loop serves the source.
bool EventSystem::waitToBeServed(MachPort* tap) {
  double left = tap->source->loop->modalUntil - scheduler_.now();
  if (left <= kTapTimeout) {
    // Served as the mode ends, the event having waited meanwhile.
    scheduler_.block(std::max(left, 0.0), false);
    return tap->enabled;
  }
  scheduler_.block(kTapTimeout, false);
  tap->enabled = false;
  unnoticed_.push_back(tap);
  return false;
}

void EventSystem::modalEnded(LaneId lane) {
  std::vector<MachPort*> waiting;
  waiting.swap(unnoticed_);
  for (MachPort* tap : waiting) {
    if (servedOn(tap, lane)) {
      tellTimedOutLater(tap, lane);
    } else {
      unnoticed_.push_back(tap);
    }
  }
}

bool EventSystem::servesTap(LaneId lane) const {
  return std::any_of(order_.begin(), order_.end(),
                     [lane](const MachPort* tap) { return tap->enabled && servedOn(tap, lane); });
}

void EventSystem::holdThread(double seconds) {
  LaneId lane = scheduler_.currentLane();
  double end = scheduler_.now() + seconds;
  while (scheduler_.now() < end && !scheduler_.stopped()) {
    if (!servesTap(lane)) {
      scheduler_.block(end - scheduler_.now(), false);
      return;
    }
    double timesOut = std::max(scheduler_.now(), scheduler_.nextInputDue()) + kTapTimeout;
    scheduler_.block(std::min(end, timesOut) - scheduler_.now(), true);
    if (scheduler_.now() >= timesOut) timeOutTapsOf(lane);
  }
}

void EventSystem::timeOutTapsOf(LaneId lane) {
  for (MachPort* tap : order_) {
    if (!tap->enabled || !servedOn(tap, lane)) continue;
    tap->enabled = false;
    tellTimedOutLater(tap, lane);
  }
}

void EventSystem::tell(MachPort* tap, CGEventType reason) {
  CGEventRef notice = newEvent(kCGEventNull);
  tap->callback(&tap->proxy, reason, notice, tap->userInfo);
  release(notice);
}

void EventSystem::tellTimedOutLater(MachPort* tap, LaneId lane) {
  scheduler_.schedule(scheduler_.now(), lane, "tap",
                      [this, tap] { tell(tap, kCGEventTapDisabledByTimeout); });
}

void EventSystem::timeOutTapsInSleep() {
  for (MachPort* tap : order_) tap->enabled = false;
}

void EventSystem::disableTap(CFMachPortRef tap, CGEventType reason) {
  if (!tap) return;
  tap->enabled = false;
  if (!tap->source || !tap->source->loop) return;
  scheduler_.runOnLane(tap->source->loop->lane, "tap", [&] { tell(tap, reason); });
}

uint32_t EventSystem::phase(NSEventRef e) {
  switch (record(e)->integerFields[kCGScrollWheelEventScrollPhase]) {
    case 1:
      return kNSEventPhaseBegan;
    case 2:
      return kNSEventPhaseChanged;
    case 4:
      return kNSEventPhaseEnded;
    case 8:
      return kNSEventPhaseCancelled;
    case 128:
      return kNSEventPhaseMayBegin;
    default:
      return kNSEventPhaseNone;
  }
}

uint32_t EventSystem::momentumPhase(NSEventRef e) {
  switch (record(e)->integerFields[kCGScrollWheelEventMomentumPhase]) {
    case 1:
      return kNSEventPhaseBegan;
    case 2:
      return kNSEventPhaseChanged;
    case 3:
      return kNSEventPhaseEnded;
    default:
      return kNSEventPhaseNone;
  }
}

// Precise devices report pixels; a line wheel reports its fixed-point line delta.
double EventSystem::scrollingDeltaX(NSEventRef e) {
  CGEventRef r = record(e);
  return hasPreciseScrollingDeltas(e) ? r->doubleFields[kCGScrollWheelEventPointDeltaAxis2]
                                      : r->doubleFields[kCGScrollWheelEventFixedPtDeltaAxis2];
}

double EventSystem::scrollingDeltaY(NSEventRef e) {
  CGEventRef r = record(e);
  return hasPreciseScrollingDeltas(e) ? r->doubleFields[kCGScrollWheelEventPointDeltaAxis1]
                                      : r->doubleFields[kCGScrollWheelEventFixedPtDeltaAxis1];
}

bool EventSystem::hasPreciseScrollingDeltas(NSEventRef e) {
  return record(e)->integerFields[kCGScrollWheelEventIsContinuous] != 0;
}

double EventSystem::deltaX(NSEventRef e) {
  CGEventRef r = record(e);
  return r->type == kCGEventScrollWheel ? r->doubleFields[kCGScrollWheelEventFixedPtDeltaAxis2]
                                        : r->doubleFields[kCGMouseEventDeltaX];
}

double EventSystem::deltaY(NSEventRef e) {
  CGEventRef r = record(e);
  return r->type == kCGEventScrollWheel ? r->doubleFields[kCGScrollWheelEventFixedPtDeltaAxis1]
                                        : r->doubleFields[kCGMouseEventDeltaY];
}

int64_t EventSystem::buttonNumber(NSEventRef e) {
  return record(e)->integerFields[kCGMouseEventButtonNumber];
}

int64_t EventSystem::eventNumber(NSEventRef e) {
  return record(e)->integerFields[kCGMouseEventNumber];
}

int16_t EventSystem::subtype(NSEventRef e) {
  return static_cast<int16_t>(record(e)->integerFields[kCGMouseEventSubtype]);
}

uint64_t EventSystem::buttonMask(NSEventRef e) {
  return static_cast<uint64_t>(record(e)->integerFields[kCGTabletEventPointButtons]);
}

}  // namespace vsession

namespace port {

void KeyText::assign(std::string_view text) {
  length = static_cast<uint8_t>(std::min(text.size(), kCapacity));
  std::memcpy(bytes, text.data(), length);
}

}  // namespace port
