// The virtual session's event pipeline: session taps in their real order, swallowing,
// listen-only taps, posting, disabled taps, and delivery to applications.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "agent_session.h"

namespace {

using namespace port;
using testing_support::twoWindowConfig;

// What a test tap does with each event it sees.
struct TapProbe {
  std::string name;
  std::vector<std::string>* seen = nullptr;
  enum { kPass, kSwallow, kReplace, kRewrite } action = kPass;
  vsession::EventSystem* events = nullptr;
  static CGEventRef callback(CGEventTapProxy, CGEventType type, CGEventRef event, void* info) {
    auto* probe = static_cast<TapProbe*>(info);
    probe->seen->push_back(probe->name + ":" + std::to_string(type));
    switch (probe->action) {
      case kSwallow:
        return nullptr;
      case kReplace: {
        CGEventRef copy = probe->events->createCopy(event);
        probe->events->setIntegerValueField(copy, kCGEventSourceUserData, 77);
        return copy;
      }
      case kRewrite:
        probe->events->setFlags(event, 0x80000);
        return event;
      default:
        return event;
    }
  }
};

class PipelineTest : public ::testing::Test {
 protected:
  PipelineTest() : session(twoWindowConfig()), events(session.events()) {}

  CFMachPortRef addTap(TapProbe& probe, CGEventMask mask,
                       CGEventTapPlacement placement = kCGHeadInsertEventTap,
                       CGEventTapOptions options = kCGEventTapOptionDefault,
                       CGEventTapLocation location = kCGSessionEventTap) {
    probe.seen = &seen;
    probe.events = &events;
    CFMachPortRef tap =
        events.tapCreate(location, placement, options, mask, &TapProbe::callback, &probe);
    session.threading().addSource(session.threading().getMain(),
                                  events.machPortCreateRunLoopSource(tap, 0),
                                  RunLoopMode::kDefault);
    return tap;
  }

  std::vector<vsession::TraceLine> lines(const std::string& kind) {
    return vsession::linesOfKind(session.trace().lines(), kind);
  }

