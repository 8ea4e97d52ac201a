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
    return contract::tapOnMain(ports(), kCGEventTapOptionListenOnly, mask, Observed::tap,
                               observed_) != nullptr;
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

TEST_F(HardwareInputContract, AWheelNotchCarriesItsCountATenthAcceleratedAndCocoasDelta) {
  if (!trusted()) GTEST_SKIP() << contract::kNeedsAccessibility;
  if (!listen(CGEventMaskBit(kCGEventScrollWheel))) GTEST_SKIP() << contract::kNeedsAccessibility;
  runFor(1);  // the wheel at rest: the next notch is a slow one
  if (!contract::handTurnsWheel(1)) GTEST_SKIP() << contract::kNeedsAHand;
  ASSERT_TRUE(runUntil([&] { return seen().size() == 1; }, 1));
  const Observed::Event& slow = seen()[0];
  EXPECT_EQ(slow.lines[0], 1);
  EXPECT_NEAR(slow.fixed[0], 0.1, 1e-9);
  EXPECT_NEAR(slow.points[0], 1, 1e-9);
  EXPECT_EQ(slow.cocoaDelta[0], slow.fixed[0]) << "Cocoa's delta is the fixed-point one";

  // Nine notches 100 ms apart: each still one line, the fixed-point delta climbing to several
  // lines, the point delta with it.
  for (int i = 0; i < 9; ++i) {
    runFor(0.1);
    contract::handTurnsWheel(-1);
  }
  ASSERT_TRUE(runUntil([&] { return seen().size() == 10; }, 1));
  double previous = 0;
  for (size_t i = 1; i < seen().size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(seen()[i].lines[0], -1);
    EXPECT_LE(seen()[i].fixed[0], previous + 1e-9);
    EXPECT_NEAR(seen()[i].points[0], seen()[i].fixed[0] * 10, 1e-6);
    previous = seen()[i].fixed[0];
  }
  EXPECT_LT(seen().back().fixed[0], -3);
  EXPECT_GT(seen().back().fixed[0], -8);
}

// Shift turns a notchy wheel sideways for the lines and Cocoa's delta, not for the points.
TEST_F(HardwareInputContract, WithShiftANotchsLinesAndCocoaDeltaAreHorizontal) {
  if (!trusted()) GTEST_SKIP() << contract::kNeedsAccessibility;
  if (!listen(CGEventMaskBit(kCGEventScrollWheel))) GTEST_SKIP() << contract::kNeedsAccessibility;
  runFor(1);
  if (!contract::handHoldsShift(true)) GTEST_SKIP() << contract::kNeedsAHand;
  contract::handTurnsWheel(1);
  contract::handHoldsShift(false);
  ASSERT_TRUE(runUntil([&] { return seen().size() == 1; }, 1));
  const Observed::Event& e = seen()[0];
  EXPECT_EQ(e.lines[0], 0);
  EXPECT_EQ(e.lines[1], 1);
  EXPECT_EQ(e.fixed[0], 0);
  EXPECT_NEAR(e.fixed[1], 0.1, 1e-9);
  EXPECT_NEAR(e.cocoaDelta[1], 0.1, 1e-9);
  EXPECT_NEAR(e.points[0], 1, 1e-9);
  EXPECT_EQ(e.points[1], 0);
}

// A slow two-finger scroll: a few pixels a frame, whole lines only now and then, adding up to
// the pixels travelled.
TEST_F(HardwareInputContract, ATrackpadCountsWholeLinesOnlyAsItsPixelsAddUp) {
  if (!trusted()) GTEST_SKIP() << contract::kNeedsAccessibility;
  if (!listen(CGEventMaskBit(kCGEventScrollWheel))) GTEST_SKIP() << contract::kNeedsAccessibility;
  if (!contract::handScrollsTrackpad(3, 1)) GTEST_SKIP() << contract::kNeedsAHand;
  for (int i = 0; i < 19; ++i) {
    runFor(1.0 / 60);
    contract::handScrollsTrackpad(3, 2);
  }
  ASSERT_TRUE(runUntil([&] { return seen().size() == 20; }, 1));
  int withLines = 0;
  int64_t lines = 0;
  for (const Observed::Event& e : seen()) {
    withLines += e.lines[0] != 0;
    lines += e.lines[0];
  }
  EXPECT_LT(withLines, 10) << "most frames carry no whole line";
  EXPECT_EQ(lines, 6);  // 60 px
}

}  // namespace
