// Wheel and gesture intake with speed shaping: what happens to each wheel, trackpad and
// gesture event on its way through the agent, checked by what reaches the application.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "VAevent.h"
#include "VAevent_wheel.h"
#include "VAremote.h"
#include "VAscroll.h"
#include "VAstate.h"
#include "VAtapMgr.h"
#include "agent_session.h"
#include "platform/virtual/ui_builders.h"

namespace {

using namespace port;
using testing_support::AgentSession;
using vsession::TrackpadStep;

// The reader's window holds a long document, a third of the way down.
vsession::SessionConfig readerWithDocument() {
  vsession::SessionConfig c = testing_support::twoWindowConfig();
  c.windows[0].ui = {vsession::uiScrollArea({{100, 140}, {800, 560}}, {800, 5000}, 1500, {})};
  return c;
}

class IntakeTest : public ::testing::Test {
 protected:
  explicit IntakeTest(vsession::SessionConfig config = readerWithDocument()) : agent(config) {}

  double now() { return agent.session().elapsed(); }
  void at(double t, std::function<void()> f) {
    auto shared = std::make_shared<std::function<void()>>(std::move(f));
    agent.at(t, [shared] { (*shared)(); });
  }
  std::vector<vsession::TraceLine> wheelsDelivered(bool own) {
    std::vector<vsession::TraceLine> out;
    for (const auto& d : agent.linesOfKind("deliver")) {
      if (d["type"] == kCGEventScrollWheel && (d["user"] == kAgentEventTag) == own) {
        out.push_back(d);
      }
    }
    return out;
  }
  size_t swallowed() { return agent.linesOfKind("swallow").size(); }
  void pad(double px, double py, int phase, int momentum = 0) {
    agent.input().trackpad(TrackpadStep{0, false, px, py, phase, momentum});
  }
  void touch() { agent.input().trackpad(TrackpadStep{0, true, 0, 0, 0, 0}); }