  vsession::VirtualSession session;
  vsession::EventSystem& events;
  std::vector<std::string> seen;
};

TEST_F(PipelineTest, HeadInsertedTapsComeFirstAndHidTapsBeforeSessionTaps) {
  TapProbe first{"first"}, second{"second"}, tail{"tail"}, hid{"hid"};
  addTap(first, CGEventMaskBit(kCGEventScrollWheel));
  addTap(second, CGEventMaskBit(kCGEventScrollWheel));
  addTap(tail, CGEventMaskBit(kCGEventScrollWheel), kCGTailAppendEventTap);
  addTap(hid, CGEventMaskBit(kCGEventScrollWheel), kCGTailAppendEventTap, kCGEventTapOptionDefault,
         kCGHIDEventTap);
  session.input().wheel(0, -1, std::nullopt);
  EXPECT_EQ(seen, (std::vector<std::string>{"hid:22", "second:22", "first:22", "tail:22"}));
  EXPECT_EQ(lines("deliver").size(), 1u);
}

TEST_F(PipelineTest, MaskChoosesTheEventsATapSees) {
  TapProbe keys{"keys"}, moves{"moves"};
  addTap(keys, CGEventMaskBit(kCGEventKeyDown) | CGEventMaskBit(kCGEventKeyUp));
  addTap(moves, CGEventMaskBit(kCGEventMouseMoved));
  session.input().moveTo({410, 410});
  session.input().key("a", 0, true);
  session.input().button(0, true);
  session.input().moveTo({420, 420});  // a drag, not a move
  EXPECT_EQ(seen, (std::vector<std::string>{"moves:5", "keys:10"}));
}

TEST_F(PipelineTest, SwallowedEventReachesNoLaterTapAndNoApplication) {
  TapProbe later{"later"}, swallow{"swallow", nullptr, TapProbe::kSwallow};
  addTap(later, CGEventMaskBit(kCGEventScrollWheel));
  addTap(swallow, CGEventMaskBit(kCGEventScrollWheel));
  session.input().wheel(0, 2, std::nullopt);
  EXPECT_EQ(seen, (std::vector<std::string>{"swallow:22"}));
  EXPECT_TRUE(lines("deliver").empty());
  auto swallowed = lines("swallow");
  ASSERT_EQ(swallowed.size(), 1u);
  EXPECT_EQ(swallowed[0]["type"], 22);
  EXPECT_EQ(swallowed[0]["x"], 400.0);
  EXPECT_EQ(events.liveEvents(), 0u);
}

TEST_F(PipelineTest, ListenOnlyTapObservesButCannotSwallow) {
  TapProbe listener{"listener", nullptr, TapProbe::kSwallow};
  addTap(listener, CGEventMaskBit(kCGEventScrollWheel), kCGHeadInsertEventTap,
         kCGEventTapOptionListenOnly);
  session.input().wheel(0, 1, std::nullopt);
  EXPECT_EQ(seen.size(), 1u);
  EXPECT_EQ(lines("deliver").size(), 1u);
}

TEST_F(PipelineTest, RewrittenOrReplacedEventIsWhatLaterTapsAndTheApplicationGet) {
  TapProbe replace{"replace", nullptr, TapProbe::kReplace};
  TapProbe rewrite{"rewrite", nullptr, TapProbe::kRewrite};
  addTap(replace, CGEventMaskBit(kCGEventScrollWheel));
  addTap(rewrite, CGEventMaskBit(kCGEventScrollWheel));
  session.input().wheel(0, 1, std::nullopt);
  auto delivered = lines("deliver");
  ASSERT_EQ(delivered.size(), 1u);
  EXPECT_EQ(delivered[0]["user"], 77);
  EXPECT_EQ(delivered[0]["flags"], 0x80000);
  EXPECT_EQ(events.liveEvents(), 0u);
}

TEST_F(PipelineTest, DisabledTapIsSkippedUntilEnabledAgain) {
  TapProbe probe{"probe", nullptr, TapProbe::kSwallow};
  CFMachPortRef tap = addTap(probe, CGEventMaskBit(kCGEventScrollWheel));
  events.tapEnable(tap, false);
  session.input().wheel(0, 1, std::nullopt);
  EXPECT_TRUE(seen.empty());
  EXPECT_EQ(lines("deliver").size(), 1u);
  events.tapEnable(tap, true);
  session.input().wheel(0, 1, std::nullopt);
  EXPECT_EQ(seen.size(), 1u);
  EXPECT_EQ(lines("swallow").size(), 1u);
}

TEST_F(PipelineTest, SystemDisablingATapTellsItsCallbackWhy) {
  TapProbe probe{"probe"};
  CFMachPortRef tap = addTap(probe, CGEventMaskBit(kCGEventScrollWheel));
  events.disableTap(tap, kCGEventTapDisabledByTimeout);
  events.disableTap(tap, kCGEventTapDisabledByUserInput);
  EXPECT_EQ(seen, (std::vector<std::string>{"probe:4294967294", "probe:4294967295"}));
  EXPECT_FALSE(events.tapIsEnabled(tap));
}

TEST_F(PipelineTest, PostedEventsPassTheSessionTapsAgainLaterAnnotatedOnesDoNot) {
  TapProbe probe{"probe"}, hid{"hid"};
  addTap(probe, CGEventMaskBit(kCGEventScrollWheel));
  addTap(hid, CGEventMaskBit(kCGEventScrollWheel), kCGHeadInsertEventTap, kCGEventTapOptionDefault,
         kCGHIDEventTap);
  CGEventSourceRef source = events.sourceCreate(kCGEventSourceStatePrivate);
  events.sourceSetUserData(source, 0xA9FF0001);
  CGEventRef posted = events.createScrollWheelEvent2(source, kCGScrollEventUnitPixel, 1, -30, 0, 0);
  events.post(kCGSessionEventTap, posted);
  events.post(kCGAnnotatedSessionEventTap, posted);
  events.release(posted);
  EXPECT_TRUE(seen.empty());  // posting is not immediate
  session.runUntil(0);
  EXPECT_EQ(seen, (std::vector<std::string>{"probe:22"}));
  auto delivered = lines("deliver");
  ASSERT_EQ(delivered.size(), 2u);
  for (const auto& d : delivered) {
    EXPECT_EQ(d["user"], 0xA9FF0001);
    EXPECT_EQ(d["px1"], -30.0);
    EXPECT_EQ(d["cont"], 1);
  }
  EXPECT_EQ(events.liveEvents(), 0u);
}

TEST_F(PipelineTest, MouseEventsGoToTheWindowUnderThemAndKeysToTheFrontApplication) {
  session.input().moveTo({750, 250});   // both windows here; Reader's is in front
  session.input().moveTo({1200, 600});  // only Editor's
  session.input().moveTo({20, 20});     // the desktop
  session.input().key("x", 7, true);
  session.world().windows[0].ignoresMouseEvents = true;
  session.input().moveTo({750, 250});  // Reader's window lets the point through
  auto delivered = lines("deliver");
  ASSERT_EQ(delivered.size(), 5u);
  EXPECT_EQ(delivered[0]["pid"], 501);
  EXPECT_EQ(delivered[1]["pid"], 502);
  EXPECT_EQ(delivered[2]["pid"], 0);
  EXPECT_EQ(delivered[3]["pid"], 501);
  EXPECT_EQ(delivered[4]["pid"], 502);
}

TEST_F(PipelineTest, WheelNotchCarriesAgreeingLineFixedPointAndPixelDeltas) {
  session.input().wheel(1, -2, std::nullopt);
  auto d = lines("deliver").at(0);
  EXPECT_EQ(d["d1"], -2);
  EXPECT_EQ(d["fp1"], -2.0);
  EXPECT_EQ(d["px1"], -20.0);
  EXPECT_EQ(d["d2"], 1);
  EXPECT_EQ(d["px2"], 10.0);
  EXPECT_EQ(d["cont"], 0);
}

TEST_F(PipelineTest, CursorStaysOnTheScreensAndDragsFollowTheHeldButton) {
  TapProbe probe{"probe"};
  addTap(probe, ~CGEventMask{0});
  session.input().moveTo({-50, 2000});
  EXPECT_EQ(session.world().cursor, (CGPoint{0, 899}));
  session.input().button(1, true);
  session.input().moveTo({10, 10});
  session.input().button(1, false);
  session.input().setModifiers(kCGEventFlagMaskShift | kCGEventFlagMaskCommand);
  session.input().setModifiers(kCGEventFlagMaskCommand);
  EXPECT_EQ(seen, (std::vector<std::string>{"probe:5", "probe:3", "probe:7", "probe:4", "probe:12",
                                            "probe:12", "probe:12"}));
  EXPECT_EQ(lines("deliver").back()["flags"], kCGEventFlagMaskCommand);
}

}  // namespace
