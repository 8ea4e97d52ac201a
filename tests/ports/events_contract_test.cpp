// Quartz events, their Cocoa view, event sources, taps and posting: the agent reads and
// rewrites every event it sees by field number, builds its own scroll events from a source
// that marks them as its own, and finds its posted events again in its own taps by that mark.
#include <atomic>
#include <vector>

#include "contract.h"

namespace {

using namespace port;
using contract::runFor;
using contract::runUntil;

constexpr int64_t kOurMark = 0x5641525345;  // what the agent's sources stamp on its events

class QuartzEventContract : public contract::PortContract {
 protected:
  QuartzEvents& q() { return *ports().quartz; }
  CocoaEvents& cocoa() { return *ports().cocoa; }
};

// The fields are set in the order the agent sets them on its own scroll events: line deltas,
// then fixed-point, then point deltas, then the rest.
TEST_F(QuartzEventContract, FieldsFlagsAndLocationRoundTripThroughSetAndCopy) {
  CGEventRef e = q().createScrollWheelEvent2(nullptr, kCGScrollEventUnitLine, 2, 0, 0, 0);
  ASSERT_NE(e, nullptr);
  const std::vector<std::pair<CGEventField, int64_t>> integers = {
      {kCGScrollWheelEventDeltaAxis1, -3}, {kCGScrollWheelEventDeltaAxis2, 2},
      {kCGScrollWheelEventScrollPhase, 2}, {kCGScrollWheelEventMomentumPhase, 0},
      {kCGScrollWheelEventScrollCount, 4}, {kCGEventSourceUserData, kOurMark}};
  const std::vector<std::pair<CGEventField, double>> doubles = {
      {kCGScrollWheelEventFixedPtDeltaAxis1, -2.5},
      {kCGScrollWheelEventFixedPtDeltaAxis2, 1.25},
      {kCGScrollWheelEventPointDeltaAxis1, -37.5},
      {kCGScrollWheelEventPointDeltaAxis2, 12.0}};
  for (auto [field, value] : integers) {
    if (field == kCGScrollWheelEventScrollPhase) {
      for (auto [f, v] : doubles) q().setDoubleValueField(e, f, v);
    }
    q().setIntegerValueField(e, field, value);
  }
  q().setFlags(e, kCGEventFlagMaskShift | kCGEventFlagMaskCommand);
  q().setLocation(e, {123.5, 456.25});

  CGEventRef copy = q().createCopy(e);
  ASSERT_NE(copy, nullptr);
  for (CGEventRef event : {e, copy}) {
    SCOPED_TRACE(event == e ? "original" : "copy");
    EXPECT_EQ(q().getType(event), kCGEventScrollWheel);
    for (auto [field, value] : integers)
      EXPECT_EQ(q().getIntegerValueField(event, field), value) << field;
    for (auto [field, value] : doubles)
      EXPECT_EQ(q().getDoubleValueField(event, field), value) << field;
    EXPECT_EQ(q().getFlags(event) & (kCGEventFlagMaskShift | kCGEventFlagMaskCommand),
              kCGEventFlagMaskShift | kCGEventFlagMaskCommand);
    EXPECT_EQ(q().getLocation(event), (CGPoint{123.5, 456.25}));
  }
  // A copy is an event of its own.
  q().setIntegerValueField(copy, kCGScrollWheelEventDeltaAxis1, 7);
  q().setLocation(copy, {1, 2});
  EXPECT_EQ(q().getIntegerValueField(e, kCGScrollWheelEventDeltaAxis1), -3);
  EXPECT_EQ(q().getLocation(e), (CGPoint{123.5, 456.25}));
  q().release(copy);

  // Cocoa's location is Quartz's flipped on the main screen's height.
  double height = ports().windowServer->screenFrames().at(0).size.height;
  EXPECT_EQ(q().getUnflippedLocation(e), (CGPoint{123.5, height - 456.25}));
  q().retain(e);
  q().release(e);
  q().release(e);
}

TEST_F(QuartzEventContract, AnEventFromASourceCarriesTheSourcesUserData) {
  CGEventSourceRef source = q().sourceCreate(kCGEventSourceStatePrivate);
  ASSERT_NE(source, nullptr);
  q().sourceSetUserData(source, kOurMark);
  CGEventRef scroll = q().createScrollWheelEvent2(source, kCGScrollEventUnitLine, 1, 1, 0, 0);
  CGEventRef key = q().createKeyboardEvent(source, 0x31, true);
  CGEventRef click =
      q().createMouseEvent(source, kCGEventLeftMouseDown, {10, 20}, kCGMouseButtonLeft);
  for (CGEventRef e : {scroll, key, click}) {
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(q().getIntegerValueField(e, kCGEventSourceUserData), kOurMark);
    q().release(e);
  }
  CGEventRef unmarked = q().createScrollWheelEvent2(nullptr, kCGScrollEventUnitLine, 1, 1, 0, 0);
  EXPECT_NE(q().getIntegerValueField(unmarked, kCGEventSourceUserData), kOurMark);
  q().release(unmarked);
  q().sourceRelease(source);
}

TEST_F(QuartzEventContract, ScrollEventsCarryTheirUnitsDeltasAndContinuity) {
  CGEventRef lines = q().createScrollWheelEvent2(nullptr, kCGScrollEventUnitLine, 2, -3, 2, 0);
  ASSERT_NE(lines, nullptr);
  EXPECT_EQ(q().getType(lines), kCGEventScrollWheel);
  EXPECT_EQ(q().getIntegerValueField(lines, kCGScrollWheelEventDeltaAxis1), -3);
  EXPECT_EQ(q().getIntegerValueField(lines, kCGScrollWheelEventDeltaAxis2), 2);
  EXPECT_EQ(q().getIntegerValueField(lines, kCGScrollWheelEventIsContinuous), 0);
  EXPECT_LT(q().getDoubleValueField(lines, kCGScrollWheelEventPointDeltaAxis1), 0);
  EXPECT_GT(q().getDoubleValueField(lines, kCGScrollWheelEventPointDeltaAxis2), 0);

  CGEventRef pixels = q().createScrollWheelEvent2(nullptr, kCGScrollEventUnitPixel, 2, 40, -7, 0);
  ASSERT_NE(pixels, nullptr);
  EXPECT_EQ(q().getIntegerValueField(pixels, kCGScrollWheelEventIsContinuous), 1);
  EXPECT_EQ(q().getDoubleValueField(pixels, kCGScrollWheelEventPointDeltaAxis1), 40);
  EXPECT_EQ(q().getDoubleValueField(pixels, kCGScrollWheelEventPointDeltaAxis2), -7);
  EXPECT_GT(q().getIntegerValueField(pixels, kCGScrollWheelEventDeltaAxis1), 0);

  // Cocoa: pixel deltas are precise and read as they are; no gesture, no phase.
  NSEventRef precise = cocoa().eventWithCGEvent(pixels);
  ASSERT_NE(precise, nullptr);
  EXPECT_EQ(cocoa().type(precise), kCGEventScrollWheel);
  EXPECT_TRUE(cocoa().hasPreciseScrollingDeltas(precise));
  EXPECT_EQ(cocoa().scrollingDeltaY(precise), 40);
  EXPECT_EQ(cocoa().scrollingDeltaX(precise), -7);
  EXPECT_EQ(cocoa().phase(precise), kNSEventPhaseNone);
  EXPECT_EQ(cocoa().momentumPhase(precise), kNSEventPhaseNone);
  NSEventRef notchy = cocoa().eventWithCGEvent(lines);
  EXPECT_FALSE(cocoa().hasPreciseScrollingDeltas(notchy));
  EXPECT_LT(cocoa().deltaY(notchy), 0);
  q().release(lines);
  q().release(pixels);
}

// The scroll phases of Quartz read as Cocoa's (began, changed, ended, cancelled, may begin),
// and the momentum phases too.
TEST_F(QuartzEventContract, CocoaReadsTheQuartzPhasesAsItsOwn) {
  const std::vector<std::pair<int64_t, uint32_t>> scroll = {{1, kNSEventPhaseBegan},
                                                            {2, kNSEventPhaseChanged},
                                                            {4, kNSEventPhaseEnded},
                                                            {8, kNSEventPhaseCancelled},
                                                            {128, kNSEventPhaseMayBegin}};
  const std::vector<std::pair<int64_t, uint32_t>> momentum = {
      {1, kNSEventPhaseBegan}, {2, kNSEventPhaseChanged}, {3, kNSEventPhaseEnded}};
  for (bool isMomentum : {false, true}) {
    for (auto [quartz, cocoaPhase] : isMomentum ? momentum : scroll) {
      CGEventRef e = q().createScrollWheelEvent2(nullptr, kCGScrollEventUnitPixel, 1, 5, 0, 0);
      q().setIntegerValueField(e, kCGScrollWheelEventIsContinuous, 1);
      q().setIntegerValueField(
          e, isMomentum ? kCGScrollWheelEventMomentumPhase : kCGScrollWheelEventScrollPhase,
          quartz);
      NSEventRef n = cocoa().eventWithCGEvent(e);
      EXPECT_EQ(isMomentum ? cocoa().momentumPhase(n) : cocoa().phase(n), cocoaPhase)
          << (isMomentum ? "momentum " : "scroll ") << quartz;
      q().release(e);
    }
  }
}

TEST_F(QuartzEventContract, MouseAndKeyEventsCarryTheirTypeButtonKeyAndPlace) {
  CGEventRef other =
      q().createMouseEvent(nullptr, kCGEventOtherMouseDown, {300, 200}, kCGMouseButtonCenter);
  ASSERT_NE(other, nullptr);
  EXPECT_EQ(q().getType(other), kCGEventOtherMouseDown);
  EXPECT_EQ(q().getLocation(other), (CGPoint{300, 200}));
  EXPECT_EQ(q().getIntegerValueField(other, kCGMouseEventButtonNumber), 2);
  EXPECT_EQ(cocoa().buttonNumber(cocoa().eventWithCGEvent(other)), 2);
  q().setType(other, kCGEventOtherMouseUp);
  EXPECT_EQ(q().getType(other), kCGEventOtherMouseUp);
  q().release(other);

  for (bool down : {true, false}) {
    CGEventRef key = q().createKeyboardEvent(nullptr, 0x7D, down);
    ASSERT_NE(key, nullptr);
    EXPECT_EQ(q().getType(key), down ? kCGEventKeyDown : kCGEventKeyUp);
    EXPECT_EQ(q().getIntegerValueField(key, kCGKeyboardEventKeycode), 0x7D);
    q().release(key);
  }
}

// What the agent's session tap saw of events carrying its mark; it swallows them, so that
// nothing under the cursor scrolls.
struct Seen {
  QuartzEvents* q = nullptr;
  std::atomic<int> count{0};
  std::atomic<int64_t> userData{0};
  std::atomic<int64_t> delta1{0};
  std::atomic<CGEventType> type{0};

