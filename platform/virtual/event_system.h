// Quartz events of the virtual session: event records and sources, the session's event
// taps in their real order, posting, and delivery to the application an event reaches.
// Also the Cocoa view of the same records.
#pragma once

#include <deque>
#include <functional>
#include <vector>

#include "event_record.h"
#include "faults.h"
#include "scheduler.h"
#include "threading.h"
#include "trace.h"
#include "world.h"

namespace vsession {

class EventSystem final : public port::QuartzEvents, public port::CocoaEvents {
 public:
  EventSystem(Scheduler& scheduler, Threading& threading, World& world, Trace& trace,
              const Faults& faults);

  // A new record with one reference, at the cursor, stamped now.
  port::CGEventRef newEvent(port::CGEventType type);
  // Sends a hardware event (its reference is taken) through the taps to its application,
  // now.
  void dispatchHardware(port::CGEventRef event);
  // The system disables `tap` and tells its callback why (timeout or user input).
  void disableTap(port::CFMachPortRef tap, port::CGEventType reason);
  // The current thread waits `seconds` (for an application to answer). The other threads run
  // meanwhile. If it serves a tap, the input waits for it; once an event has waited the tap
  // timeout, its taps are disabled (their notice comes when the thread is free) and the
  // input passes them by.
  void holdThread(double seconds);
  // The process's accessibility permission, which active taps need. Apple documents that a
  // tap cannot be made without it; what happens to live taps when the user withdraws it is
  // not documented, and the model follows what developers report in Apple's developer forums
  // and on Stack Overflow for current systems:
  // the window server stops sending events to the process's active taps (events pass them by
  // untouched), while the taps still answer that they are enabled and get no notice; the
  // events come to them again once the permission returns. Listen-only taps, which need
  // Input Monitoring instead, go on hearing.
  void setProcessTrusted(bool trusted) { trusted_ = trusted; }
  // The loop of `lane` left its modal mode: taps disabled meanwhile get their notice.
  void modalEnded(LaneId lane);
  // Whether the thread of `lane` serves an enabled tap.
  bool servesTap(LaneId lane) const;
  // How long the window server waits for a tap's callback before it disables the tap.
  static constexpr double kTapTimeout = 1.0;
  // The machine slept: every enabled tap timed out. Their notices went out while the
  // agent's threads were suspended and are lost, so only a later re-enable brings them back.
  void timeOutTapsInSleep();
  // Session taps in the order events pass them.
  const std::vector<port::MachPort*>& taps() const { return order_; }
  // The application a scroll-wheel event reached acts on it.
  void setScrollReceiver(std::function<void(port::CGEventRef)> receiver) {
    scrollReceiver_ = std::move(receiver);
  }
  // Shown each event a tap swallowed, before it goes (the picture draws the input the agent
  // took away).
  void setSwallowWatcher(std::function<void(port::CGEventRef)> watcher) {
    swallowWatcher_ = std::move(watcher);
  }
  size_t liveEvents() const { return live_; }
  bool trusted() const { return trusted_; }
  // Asked first for each button event that reaches the desktop: the pid of the process whose
  // own window took it, or 0 to deliver it to the application under it.
  void setWindowMouseRouter(std::function<int32_t(port::CGEventRef)> router) {
    windowMouseRouter_ = std::move(router);
  }
  // The event's time stamp in seconds since the machine started.
  static double secondsSinceBoot(port::CGEventRef e) { return e->timestamp / 1e9; }

  // QuartzEvents
  port::CGEventType getType(port::CGEventRef e) override { return e->type; }
  void setType(port::CGEventRef e, port::CGEventType type) override { e->type = type; }
  port::CGEventFlags getFlags(port::CGEventRef e) override { return e->flags; }
  void setFlags(port::CGEventRef e, port::CGEventFlags flags) override { e->flags = flags; }
  port::CGPoint getLocation(port::CGEventRef e) override { return e->location; }
  void setLocation(port::CGEventRef e, port::CGPoint p) override { e->location = p; }
  port::CGPoint getUnflippedLocation(port::CGEventRef e) override {
    return world_.toCocoa(e->location);
  }
  port::CGEventTimestamp getTimestamp(port::CGEventRef e) override { return e->timestamp; }
  int64_t getIntegerValueField(port::CGEventRef e, port::CGEventField field) override;
  void setIntegerValueField(port::CGEventRef e, port::CGEventField field, int64_t value) override;
  double getDoubleValueField(port::CGEventRef e, port::CGEventField field) override;
  void setDoubleValueField(port::CGEventRef e, port::CGEventField field, double value) override;
  port::CGEventRef createCopy(port::CGEventRef e) override;
  port::CGEventRef create(port::CGEventSourceRef source) override;
  port::CGEventRef createScrollWheelEvent2(port::CGEventSourceRef source,
                                           port::CGScrollEventUnit units, uint32_t wheelCount,
                                           int32_t wheel1, int32_t wheel2, int32_t wheel3) override;
  port::CGEventRef createMouseEvent(port::CGEventSourceRef source, port::CGEventType type,
                                    port::CGPoint location, port::CGMouseButton button) override;
  port::CGEventRef createKeyboardEvent(port::CGEventSourceRef source, uint16_t keycode,
                                       bool keyDown) override;
  void retain(port::CGEventRef e) override { ++e->refCount; }
  void release(port::CGEventRef e) override;
  port::CGEventSourceRef sourceCreate(port::CGEventSourceStateID state) override;
  void sourceSetUserData(port::CGEventSourceRef source, int64_t userData) override;
  void sourceRelease(port::CGEventSourceRef) override {}
  void post(port::CGEventTapLocation location, port::CGEventRef e) override;
  void postToPid(port::pid_t pid, port::CGEventRef e) override;
  port::CFMachPortRef tapCreate(port::CGEventTapLocation location,
                                port::CGEventTapPlacement placement,
                                port::CGEventTapOptions options, port::CGEventMask mask,
                                port::CGEventTapCallBack callback, void* userInfo) override;
  void tapEnable(port::CFMachPortRef tap, bool enable) override;
  bool tapIsEnabled(port::CFMachPortRef tap) override { return tap && tap->enabled; }
  port::CFRunLoopSourceRef machPortCreateRunLoopSource(port::CFMachPortRef tap,
                                                       int64_t order) override;

