// Wheel and gesture intake with speed shaping: what happens to each wheel, trackpad and
// gesture event on its way through the agent, checked by what reaches the application.
#include <gtest/gtest.h>

#include <tuple>
#include <utility>
#include <vector>

#include "VAevent.h"
#include "VAevent_wheel.h"
#include "VAremote.h"
#include "VAscroll.h"
#include "VAstate.h"
#include "VAtapMgr.h"
#include "agent_session.h"

namespace {

using namespace port;
using testing_support::AgentSession;
using vsession::TrackpadStep;
using Impulse = std::pair<float, float>;

// The newest impulse in the coasting history, in the handlers' convention (the history
// holds it negated).
Impulse newestImpulse() {
  const VAremoteStatics& coast = VAremote_statics();
  const auto& entry = coast.sWheelXYhistory[(coast.sWheelXYindex + 3) % 4];
  return {-entry.x, -entry.y};
}

class IntakeTest : public ::testing::Test {
 protected:
  double now() { return agent.session().elapsed(); }
  void tick(double t) {
    agent.at(t, [this] { agent.input().wheel(0, -1, {}); });
  }
  std::vector<vsession::TraceLine> wheelsDelivered(bool own) {
    auto d = agent.linesOfKind("deliver");
    std::erase_if(d, [own](const auto& l) {
      return l["type"] != kCGEventScrollWheel || (l["user"] == kAgentEventTag) != own;
    });
    return d;
  }
  size_t swallowed() { return agent.linesOfKind("swallow").size(); }
  void pad(double px, double py, int phase) {
    agent.input().trackpad(TrackpadStep{0, false, px, py, phase, 0});
  }
  void touch() { agent.input().trackpad(TrackpadStep{0, true, 0, 0, 0, 0}); }