  static CGEventRef tap(CGEventTapProxy, CGEventType type, CGEventRef event, void* info) {
    auto* seen = static_cast<Seen*>(info);
    if (type != kCGEventScrollWheel ||
        seen->q->getIntegerValueField(event, kCGEventSourceUserData) != kOurMark) {
      return event;
    }
    seen->type = type;
    seen->userData = seen->q->getIntegerValueField(event, kCGEventSourceUserData);
    seen->delta1 = seen->q->getIntegerValueField(event, kCGScrollWheelEventDeltaAxis1);
    ++seen->count;
    return nullptr;
  }
};

class EventTapContract : public contract::PortContract {
 protected:
  // A tap of the agent's kind on the main thread, keeping what it sees in seen(); null when
  // the system makes none.
  CFMachPortRef markedTap() {
    seen_ = &contract::outliving<Seen>();
    seen_->q = ports().quartz;
    return contract::tapOnMain(ports(), kCGEventTapOptionDefault,
                               CGEventMaskBit(kCGEventScrollWheel), Seen::tap, seen_);
  }
  Seen& seen() { return *seen_; }
  // Posts a scroll event of `lines` from a source that carries the agent's mark.
  void postMarked(int32_t lines) {
    QuartzEvents& q = *ports().quartz;
    CGEventSourceRef ours = q.sourceCreate(kCGEventSourceStatePrivate);
    q.sourceSetUserData(ours, kOurMark);
    CGEventRef e = q.createScrollWheelEvent2(ours, kCGScrollEventUnitLine, 1, lines, 0, 0);
    q.post(kCGSessionEventTap, e);
    q.release(e);
    q.sourceRelease(ours);
  }