  AgentSession agent;
  PrefsRecord& prefs = *prefs_bgprefs();
  VAeventStatics& event = VAevent_statics();
  VAremoteStatics& coast = VAremote_statics();
};

// changeDeltas, called directly on an event of known fields.
class ShapingTest : public IntakeTest {
 protected:
  CGEventRef wheel(int64_t lines1, int64_t pixels1, int64_t lines2, int64_t pixels2) {
    vsession::EventSystem& e = agent.events();
    CGEventRef ev = e.newEvent(kCGEventScrollWheel);
    e.setIntegerValueField(ev, kCGScrollWheelEventDeltaAxis1, lines1);
    e.setIntegerValueField(ev, kCGScrollWheelEventPointDeltaAxis1, pixels1);
    e.setIntegerValueField(ev, kCGScrollWheelEventDeltaAxis2, lines2);
    e.setIntegerValueField(ev, kCGScrollWheelEventPointDeltaAxis2, pixels2);
    made.push_back(ev);
    return ev;
  }
  int64_t field(CGEventRef ev, CGEventField f) {
    return agent.events().getIntegerValueField(ev, f);
  }
  ~ShapingTest() override {
    for (CGEventRef ev : made) agent.events().release(ev);
  }
  std::vector<CGEventRef> made;
};

TEST_F(ShapingTest, MultipliersScaleTheIntegerFieldsInSinglePrecisionAndReversalNegates) {
  WheelVars vars;
  vars.event = wheel(3, 30, 0, 3);
  vars.multY = 2;
  vars.multX = 0.5f;
  changeDeltas_dx_dy(&vars, 0.3, 3);
  EXPECT_EQ(field(vars.event, kCGScrollWheelEventDeltaAxis1), 6);
  EXPECT_EQ(field(vars.event, kCGScrollWheelEventPointDeltaAxis1), 60);
  EXPECT_DOUBLE_EQ(agent.events().getDoubleValueField(vars.event, 93), 6);
  EXPECT_EQ(field(vars.event, kCGScrollWheelEventPointDeltaAxis2), 1);  // 1.5 truncated
  EXPECT_NEAR(agent.events().getDoubleValueField(vars.event, 94), 0.15, 1e-9);

  vars.event = wheel(3, 30, 0, -3);
  vars.reversedY = true;
  changeDeltas_dx_dy(&vars, 0, -3);  // the handed-in delta already carries the reversal
  EXPECT_EQ(field(vars.event, kCGScrollWheelEventDeltaAxis1), -6);
  EXPECT_DOUBLE_EQ(agent.events().getDoubleValueField(vars.event, 93), -6);
  EXPECT_EQ(field(vars.event, kCGScrollWheelEventPointDeltaAxis2), -1);
}

TEST_F(IntakeTest, WithCoastingOffAnUnshapedTickPassesUntouchedAndAShapedOneIsRewritten) {
  prefs.wheel.wheelCoastVOn = 0;
  // Pixel deltas with a fraction: any rewrite would leave whole numbers behind.
  agent.input().wheel(0, -2, CGPoint{0, -23.5});
  prefs.wheel.wheelReverseY = 1;
  agent.input().wheel(0, -2, CGPoint{0, -23.5});
  agent.runUntil(now());
  auto d = wheelsDelivered(false);
  ASSERT_EQ(d.size(), 2u);
  EXPECT_EQ(d[0]["d1"], -2);
  EXPECT_EQ(d[0]["px1"], -23.5);
  EXPECT_EQ(d[0]["fp1"], -2.0);
  EXPECT_EQ(d[1]["d1"], 2);
  EXPECT_EQ(d[1]["px1"], 23.0);
  EXPECT_EQ(d[1]["fp1"], 2.0);
  EXPECT_EQ(swallowed(), 0u);
}

TEST_F(IntakeTest, AWheelFlickIsSwallowedAndCoastsTheSameWayThenDecays) {
  for (int i = 0; i < 4; ++i) {
    at(1.0 + 0.04 * i, [this] { agent.input().wheel(0, -2, std::nullopt); });
  }
  agent.runUntil(1.2);
  EXPECT_EQ(swallowed(), 4u);
  EXPECT_TRUE(state_doingCoast());
  EXPECT_EQ(state_coastStartedBy(), 2);
  agent.runUntil(5);
  EXPECT_FALSE(state_doingCoast());
  auto own = wheelsDelivered(true);
  ASSERT_GT(own.size(), 5u);
  int previous = 1000;
  for (const auto& d : own) {
    int px = d["px1"];
    EXPECT_LT(px, 0);  // downward, as the ticks
    EXPECT_LE(-px, previous + 1);
    previous = -px;
  }
  // The content moved down the page by what was posted.
  auto scrolls = agent.linesOfKind("scroll");
  ASSERT_EQ(scrolls.size(), own.size());
  double travelled = 0;
  for (const auto& d : own) travelled -= d["px1"].get<double>();
  EXPECT_EQ(scrolls.back()["y"], 1500 + travelled);
}

TEST_F(IntakeTest, TicksCloserThanEightMillisecondsPassAndStopTheCoast) {
  at(1.0, [this] { agent.input().wheel(0, -1, std::nullopt); });
  at(1.005, [this] { agent.input().wheel(0, -1, std::nullopt); });
  agent.runUntil(1.01);
  EXPECT_EQ(swallowed(), 1u);
  EXPECT_EQ(wheelsDelivered(false).size(), 1u);
  EXPECT_FALSE(state_doingCoast());
}

TEST_F(IntakeTest, OwnEventsAreSwallowedOnlyWhileCancelled) {
  agent.runUntil(1);
  event.sCoastEventsCancelledUntil = agent.session().absolute(1.2);
  send_cgWheelEvent_intX_intY(0, 4);
  agent.runUntil(1.3);
  send_cgWheelEvent_intX_intY(0, 4);
  agent.runUntil(1.4);
  EXPECT_EQ(swallowed(), 1u);
  EXPECT_EQ(wheelsDelivered(true).size(), 1u);
}

TEST_F(IntakeTest, ARealEventDuringTheAgentsMomentumIsRepostedBehindTheEndMarker) {
  prefs.wheel.wheelCoastVOn = 0;
  agent.runUntil(1);
  state_setPostingMomentum(true);
  state_setCurMomentumPhase(2);
  agent.input().wheel(0, -1, std::nullopt);
  agent.runUntil(1.01);
  EXPECT_FALSE(state_postingMomentum());
  auto d = agent.linesOfKind("deliver");
  ASSERT_EQ(d.size(), 2u);
  EXPECT_EQ(d[0]["user"], kAgentEventTag);  // the zero end marker first
  EXPECT_EQ(d[0]["mphase"], 3);
  EXPECT_EQ(d[1]["user"], 0);  // then the real event
  // The marker came back through the tap: repost mode is over.
  EXPECT_FALSE(state_repostWheelEventsUntilMomentumEnd());
}

TEST_F(IntakeTest, RepostModeEndsAfterTheSixthRepostWhenTheMarkerNeverComesBack) {
  prefs.wheel.wheelCoastVOn = 0;
  agent.runUntil(1);
  state_setRepostWheelEventsUntilMomentumEnd(true);
  event.sRepostCount = 0;
  // Each repost comes back through the tap and counts as the next real event.
  agent.input().wheel(0, -1, std::nullopt);
  agent.runUntil(1.1);
  EXPECT_FALSE(state_repostWheelEventsUntilMomentumEnd());
  EXPECT_EQ(event.sRepostCount, 6);
  EXPECT_EQ(wheelsDelivered(false).size(), 1u);
  EXPECT_EQ(swallowed(), 6u);
}

TEST_F(IntakeTest, ADisablingModifierPassesTheEventAndChangesNoState) {
  // The flag says a wheel: the wheel block's modifier decides, and the trackpad event that
  // it disables must not make the flag say otherwise.
  prefs.wheel.wheelDisWOption = 1;
  agent.session().world().modifierFlags = kCGEventFlagMaskAlternate;
  pad(0, -30.5, vsession::kScrollPhaseChanged);
  agent.runUntil(now());
  auto d = wheelsDelivered(false);
  ASSERT_EQ(d.size(), 1u);
  EXPECT_EQ(d[0]["px1"], -30.5);
  EXPECT_FALSE(state_isMultiTouch());
  EXPECT_FALSE(event.sHavePhases);
  EXPECT_EQ(event.sTimeOfLastWheelEvent, 0);

  // The same with the trackpad's block in force.
  state_setIsMultiTouch(true);
  prefs.pad.padDisWOption = 1;
  agent.input().wheel(0, -1, std::nullopt);
  agent.runUntil(now());
  EXPECT_EQ(wheelsDelivered(false).size(), 2u);
  EXPECT_TRUE(state_isMultiTouch());
  EXPECT_EQ(event.sTimeOfLastWheelEvent, 0);
}

TEST_F(IntakeTest, AGestureWithinTwoTenthsOfASecondMakesAWheelEventMultiTouch) {
  prefs.wheel.wheelCoastVOn = 0;
  prefs.pad.padCoastVOn = 0;
  at(1.0, [this] {
    evtapMMoved_setEnabled(true);
    touch();
  });
  at(1.15, [this] { agent.input().wheel(0, -1, std::nullopt); });
  agent.runUntil(1.16);
  EXPECT_TRUE(state_isMultiTouch());
  at(1.5, [this] {
    evtapMMoved_setEnabled(true);
    touch();
  });
  at(1.75, [this] { agent.input().wheel(0, -1, std::nullopt); });
  agent.runUntil(1.76);
  EXPECT_FALSE(state_isMultiTouch());
}

TEST_F(IntakeTest, PhasesAreForgottenAfterAPauseOfMoreThanAThirdOfASecond) {
  prefs.pad.padCoastVOn = 1;
  at(1.0, [this] { pad(0, -20, vsession::kScrollPhaseChanged); });
  agent.runUntil(1.01);
  EXPECT_TRUE(event.sHavePhases);
  at(1.4, [this] { agent.input().wheel(0, -1, std::nullopt); });
  agent.runUntil(1.41);
  EXPECT_FALSE(event.sHavePhases);
}

// What the intake makes of the speed settings and the modifiers, seen in what reaches the
// application with coasting off.
TEST_F(IntakeTest, SpeedModifierAndReversalWithItsModifierShapeTheTick) {
  prefs.wheel.wheelCoastVOn = 0;
  prefs.wheel.wheelModSpeed = 4;  // Option, the default speed modifier
  prefs.wheel.wheelReverseY = 1;
  prefs.wheel.wheelReverseX = 1;
  prefs.wheel.wheelReverseOnlyWithModOn = 1;  // Control, the default reverse modifier
  const struct {
    uint64_t flags;
    uint8_t modSpeedXOn;
    int64_t lines1, lines2;
  } cases[] = {
      {0, 1, -1, -1},                          // horizontal reversal needs no modifier
      {kCGEventFlagMaskControl, 1, 1, -1},     // the vertical one does
      {kCGEventFlagMaskAlternate, 1, -4, -4},  // the speed modifier, on both axes
      {kCGEventFlagMaskAlternate, 0, -4, -1},  // ...or only vertically
  };
  for (const auto& c : cases) {
    prefs.wheel.wheelModSpeedXOn = c.modSpeedXOn;
    agent.session().world().modifierFlags = c.flags;
    agent.input().wheel(1, -1, std::nullopt);
    agent.runUntil(now());
    auto d = wheelsDelivered(false).back();
    EXPECT_EQ(d["d1"], c.lines1) << c.flags << " " << int{c.modSpeedXOn};
    EXPECT_EQ(d["d2"], c.lines2) << c.flags << " " << int{c.modSpeedXOn};
  }
}

// The newest impulse in the coasting history, in the handlers' convention (the history
// holds it negated).
std::pair<float, float> newestImpulse() {
  const VAremoteStatics& coast = VAremote_statics();
  const auto& entry = coast.sWheelXYhistory[(coast.sWheelXYindex + 3) % 4];
  return {-entry.x, -entry.y};
}

TEST_F(IntakeTest, ADiagonalTickKeepsBothAxesAndADominantOneOnlyItself) {
  agent.input().wheel(1, -1, std::nullopt);
  EXPECT_EQ(newestImpulse(), (std::pair<float, float>{1, 1}));
  agent.input().wheel(1, -2, std::nullopt);
  EXPECT_EQ(newestImpulse(), (std::pair<float, float>{0, 2}));
}

class SierraTest : public IntakeTest {
 protected:
  static vsession::SessionConfig sierra() {
    vsession::SessionConfig c = readerWithDocument();
    c.systemVersion = {10, 12, 0};
    return c;
  }
  SierraTest() : IntakeTest(sierra()) {}
};

TEST_F(SierraTest, EarlySierraReadsTheVerticalDeltaFromThePixelField) {
  agent.input().wheel(0, 1, CGPoint{0, 25});
  int newest = (coast.sWheelXYindex + 3) % 4;
  EXPECT_FLOAT_EQ(coast.sWheelXYhistory[newest].y, 2.5f);  // stored negated: y = -2.5
}

class PadTest : public IntakeTest {
 protected:
  void SetUp() override {
    prefs.pad.padCoastVOn = 1;
    prefs.pad.padCoastHOn = 1;
  }
  void swipe(double start, double y, bool momentum = true) {
    for (const TrackpadStep& s : vsession::swipeSteps(0, y, 0.1, momentum)) {
      at(start + s.t, [this, s] { agent.input().trackpad(s); });
    }
  }
};

TEST_F(PadTest, WithoutLiftingAnEmptyEventIsSwallowedAndSidewaysMovementIsLeftAlone) {
  prefs.pad.padLiftFingersToCoast = 0;
  pad(0, 0, vsession::kScrollPhaseMayBegin);
  EXPECT_EQ(swallowed(), 1u);
  pad(-40, -10, vsession::kScrollPhaseChanged);
  agent.runUntil(now());
  EXPECT_EQ(wheelsDelivered(false).size(), 1u);
  EXPECT_FALSE(state_doingCoast());
}

TEST_F(PadTest, WithoutLiftingFingerMovementPassesAndOnlyTheFirstMomentumEventIsSwallowed) {
  prefs.pad.padLiftFingersToCoast = 0;
  swipe(1.0, -200);
  agent.runUntil(1.12);
  EXPECT_TRUE(state_doingCoast());  // the coast runs beside the moving fingers
  agent.runUntil(3);
  size_t momentumDelivered = 0;
  for (const auto& d : wheelsDelivered(false)) momentumDelivered += d["mphase"] != 0;
  size_t momentumSent = 0;
  for (const TrackpadStep& s : vsession::swipeSteps(0, -200, 0.1, true)) {
    momentumSent += s.momentumPhase != 0;
  }
  // The first momentum event goes, and so does every empty one: touch-down, lift, the end.
  EXPECT_EQ(momentumDelivered, momentumSent - 2);
  EXPECT_EQ(swallowed(), 4u);
}

TEST_F(PadTest, WithoutLiftingAFingersVerticalImpulseFeedsTheCoastOneAndAHalfTimes) {
  prefs.pad.padLiftFingersToCoast = 0;
  pad(-30, -20, vsession::kScrollPhaseChanged);  // mostly sideways: not shaped at all
  pad(0, -20, vsession::kScrollPhaseChanged);
  EXPECT_EQ(newestImpulse(), (std::pair<float, float>{0, 3}));  // 2 lines, and half again
}

TEST_F(PadTest, WhenFingersLiftTheFirstMomentumEventStartsTheCoastTheSwipesWay) {
  swipe(1.0, -200);
  agent.runUntil(1.11);
  EXPECT_FALSE(state_doingCoast());  // nothing coasts while the fingers move
  agent.runUntil(1.15);
  EXPECT_TRUE(state_doingCoast());
  EXPECT_EQ(swallowed(), 1u);
  EXPECT_LT(coast.sCoastY, 0);
  agent.runUntil(4);
  for (const auto& d : wheelsDelivered(true)) EXPECT_LT(d["px1"].get<double>(), 0);
}

TEST_F(PadTest, TouchingAgainStopsTheCoastOnlyWellAfterTheLift) {
  swipe(1.0, -300, true);
  agent.runUntil(1.15);
  ASSERT_TRUE(state_doingCoast());
  double lifted = event.sTimeGotPhaseEnded - agent.session().scheduler().startTime();
  evtapMMoved_setEnabled(true);
  at(lifted + 0.05, [this] { touch(); });
  agent.runUntil(lifted + 0.06);
  EXPECT_TRUE(state_doingCoast());
  at(lifted + 0.1, [this] { touch(); });
  agent.runUntil(lifted + 0.11);
  EXPECT_FALSE(state_doingCoast());
}

TEST_F(PadTest, TheTabletTestStaysOffUntilASettingSwitchesItOn) {
  prefs.pad.padLiftFingersToCoast = 0;
  EXPECT_TRUE(wheel_isWholeDelta(-2));
  EXPECT_FALSE(wheel_isWholeDelta(-2.5));
  EXPECT_FALSE(wheel_isWholeDelta(0));
  pad(0, -20, vsession::kScrollPhaseChanged);  // a whole line of 2: shaped all the same
  agent.runUntil(now());
  EXPECT_TRUE(state_doingWheel());
  prefs.pad.wacomCompatible = 1;
  state_setDoingWheel(false);
  pad(0, -20, vsession::kScrollPhaseChanged);
  agent.runUntil(now());
  EXPECT_FALSE(state_doingWheel());
  EXPECT_FALSE(state_doingCoast());
}

}  // namespace