  AgentSession agent;
  PrefsRecord& prefs = *prefs_bgprefs();
  VAeventStatics& event = VAevent_statics();
};
using ShapingTest = IntakeTest;

// changeDeltas, called directly on an event of known fields, with multipliers 2 and 0.5.
TEST_F(ShapingTest, MultipliersScaleTheIntegerFieldsInSinglePrecisionAndReversalNegates) {
  vsession::EventSystem& e = agent.events();
  const CGEventField fields[] = {kCGScrollWheelEventDeltaAxis1, kCGScrollWheelEventPointDeltaAxis1,
                                 kCGScrollWheelEventPointDeltaAxis2};
  // The vertical lines and pixels and the horizontal pixels, then both fixed-point fields.
  auto shaped = [&](std::vector<int64_t> in, bool reversedY, double dx, double dy) {
    WheelVars vars{.event = e.newEvent(kCGEventScrollWheel),
                   .reversedY = reversedY,
                   .multX = 0.5f,
                   .multY = 2};
    for (int i = 0; i < 3; ++i) e.setIntegerValueField(vars.event, fields[i], in[i]);
    changeDeltas_dx_dy(&vars, dx, dy);
    std::vector<double> out;
    for (CGEventField f : fields) out.push_back(e.getIntegerValueField(vars.event, f));
    out.push_back(e.getDoubleValueField(vars.event, kCGScrollWheelEventFixedPtDeltaAxis1));
    out.push_back(e.getDoubleValueField(vars.event, kCGScrollWheelEventFixedPtDeltaAxis2));
    e.release(vars.event);
    return out;
  };
  // 1.5 pixels truncate to 1.
  EXPECT_EQ(shaped({3, 30, 3}, false, 0.3, 3), (std::vector<double>{6, 60, 1, 6, 0.15}));
  // The handed-in delta already carries the reversal; -1.5 truncates toward zero.
  EXPECT_EQ(shaped({3, 30, -3}, true, 0, -3), (std::vector<double>{-6, -60, -1, -6, 0}));
  // 2^24 + 1 is no float: in single precision it doubles to 2^25.
  EXPECT_EQ(shaped({16777217, 0, 0}, false, 0, 1), (std::vector<double>{33554432, 0, 0, 2, 0}));
}

TEST_F(IntakeTest, WithCoastingOffAnUnshapedTickPassesUntouchedAndAShapedOneIsRewritten) {
  prefs.wheel.wheelCoastVOn = 0;
  // Pixel deltas with a fraction: any rewrite would leave whole numbers behind.
  agent.input().recordedWheel(0, -2.35);
  prefs.wheel.wheelReverseY = 1;
  agent.input().recordedWheel(0, -2.35);
  agent.runUntil(now());
  auto d = wheelsDelivered(false);
  ASSERT_EQ(d.size(), 2u);
  for (auto [i, lines, pixels, cocoa] : {std::tuple{0, -1, -23.5, -2.35}, {1, 1, 23.0, 2.35}}) {
    EXPECT_EQ(d[i]["d1"], lines) << i;
    EXPECT_EQ(d[i]["px1"], pixels) << i;
    EXPECT_NEAR(d[i]["fp1"].get<double>(), cocoa, 1e-6) << i;
  }
}

TEST_F(IntakeTest, AWheelFlickIsSwallowedAndCoastsTheSameWayThenDecays) {
  for (int i = 0; i < 4; ++i) agent.at(1.0 + 0.04 * i, [this] { agent.input().wheel(0, -2, {}); });
  agent.runUntil(1.2);
  EXPECT_EQ(swallowed(), 4u);
  EXPECT_TRUE(state_doingCoast());
  EXPECT_EQ(state_coastStartedBy(), 2);
  agent.runUntil(5);
  EXPECT_FALSE(state_doingCoast());
  auto own = wheelsDelivered(true);
  ASSERT_GT(own.size(), 5u);
  // The ticks come faster and so larger (the system accelerates them): the coast speeds up
  // while they come and decays once they stop.
  int previous = 100000;
  for (const auto& d : own) {
    int px = d["px1"];
    EXPECT_LT(px, 0);  // downward, as the ticks
    if (d["t"].get<double>() <= 1.12) continue;
    EXPECT_LE(-px, previous + 1);
    previous = -px;
  }
}

TEST_F(IntakeTest, TicksCloserThanEightMillisecondsPassAndStopTheCoast) {
  tick(1.0);
  tick(1.005);
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
  send_cgWheelEvent_intX_intY(0, 5);
  agent.runUntil(1.4);
  auto own = wheelsDelivered(true);
  ASSERT_EQ(own.size(), 1u);
  EXPECT_EQ(own[0]["px1"], 5);  // the one after the cancelled time
}

// Real events behind the agent's momentum are reposted until its end marker comes back
// through the tap, each repost counting as the next real event.
TEST_F(IntakeTest, RealEventsAreRepostedBehindTheEndMarkerUntilItComesBackOrSixTimes) {
  prefs.wheel.wheelCoastVOn = 0;
  agent.runUntil(1);
  state_setPostingMomentum(true);
  state_setCurMomentumPhase(2);
  agent.input().wheel(0, -1, CGPoint{0, -12.5});
  agent.runUntil(1.01);
  EXPECT_FALSE(state_postingMomentum());
  auto d = agent.linesOfKind("deliver");
  ASSERT_EQ(d.size(), 2u);
  EXPECT_EQ(d[0]["user"], kAgentEventTag);  // the zero end marker first
  EXPECT_EQ(d[0]["mphase"], 3);
  EXPECT_EQ(d[1]["user"], 0);  // then a faithful copy of the real event, not tagged as ours
  EXPECT_EQ(d[1]["px1"], -12.5);
  EXPECT_FALSE(state_repostWheelEventsUntilMomentumEnd());

  // A marker that never comes back: repost mode ends after the sixth repost.
  state_setRepostWheelEventsUntilMomentumEnd(true);
  event.sRepostCount = 0;
  agent.input().wheel(0, -1, {});
  agent.runUntil(1.1);
  EXPECT_FALSE(state_repostWheelEventsUntilMomentumEnd());
  EXPECT_EQ(wheelsDelivered(false).size(), 2u);
  EXPECT_EQ(swallowed(), 7u);
  EXPECT_EQ(agent.events().liveEvents(), 0u);  // the marker and every copy were released
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

  // The same with the trackpad's block in force, whose modifier alone counts then.
  state_setIsMultiTouch(true);
  prefs.wheel.wheelDisWOption = 0;
  prefs.pad.padDisWOption = 1;
  agent.input().wheel(0, -1, {});
  agent.runUntil(now());
  EXPECT_EQ(wheelsDelivered(false).size(), 2u);
  EXPECT_TRUE(state_isMultiTouch());
  EXPECT_EQ(event.sTimeOfLastWheelEvent, 0);
}

TEST_F(IntakeTest, AGestureWithinTwoTenthsOfASecondMakesAWheelEventMultiTouch) {
  prefs.wheel.wheelCoastVOn = 0;
  prefs.pad.padCoastVOn = 0;
  for (auto [touchedAt, tickAt, multiTouch] : {std::tuple{1.0, 1.15, true}, {1.5, 1.75, false}}) {
    agent.at(touchedAt, [this] {
      evtapMMoved_setEnabled(true);
      touch();
    });
    tick(tickAt);
    agent.runUntil(tickAt + 0.01);
    EXPECT_EQ(state_isMultiTouch(), multiTouch) << tickAt - touchedAt;
  }
}

TEST_F(IntakeTest, PhasesAreForgottenAfterAPauseOfMoreThanAThirdOfASecond) {
  agent.at(1.0, [this] { pad(0, -20, vsession::kScrollPhaseChanged); });
  agent.runUntil(1.01);
  EXPECT_TRUE(event.sHavePhases);
  for (auto [tickAt, havePhases] : {std::pair{1.3, true}, {1.7, false}}) {
    tick(tickAt);
    agent.runUntil(tickAt + 0.01);
    EXPECT_EQ(event.sHavePhases, havePhases) << tickAt;
  }
}

// What the intake makes of the speed settings and the modifiers, seen in what reaches the
// application with coasting off.
TEST_F(IntakeTest, SpeedModifierAndReversalWithItsModifierShapeTheTick) {
  prefs.wheel.wheelCoastVOn = 0;
  prefs.wheel.wheelModSpeed = 4;  // Option, the default speed modifier
  prefs.wheel.wheelReverseY = 1;
  prefs.wheel.wheelReverseX = 1;
  prefs.wheel.wheelReverseOnlyWithModOn = 1;  // Control, the default reverse modifier
  for (auto [flags, modSpeedXOn, lines1, lines2] :
       {std::tuple<uint64_t, uint8_t, int, int>{0, 1, -1, -1},  // horizontal reversal: no modifier
        {kCGEventFlagMaskControl, 1, 1, -1},                    // the vertical one needs it
        {kCGEventFlagMaskAlternate, 1, -4, -4},                 // the speed modifier, both axes
        {kCGEventFlagMaskAlternate, 0, -4, -1}}) {              // ...or only vertically
    prefs.wheel.wheelModSpeedXOn = modSpeedXOn;
    agent.session().world().modifierFlags = flags;
    agent.input().wheel(1, -1, {});
    agent.runUntil(now());
    auto d = wheelsDelivered(false).back();
    EXPECT_EQ(d["d1"], lines1) << flags << " " << int{modSpeedXOn};
    EXPECT_EQ(d["d2"], lines2) << flags << " " << int{modSpeedXOn};
  }
}

TEST_F(IntakeTest, ADiagonalTickKeepsBothAxesAndADominantOneOnlyItself) {
  agent.input().recordedWheel(1, -1);
  EXPECT_EQ(newestImpulse(), Impulse(1, 1));
  agent.input().recordedWheel(1, -2);
  EXPECT_EQ(newestImpulse(), Impulse(0, 2));
}

// 10.12.0 and 10.12.1 report unreliable Cocoa deltas: the pixel field is read instead.
TEST(SierraTest, EarlySierraReadsTheVerticalDeltaFromThePixelField) {
  // Later releases read Cocoa's delta: a single slow notch's 0.1.
  for (auto [minor, y] : {std::pair{0, -2.5f}, {1, -2.5f}, {2, -0.1f}}) {
    vsession::SessionConfig config = testing_support::twoWindowConfig();
    config.systemVersion = {10, 12, minor};
    AgentSession agent(config);
    agent.input().wheel(0, 1, CGPoint{0, 25});
    EXPECT_EQ(newestImpulse().second, y) << "10.12." << minor;
  }
}

class PadTest : public IntakeTest {
 protected:
  PadTest() { prefs.pad.padCoastVOn = prefs.pad.padCoastHOn = 1; }
  void swipe(double y) {
    for (const TrackpadStep& s : vsession::swipeSteps(0, y, 0.1, true)) {
      agent.at(1.0 + s.t, [this, s] { agent.input().trackpad(s); });
    }
  }
};

TEST_F(PadTest, WithoutLiftingEmptyEventsGoSidewaysMovementPassesAndVerticalFeedsTheCoast) {
  prefs.pad.padLiftFingersToCoast = 0;
  pad(0, 0, vsession::kScrollPhaseMayBegin);
  EXPECT_EQ(swallowed(), 1u);
  pad(-40, -10, vsession::kScrollPhaseChanged);  // mostly sideways: not shaped at all
  agent.runUntil(now());
  EXPECT_EQ(wheelsDelivered(false).size(), 1u);
  EXPECT_FALSE(state_doingCoast());
  EXPECT_EQ(newestImpulse(), Impulse(0, 0));
  // A finger's vertical impulse feeds the coast one and a half times: 2 lines, and half again.
  pad(0, -20, vsession::kScrollPhaseChanged);
  EXPECT_EQ(newestImpulse(), Impulse(0, 3));
}

TEST_F(PadTest, WithoutLiftingFingerMovementPassesAndOnlyTheFirstMomentumEventIsSwallowed) {
  prefs.pad.padLiftFingersToCoast = 0;
  swipe(-200);
  agent.runUntil(1.12);
  EXPECT_TRUE(state_doingCoast());  // the coast runs beside the moving fingers
  agent.runUntil(3);
  size_t momentumDelivered = 0, momentumSent = 0;
  for (const auto& d : wheelsDelivered(false)) momentumDelivered += d["mphase"] != 0;
  for (const TrackpadStep& s : vsession::swipeSteps(0, -200, 0.1, true)) {
    momentumSent += s.momentumPhase != 0;
  }
  // The first momentum event goes, and so does every empty one: touch-down, lift, the end.
  EXPECT_EQ(momentumDelivered, momentumSent - 2);
  EXPECT_EQ(swallowed(), 4u);
}

TEST_F(PadTest, WhenFingersLiftTheFirstMomentumEventStartsTheCoastAndOnlyALateTouchStopsIt) {
  swipe(-300);
  agent.runUntil(1.11);
  EXPECT_FALSE(state_doingCoast());  // nothing coasts while the fingers move
  agent.runUntil(1.15);
  ASSERT_TRUE(state_doingCoast());
  EXPECT_EQ(swallowed(), 1u);
  double lifted = event.sTimeGotPhaseEnded - agent.session().scheduler().startTime();
  evtapMMoved_setEnabled(true);
  for (auto [after, coasting] : {std::pair{0.05, true}, {0.1, false}}) {
    agent.at(lifted + after, [this] { touch(); });
    agent.runUntil(lifted + after + 0.01);
    EXPECT_EQ(state_doingCoast(), coasting) << after;
  }
  auto own = wheelsDelivered(true);
  EXPECT_GT(own.size(), 2u);
  for (const auto& d : own) EXPECT_LT(d["px1"].get<double>(), 0);  // the swipe's way
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
