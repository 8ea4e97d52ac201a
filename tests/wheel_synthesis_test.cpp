// The agent's own scroll events and coasting: residues carried across ticks, the size
// limit, momentum marking, reposting, the coast's decay, the merge rule, the start-speed
// estimator and the parked timer.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <string>
#include <vector>

#include "VAevent.h"
#include "VAremote.h"
#include "VAscroll.h"
#include "VAstate.h"
#include "agent_session.h"

namespace {

using namespace port;
using testing_support::AgentSession;

class SynthesisTest : public ::testing::Test {
 protected:
  // The posted events that reached an application, as "horizontal,vertical" pixels.
  std::vector<std::string> posted() {
    std::vector<std::string> out;
    for (const auto& d : agent.linesOfKind("deliver")) {
      if (d["type"] != kCGEventScrollWheel) continue;
      out.push_back(std::to_string(d["px2"].get<int>()) + "," +
                    std::to_string(d["px1"].get<int>()));
    }
    return out;
  }
  void settle() { agent.runUntil(agent.session().elapsed()); }
  std::vector<std::string> logs() {
    std::vector<std::string> out;
    for (const auto& l : agent.linesOfKind("log")) out.push_back(l["msg"]);
    return out;
  }

  AgentSession agent;
  VAscrollStatics& scroll = VAscroll_statics();
  VAremoteStatics& coast = VAremote_statics();
};

TEST_F(SynthesisTest, FractionsAreCarriedAcrossTicksAndOnlyWholePixelsPosted) {
  for (int i = 0; i < 3; ++i) scrollForCoast_x_y(0.4f, 0);
  settle();
  EXPECT_EQ(posted(), (std::vector<std::string>{"-1,0"}));  // horizontal goes out negated
  EXPECT_NEAR(scroll.sCoast_accumX, 0.2, 1e-6);

  scrollForCoast_x_y(0, 2.7f);
  EXPECT_NEAR(scroll.sCoast_accumY, -0.7, 1e-6);  // kept negated
  scrollForCoast_x_y(0, 0.5f);                    // 0.7 carried + 0.5
  EXPECT_NEAR(scroll.sCoast_accumY, -0.2, 1e-6);
  resetScrollAccum();
  scrollForCoast_x_y(0, -2.7f);
  EXPECT_NEAR(scroll.sCoast_accumY, 0.7, 1e-6);
  settle();
  EXPECT_EQ(posted(), (std::vector<std::string>{"-1,0", "0,2", "0,1", "0,-2"}));
}

TEST_F(SynthesisTest, PostedEventsCarryTheTagNoModifiersAndConsistentPixelFields) {
  agent.session().world().modifierFlags = kCGEventFlagMaskCommand;
  send_cgWheelEvent_intX_intY(0, 7);
  send_cgWheelEvent_intX_intY(3, 0);
  settle();
  auto d = agent.linesOfKind("deliver");
  ASSERT_EQ(d.size(), 2u);
  for (const auto& e : d) {
    EXPECT_EQ(e["user"], kAgentEventTag);
    EXPECT_EQ(e["flags"], 0);
    EXPECT_EQ(e["cont"], 1);
  }
  EXPECT_EQ(d[0]["px1"], 7.0);
  EXPECT_EQ(d[0]["px2"], 0.0);
  EXPECT_NEAR(d[0]["fp1"].get<double>(), 0.7, 1e-9);
  EXPECT_EQ(d[1]["px2"], 3.0);  // a horizontal delta makes a two-wheel event
  EXPECT_EQ(d[1]["px1"], 0.0);
}

TEST_F(SynthesisTest, SizeLimitRefusesAndHalvesTheCoastSpeeds) {
  coast.sCoastX = 800;
  coast.sCoastY = -400;
  send_cgWheelEvent_intX_intY(1000, -1000);  // exactly at the limit: posted
  send_cgWheelEvent_intX_intY(1001, 0);
  send_cgWheelEvent_intX_intY(0, INT_MIN);  // its magnitude overflows: still refused
  settle();
  EXPECT_EQ(posted(), (std::vector<std::string>{"1000,-1000"}));
  EXPECT_EQ(logs(), (std::vector<std::string>{"rate limit 1001 0", "rate limit 0 -2147483648"}));
  EXPECT_EQ(coast.sCoastX, 200);
  EXPECT_EQ(coast.sCoastY, -100);
}

TEST_F(SynthesisTest, ZeroEventIsPostedOnlyAsTheEndOfMomentumMarker) {
  send_cgWheelEvent_intX_intY(0, 0);
  scroll_postStopWheelEvent();
  settle();
  EXPECT_TRUE(posted().empty());

  // Marking: begin on the first event, continue after it, end on the zero marker.
  state_setPostingMomentum(true);
  state_setCurMomentumPhase(1);
  send_cgWheelEvent_intX_intY(0, 5);
  send_cgWheelEvent_intX_intY(0, 4);
  scroll_postStopWheelEvent();
  settle();
  std::vector<int64_t> phases;
  for (const auto& d : agent.linesOfKind("deliver")) phases.push_back(d["mphase"]);
  EXPECT_EQ(phases, (std::vector<int64_t>{1, 2, 3}));
  EXPECT_EQ(posted().back(), "0,0");
}

TEST_F(SynthesisTest, RepostedCopyKeepsItsOwnUserDataAndFollowsWhatWasPostedBefore) {
  // The copy comes back through the agent's own tap as a real event; unshaped, it passes.
  prefs_bgprefs()->wheel.wheelCoastVOn = 0;
  CGEventRef real = agent.events().newEvent(kCGEventScrollWheel);
  agent.events().setIntegerValueField(real, kCGScrollWheelEventPointDeltaAxis1, -12);
  state_setPostingMomentum(true);
  state_setCurMomentumPhase(2);
  scroll_postStopWheelEvent();
  scroll_repostEvent(real);
  agent.events().release(real);
  state_setPostingMomentum(false);
  settle();
  auto d = agent.linesOfKind("deliver");
  ASSERT_EQ(d.size(), 2u);
  EXPECT_EQ(d[0]["mphase"], 3);
  EXPECT_EQ(d[1]["user"], 0);
  EXPECT_EQ(d[1]["px1"], -12.0);
}

class CoastTest : public SynthesisTest {
 protected:
  // Starts a coast on the main thread now, as a dispatched start would.
  void start(float x, float y, double stopTime = 0) {
    coast_atPoint_withX_y_stopTime(400, 400, x, y, stopTime);
  }
  double now() { return agent.session().elapsed(); }
};

TEST_F(CoastTest, SixHundredPixelsASecondPostsNineFirstAndEndsAfterFortyFiveTicks) {
  coast.sCoastFactor_float = 0.95f;
  start(0, 600);
  settle();
  agent.runUntil(now() + 0.0167);
  ASSERT_EQ(posted(), (std::vector<std::string>{"0,9"}));
  EXPECT_NEAR(scroll.sCoast_accumY, -0.5, 1e-4);
  agent.runUntil(now() + 2);
  EXPECT_FALSE(state_doingCoast());
  // 44 ticks post; the 45th would move less than a pixel and ends the coast.
  EXPECT_EQ(posted().size(), 44u);
  auto states = agent.linesOfKind("deliver");
  EXPECT_LE(std::abs(states.back()["px1"].get<int>()), 2);
}

TEST_F(CoastTest, EachStarterSetsItsDecayAndMarksWhoStartedTheCoast) {
  PrefsRecord& prefs = *prefs_bgprefs();
  prefs.grabCoastFactor = 900;
  prefs.wheel.wheelCoastFactor = 970;
  prefs.pad.padCoastFactor = 850;
  const struct {
    void (*set)();
    float factor;
    int startedBy;
  } starters[] = {{scroll_setCoastFactorForGrab, 0.9f, 1},
                  {scroll_setCoastFactorForWheel, 0.97f, 2},
                  {scroll_setCoastFactorForPad, 0.85f, 2},
                  {scroll_setCoastFactorForKeys, 0.95f, 3}};
  for (const auto& s : starters) {
    s.set();
    EXPECT_FLOAT_EQ(coast.sCoastFactor_float, s.factor);
    EXPECT_EQ(state_coastStartedBy(), s.startedBy);
  }
}

TEST_F(CoastTest, MergeAveragesTheSameDirectionAndStopsAnOpposedAxis) {
  start(-200, 600);
  start(-100, 300);
  EXPECT_DOUBLE_EQ(coast.sCoastY, 450);
  EXPECT_DOUBLE_EQ(coast.sCoastX, -150);
  scroll.sCoast_accumY = -0.5;
  scroll.sCoast_accumX = 0.25;
  start(-100, -300);
  EXPECT_EQ(coast.sCoastY, 0);
  EXPECT_EQ(scroll.sCoast_accumY, 0);
  EXPECT_DOUBLE_EQ(coast.sCoastX, -125);  // the other axis goes on
  EXPECT_EQ(scroll.sCoast_accumX, 0.25);
  EXPECT_TRUE(state_doingCoast());
}

TEST_F(CoastTest, TheTimerIsMadeOnceAndParkedBetweenCoasts) {
  start(0, 600);
  CFRunLoopTimerRef timer = coast.sCoastTimer;
  ASSERT_NE(timer, nullptr);
  stopCoast();
  RunLoops& loops = *agent.session().platform().runLoops;
  EXPECT_GT(loops.timerGetNextFireDate(timer) - agent.session().absolute(now()), 3e8);
  EXPECT_TRUE(loops.timerIsValid(timer));
  start(0, 600);
  EXPECT_EQ(coast.sCoastTimer, timer);
}

TEST_F(CoastTest, StopWithoutACoastDoesNothingAndAStopTimeEndsTheCoast) {
  // Everything a stop would do shows here: the timer parked again, the end marker of the
  // momentum being posted, the follow-up marker from the event thread.
  start(0, 600);
  stopCoast();
  RunLoops& loops = *agent.session().platform().runLoops;
  double parkedUntil = loops.timerGetNextFireDate(coast.sCoastTimer);
  agent.runUntil(now() + 1);
  state_setDoingWheel(true);
  state_setIsMultiTouch(true);
  state_setPostingMomentum(true);
  state_setCurMomentumPhase(2);
  coast.sCoastY = 300;
  int eventThreadWakes = 0;
  agent.session().scheduler().setWakeObserver([&](vsession::LaneId lane, const char*) {
    eventThreadWakes += agent.session().scheduler().laneName(lane) == "event";
  });
  stopCoast();
  agent.runUntil(now() + 0.1);
  EXPECT_TRUE(posted().empty());
  EXPECT_EQ(eventThreadWakes, 0);
  EXPECT_EQ(loops.timerGetNextFireDate(coast.sCoastTimer), parkedUntil);
  EXPECT_EQ(coast.sCoastY, 300);
  agent.session().scheduler().setWakeObserver(nullptr);

  state_setPostingMomentum(false);
  start(0, 6000, agent.session().absolute(now()) - 1);  // a stop time already past
  agent.runUntil(now() + 0.1);
  EXPECT_FALSE(state_doingCoast());
  EXPECT_TRUE(posted().empty());
}

TEST_F(CoastTest, AStopOfATrackpadCoastSendsAFollowUpStopToTheEventThread) {
  start(0, 600);
  state_setDoingWheel(true);
  state_setIsMultiTouch(true);
  state_setPostingMomentum(true);
  state_setCurMomentumPhase(2);
  stopCoast();
  agent.runUntil(now() + 0.019);
  EXPECT_EQ(posted(), (std::vector<std::string>{"0,0"}));  // the marker from the stop
  agent.runUntil(now() + 0.002);
  EXPECT_EQ(posted().size(), 2u);  // and once more from the event thread, 20 ms later
}

// The start-speed estimator, impulses fed at chosen virtual times.
class EstimatorTest : public SynthesisTest {
 protected:
  void SetUp() override { state_setIsMultiTouch(false); }
  // Feeds one impulse at `t` seconds; answers whether a speed came out.
  bool impulse(double t, float x, float y, uint16_t single = 200) {
    agent.runUntil(t);
    lastX = x;
    lastY = y;
    return shouldCoastFor_xPtr_yPtr_updateOnly_startFromHistory_singleFactor(&lastX, &lastY, false,
                                                                             false, single);
  }
  float lastX = 0, lastY = 0;
};

TEST_F(EstimatorTest, TwoTicksGiveTheNewestOverTheSpanAndThreeAreRaisedToTheMinimum) {
  // The system scaling is 0 until its value has been read: s = 1.4.
  ASSERT_TRUE(impulse(1.0, 0, -1));
  ASSERT_TRUE(impulse(1.1, 0, -1));
  EXPECT_FLOAT_EQ(lastY, 20);  // 2 x 1 / 0.1
  ASSERT_TRUE(impulse(1.2, 0, -1));
  EXPECT_FLOAT_EQ(lastY, 1.4f * 1.2f / 0.025f);  // 2 x 2 / 0.2 = 20, raised to L
}

TEST_F(EstimatorTest, SingleTicksFarApartUseTheSingleTickSpeed) {
  ASSERT_TRUE(impulse(1.0, 0, -1));
  float single = lastY;
  EXPECT_NEAR(single, 1.4 * 1.285 / 1.2 / 0.025, 0.01);
  ASSERT_TRUE(impulse(1.25, 0, -1));
  EXPECT_FLOAT_EQ(lastY, single);
  // Only the vertical single tick is scaled by the setting; a horizontal one is not.
  ASSERT_TRUE(impulse(2.0, 1, 0));
  EXPECT_NEAR(lastX, -1.4 / 1.2 / 0.025, 0.01);
}

TEST_F(EstimatorTest, ImpulsesCloserThanEightMillisecondsGiveNoSpeed) {
  ASSERT_TRUE(impulse(1.0, 0, -1));
  EXPECT_FALSE(impulse(1.005, 0, -1));
}

TEST_F(EstimatorTest, TrackpadImpulsesWeighMoreAndAnAxisThatMayNotCoastIsRefused) {
  state_setIsMultiTouch(true);  // the pad block: coasting off by default
  EXPECT_FALSE(impulse(1.0, 0, -3));
  prefs_bgprefs()->pad.padCoastVOn = 1;
  prefs_bgprefs()->pad.padCoastHOn = 1;
  ASSERT_TRUE(impulse(2.0, 0, -3));
  ASSERT_TRUE(impulse(2.05, 0, -3));
  EXPECT_NEAR(lastY, 5 * 3 / 0.05, 0.01);
}

TEST_F(EstimatorTest, WorkedExampleWithTheSystemScalingRead) {
  vsession::SessionConfig config = testing_support::twoWindowConfig();
  config.scrollWheelScaling = 0.5;
  AgentSession scaled(config);
  readAppleScrollWheelSpeed(scaled.session().absolute(0));
  scaled.runUntil(0.1);  // the system value is read on the main queue
  scaled.runUntil(3);    // and fetched again after two seconds
  float x = 0, y = -1;
  ASSERT_TRUE(
      shouldCoastFor_xPtr_yPtr_updateOnly_startFromHistory_singleFactor(&x, &y, false, false, 200));
  EXPECT_NEAR(y, 81.4, 0.1);
}

}  // namespace