 private:
  Seen* seen_ = nullptr;
};

TEST_F(EventTapContract, APostedScrollEventReachesASessionTapWithItsDeltasAndMark) {
  if (!trusted()) GTEST_SKIP() << contract::kNeedsAccessibility;
  QuartzEvents& q = *ports().quartz;
  CFMachPortRef tap = markedTap();
  if (!tap) GTEST_SKIP() << "the system made no event tap: " << contract::kNeedsAccessibility;
  EXPECT_TRUE(q.tapIsEnabled(tap));
  Seen& seen = this->seen();
  postMarked(-1);
  ASSERT_TRUE(runUntil([&] { return seen.count.load() == 1; }, 2)) << "the posted event never came";
  EXPECT_EQ(seen.type.load(), kCGEventScrollWheel);
  EXPECT_EQ(seen.userData.load(), kOurMark);
  EXPECT_EQ(seen.delta1.load(), -1);

  // A disabled tap sees nothing; this one passes, so it moves nothing.
  q.tapEnable(tap, false);
  EXPECT_FALSE(q.tapIsEnabled(tap));
  postMarked(0);
  runFor(0.3);
  EXPECT_EQ(seen.count.load(), 1);
}

// When the user withdraws the permission, the process's active taps hear nothing more, with no
// notice and still answering that they are enabled, and its accessibility calls are refused.
TEST_F(EventTapContract, AWithdrawnPermissionSilencesActiveTapsWithoutNotice) {
  if (!trusted()) GTEST_SKIP() << contract::kNeedsAccessibility;
  CFMachPortRef tap = markedTap();
  ASSERT_NE(tap, nullptr);
  Seen& seen = this->seen();
  postMarked(0);
  ASSERT_TRUE(runUntil([&] { return seen.count.load() == 1; }, 2));

  if (!contract::revokeAccessibility()) GTEST_SKIP() << contract::kNeedsARevocation;
  EXPECT_FALSE(ports().accessibility->isProcessTrustedWithOptions(false));
  postMarked(0);
  runFor(0.3);
  EXPECT_EQ(seen.count.load(), 1) << "an active tap heard an event after the permission went";
  EXPECT_TRUE(ports().quartz->tapIsEnabled(tap));
  AXUIElementRef systemWide = ports().accessibility->createSystemWide();
  AXUIElementRef element = nullptr;
  EXPECT_EQ(ports().accessibility->copyElementAtPosition(systemWide, 10, 10, &element),
            kAXErrorAPIDisabled);
  ports().accessibility->release(systemWide);
}

}  // namespace