  // CocoaEvents
  port::NSEventRef eventWithCGEvent(port::CGEventRef e) override {
    return reinterpret_cast<port::NSEventRef>(e);
  }
  port::CGEventType type(port::NSEventRef e) override { return record(e)->type; }
  uint64_t modifierFlags(port::NSEventRef e) override { return record(e)->flags; }
  uint32_t phase(port::NSEventRef e) override;
  uint32_t momentumPhase(port::NSEventRef e) override;
  double scrollingDeltaX(port::NSEventRef e) override;
  double scrollingDeltaY(port::NSEventRef e) override;
  bool hasPreciseScrollingDeltas(port::NSEventRef e) override;
  double deltaX(port::NSEventRef e) override;
  double deltaY(port::NSEventRef e) override;
  int64_t buttonNumber(port::NSEventRef e) override;
  int64_t eventNumber(port::NSEventRef e) override;
  int16_t subtype(port::NSEventRef e) override;
  uint64_t buttonMask(port::NSEventRef e) override;
  std::string_view characters(port::NSEventRef e) override { return record(e)->characters.view(); }
  std::string_view charactersIgnoringModifiers(port::NSEventRef e) override {
    return record(e)->charactersIgnoringModifiers.view();
  }
  // In the coordinates of the window the event went to: the screen's for applications,
  // the agent's window's own while its view handles the event.
  port::CGPoint locationInWindow(port::NSEventRef e) override {
    port::CGPoint p = world_.toCocoa(record(e)->location);
    return {p.x - windowOrigin_.x, p.y - windowOrigin_.y};
  }
  void setEventWindowOrigin(port::CGPoint origin) { windowOrigin_ = origin; }
  port::CGPoint mouseLocation() override { return world_.toCocoa(world_.cursor); }
  uint64_t currentModifierFlags() override { return world_.modifierFlags; }
  uint64_t pressedMouseButtons() override { return world_.pressedButtons; }

 private:
  static port::CGEventRef record(port::NSEventRef e) {
    return reinterpret_cast<port::CGEventRef>(e);
  }
  port::CGEventRef acquire();
  void stampSource(port::CGEventRef e, port::CGEventSourceRef source);
  // Passes `event` (one reference owned) through the taps from `entry` on, then delivers it.
  void throughTaps(port::CGEventRef event, port::CGEventTapLocation entry);
  // Disables the enabled taps `lane` serves; each gets the timeout notice once it is free.
  void timeOutTapsOf(LaneId lane);
  // Hands `tap`'s callback the notice that it was disabled for `reason`, on this thread now.
  void tell(port::MachPort* tap, port::CGEventType reason);
  // The same for a timeout, once the thread of `lane` is free.
  void tellTimedOutLater(port::MachPort* tap, LaneId lane);
  // Whether `tap`, its source not served now, is served within the tap timeout.
  bool waitToBeServed(port::MachPort* tap);
  void deliver(port::CGEventRef event);

  Scheduler& scheduler_;
  Threading& threading_;
  World& world_;
  Trace& trace_;
  const Faults& faults_;
  std::deque<port::CGEvent> records_;
  std::vector<port::CGEvent*> free_;
  size_t live_ = 0;
  bool trusted_ = true;
  std::vector<port::MachPort*> unnoticed_;  // disabled while their loop was modal
  std::deque<port::CGEventSource> sources_;
  std::deque<port::MachPort> tapStore_;
  std::vector<port::MachPort*> order_;
  int tapsCreated_ = 0;
  int tapSourcesCreated_ = 0;
  double bootTime_;
  std::function<void(port::CGEventRef)> scrollReceiver_;
  std::function<void(port::CGEventRef)> swallowWatcher_;
  std::function<int32_t(port::CGEventRef)> windowMouseRouter_;
  port::CGPoint windowOrigin_;
};

}  // namespace vsession
