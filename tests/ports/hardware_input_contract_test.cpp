// What the devices put in their events, as the system delivers them to a tap: a mouse
// reports movement, so its events start from wherever the cursor is, a warp included; a
// notchy wheel's events carry the raw notch count, a fixed-point delta of a tenth of a notch
// that the system accelerates and Cocoa reports, and a point delta of one a notch; a trackpad
// counts whole lines only as its pixels add up to them. The agent's grab, coasting and
// gesture handling are built on these.
#include <atomic>
#include <vector>

#include "contract.h"

namespace {

using namespace port;
using contract::runFor;
using contract::runUntil;

// What a listen-only session tap saw.
struct Observed {
  QuartzEvents* q = nullptr;
  CocoaEvents* cocoa = nullptr;
  struct Event {
    CGEventType type;
    CGPoint location;
    int64_t mouseDelta[2];
    int64_t lines[2];
    double fixed[2];
    double points[2];
    double cocoaDelta[2];
  };
  std::vector<Event> events;

  static CGEventRef tap(CGEventTapProxy, CGEventType type, CGEventRef e, void* info) {
    auto* o = static_cast<Observed*>(info);
    QuartzEvents& q = *o->q;
    NSEventRef n = type == kCGEventScrollWheel ? o->cocoa->eventWithCGEvent(e) : nullptr;
    o->events.push_back(
        {type,
         q.getLocation(e),
         {q.getIntegerValueField(e, kCGMouseEventDeltaX),
          q.getIntegerValueField(e, kCGMouseEventDeltaY)},
         {q.getIntegerValueField(e, kCGScrollWheelEventDeltaAxis1),
          q.getIntegerValueField(e, kCGScrollWheelEventDeltaAxis2)},
         {q.getDoubleValueField(e, kCGScrollWheelEventFixedPtDeltaAxis1),
          q.getDoubleValueField(e, kCGScrollWheelEventFixedPtDeltaAxis2)},
         {q.getDoubleValueField(e, kCGScrollWheelEventPointDeltaAxis1),
          q.getDoubleValueField(e, kCGScrollWheelEventPointDeltaAxis2)},
         {n ? o->cocoa->scrollingDeltaY(n) : 0, n ? o->cocoa->scrollingDeltaX(n) : 0}});
    return e;
  }
};

class HardwareInputContract : public contract::PortContract {
 protected:
  // A listen-only tap for `mask` on the main run loop; false when the system makes none.
  bool listen(CGEventMask mask) {
    observed_ = &contract::outliving<Observed>();
    observed_->q = ports().quartz;
    observed_->cocoa = ports().cocoa;
    CFMachPortRef tap =
        ports().quartz->tapCreate(kCGSessionEventTap, kCGTailAppendEventTap,
                                  kCGEventTapOptionListenOnly, mask, Observed::tap, observed_);
    if (!tap) return false;
    ports().runLoops->addSource(ports().runLoops->getMain(),
                                ports().quartz->machPortCreateRunLoopSource(tap, 0),
                                RunLoopMode::kCommon);
    ports().quartz->tapEnable(tap, true);
    return true;
  }
  std::vector<Observed::Event>& seen() { return observed_->events; }

 private:
  Observed* observed_ = nullptr;
};

TEST_F(HardwareInputContract, AMouseMoveStartsWhereverTheCursorIsAfterAWarp) {
  if (!trusted()) GTEST_SKIP() << contract::kNeedsAccessibility;
  if (!listen(CGEventMaskBit(kCGEventMouseMoved))) GTEST_SKIP() << contract::kNeedsAccessibility;
  if (!contract::handMovesMouse({40, 10})) GTEST_SKIP() << contract::kNeedsAHand;
  ASSERT_TRUE(runUntil([&] { return seen().size() == 1; }, 1));
  CGPoint before = seen()[0].location;
  ports().windowServer->warpMouseCursorPosition({300, 300});
  contract::handMovesMouse({30, -20});
  ASSERT_TRUE(runUntil([&] { return seen().size() == 2; }, 1));
  EXPECT_EQ(seen()[1].location, (CGPoint{330, 280})) << "the move did not start from the warp";
  EXPECT_EQ(seen()[1].mouseDelta[0], 30);
  EXPECT_EQ(seen()[1].mouseDelta[1], -20);
  contract::handMovesMouse({-5, 5});
  ASSERT_TRUE(runUntil([&] { return seen().size() == 3; }, 1));
  EXPECT_EQ(seen()[2].location, (CGPoint{325, 285}));
  EXPECT_NE(before, (CGPoint{300, 300}));
}

}  // namespace
