// The agent's own scroll events and coasting: residues carried across ticks, the size
// limit, momentum marking, the coast's decay, the merge rule, the start-speed estimator and
// the parked timer.
#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>
#include <string>
#include <tuple>
#include <vector>

#include "VAevent.h"
#include "VAremote.h"
#include "VAscroll.h"
#include "VAstate.h"
#include "agent_session.h"

namespace {

using namespace port;
using testing_support::AgentSession;
using Strings = std::vector<std::string>;

class SynthesisTest : public ::testing::Test {
 protected:
  // The posted events that reached an application, as "horizontal,vertical" pixels.
  Strings posted() {
    Strings out;
    for (const auto& d : agent.linesOfKind("deliver")) {
      out.push_back(std::to_string(d["px2"].get<int>()) + "," +
                    std::to_string(d["px1"].get<int>()));
    }
    return out;
  }
  double now() { return agent.session().elapsed(); }
  void settle() { agent.runUntil(now()); }
  // Starts a coast on the main thread now, as a dispatched start would.
  void start(float x, float y, double stopTime = 0) {
    coast_atPoint_withX_y_stopTime(400, 400, x, y, stopTime);
  }
  // A trackpad coast posting momentum: its stop does all a stop can.
  void postingTrackpadMomentum() {
    state_setDoingWheel(true);
    state_setIsMultiTouch(true);
    state_setPostingMomentum(true);
    state_setCurMomentumPhase(2);
  }

  AgentSession agent{[] {
    vsession::SessionConfig c = testing_support::twoWindowConfig();
    c.scrollWheelScaling = 0.5;  // the system's setting, for the start-speed estimator
    return c;
  }()};
  VAscrollStatics& scroll = VAscroll_statics();
  VAremoteStatics& coast = VAremote_statics();
};
using CoastTest = SynthesisTest;
using EstimatorTest = SynthesisTest;

TEST_F(SynthesisTest, FractionsAreCarriedAcrossTicksAndOnlyWholePixelsPosted) {
  for (int i = 0; i < 3; ++i) scrollForCoast_x_y(0.4f, 0);  // 1.2: one pixel, 0.2 carried
  scrollForCoast_x_y(0, 2.7f);                              // two pixels, 0.7 carried
  scrollForCoast_x_y(0.8f, 0.5f);                           // with them, one pixel each
  resetScrollAccum();
  scrollForCoast_x_y(0.9f, 0.9f);  // 1.1 had the 0.2 been kept: nothing
  scrollForCoast_x_y(0, -3.4f);    // -2.5 with the 0.9 carried
  scrollForCoast_x_y(0, -0.5f);    // negative amounts carry their fraction as well
  settle();
  // The horizontal amount goes out negated.
  EXPECT_EQ(posted(), (Strings{"-1,0", "0,2", "-1,1", "0,-2", "0,-1"}));
}

TEST_F(SynthesisTest, PostedEventsCarryTheTagAndAnyOverTheSizeLimitHalveTheCoastInstead) {
  coast.sCoastX = 800;
  coast.sCoastY = -400;
  send_cgWheelEvent_intX_intY(0, 7);
  send_cgWheelEvent_intX_intY(3, 0);         // a horizontal delta makes a two-wheel event
  send_cgWheelEvent_intX_intY(1000, -1000);  // exactly at the limit: posted
  send_cgWheelEvent_intX_intY(1001, 0);
  send_cgWheelEvent_intX_intY(0, INT_MIN);  // its magnitude overflows: still refused
  settle();
  EXPECT_EQ(posted(), (Strings{"0,7", "3,0", "1000,-1000"}));
  auto d = agent.linesOfKind("deliver");
  for (const auto& e : d) {
    EXPECT_EQ(e["user"], kAgentEventTag);
    EXPECT_EQ(e["cont"], 1);
  }
  EXPECT_NEAR(d[0]["fp1"].get<double>(), 0.7, 1e-9);  // in lines, ten pixels each
  // Each refusal is logged and halves the coast's speeds.
  Strings logs;
  for (const auto& l : agent.linesOfKind("log")) logs.push_back(l["msg"]);
  EXPECT_EQ(logs, (Strings{"rate limit 1001 0", "rate limit 0 -2147483648"}));
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
  send_cgWheelEvent_intX_intY(0, 0);  // not the end: still nothing
  send_cgWheelEvent_intX_intY(0, 4);
  scroll_postStopWheelEvent();
  settle();
  std::vector<int64_t> phases;
  for (const auto& d : agent.linesOfKind("deliver")) phases.push_back(d["mphase"]);
  EXPECT_EQ(phases, (std::vector<int64_t>{1, 2, 3}));
  EXPECT_EQ(posted().back(), "0,0");
}

TEST_F(CoastTest, SixHundredPixelsASecondPostsNineFirstAndEndsAfterFortyFiveTicks) {
  coast.sCoastFactor_float = 0.95f;
  start(0, 600);
  agent.runUntil(now() + 0.0167);
  ASSERT_EQ(posted(), (Strings{"0,9"}));  // 600 x 0.95 / 60: 9.5
  agent.runUntil(now() + 2);
  EXPECT_FALSE(state_doingCoast());
  // 44 ticks post; the 45th would move less than a pixel and ends the coast.
  EXPECT_EQ(posted().size(), 44u);
  EXPECT_LE(std::abs(agent.linesOfKind("deliver").back()["px1"].get<int>()), 2);
}

TEST_F(CoastTest, EachStarterSetsItsDecayAndMarksWhoStartedTheCoast) {
  PrefsRecord& prefs = *prefs_bgprefs();
  prefs.grabCoastFactor = 900;
  prefs.wheel.wheelCoastFactor = 970;
  prefs.pad.padCoastFactor = 850;
  for (auto [set, factor, startedBy] : {std::tuple{&scroll_setCoastFactorForGrab, 0.9f, 1},
                                        {scroll_setCoastFactorForWheel, 0.97f, 2},
                                        {scroll_setCoastFactorForPad, 0.85f, 2},
                                        {scroll_setCoastFactorForKeys, 0.95f, 3}}) {
    set();
    EXPECT_FLOAT_EQ(coast.sCoastFactor_float, factor);
    EXPECT_EQ(state_coastStartedBy(), startedBy) << factor;
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

TEST_F(CoastTest, AStopParksTheTimerAndATrackpadCoastsStopIsFollowedUpFromTheEventThread) {
  start(0, 600);
  postingTrackpadMomentum();
  stopCoast();
  RunLoops& loops = *agent.session().platform().runLoops;
  EXPECT_GT(loops.timerGetNextFireDate(coast.sCoastTimer) - agent.session().absolute(now()), 3e8);
  EXPECT_TRUE(loops.timerIsValid(coast.sCoastTimer));
  agent.runUntil(now() + 0.019);
  EXPECT_EQ(posted(), (Strings{"0,0"}));  // the marker from the stop
  agent.runUntil(now() + 0.002);
  EXPECT_EQ(posted().size(), 2u);  // and once more from the event thread, 20 ms later
}

TEST_F(CoastTest, StopWithoutACoastDoesNothingAndAStopTimeEndsTheCoast) {
  start(0, 600);
  CFRunLoopTimerRef timer = coast.sCoastTimer;
  stopCoast();
  RunLoops& loops = *agent.session().platform().runLoops;
  double parkedUntil = loops.timerGetNextFireDate(timer);
  agent.runUntil(now() + 1);
  // Everything a stop would do shows here: the timer parked again, the end marker of the
  // momentum, the follow-up marker from the event thread.
  postingTrackpadMomentum();
  coast.sCoastY = 300;
  int eventThreadWakes = 0;
  agent.session().scheduler().setWakeObserver([&](vsession::LaneId lane, const char*) {
    eventThreadWakes += agent.session().scheduler().laneName(lane) == "event";
  });
  stopCoast();
  agent.runUntil(now() + 0.1);
  EXPECT_TRUE(posted().empty());
  EXPECT_EQ(eventThreadWakes, 0);
  EXPECT_EQ(loops.timerGetNextFireDate(timer), parkedUntil);
  EXPECT_EQ(coast.sCoastY, 300);
  agent.session().scheduler().setWakeObserver(nullptr);

  state_setPostingMomentum(false);
  start(0, 6000, agent.session().absolute(now()) - 1);  // a stop time already past
  EXPECT_EQ(coast.sCoastTimer, timer);                  // made once, reused
  agent.runUntil(now() + 0.1);
  EXPECT_FALSE(state_doingCoast());
  EXPECT_TRUE(posted().empty());
}

// The start-speed estimator, each row's impulses fed a second after the previous row's, so
// no row sees another's. The base speed is the system's scaling, 0.5, plus 1.4; the scaling
// is read on the main queue, so the first impulse finds it still 0.
TEST_F(EstimatorTest, StartSpeedsFromOneTwoOrThreeImpulses) {
  // Each block lets one axis coast: the wheel's the vertical, the trackpad's the horizontal.
  prefs_bgprefs()->wheel.wheelCoastHOn = 0;
  prefs_bgprefs()->pad.padCoastHOn = 1;
  const float single = 1.9 * 1.285 / 1.2 / 0.025;  // a vertical single tick at setting 200
  const float minimum = 1.9 * 1.2 / 0.025;         // for a quick run of three
  const struct {
    const char* what;
    std::vector<std::array<double, 3>> impulses;  // seconds after the row's start, x, y
    bool speed;
    float x, y;  // with no speed, the impulse is left as it was
    bool pad = false;
  } rows[] = {
      {"the scaling not read yet", {{0, 0, -1}}, true, 0, 1.4 * 1.285 / 1.2 / 0.025},
      {"a single vertical tick, scaled by the setting", {{0, 0, -1}}, true, 0, single},
      {"a single horizontal tick, not scaled", {{0, 1, 0}}, true, -1.9 / 1.2 / 0.025, 0, true},
      {"more than 0.2 s apart: single ticks", {{0, 0, -1}, {0.25, 0, -1}}, true, 0, single},
      {"two: twice the newest over the span", {{0, 0, -1}, {0.1, 0, -1}}, true, 0, 20},
      {"three: 2 x 2 / 0.2, raised", {{0, 0, -1}, {0.1, 0, -1}, {0.2, 0, -1}}, true, 0, minimum},
      {"closer than 8 ms: no speed", {{0, 0, -1}, {0.005, 0, -1}}, false, 0, -1},
      {"the wheel's horizontal may not coast", {{0, 1, 0}}, false, 1, 0},
      {"the trackpad's vertical may not coast", {{0, 0, -3}}, false, 0, -3, true},
      {"trackpad impulses weigh five times", {{0, 3, 0}, {0.05, 3, 0}}, true, -300, 0, true},
  };
  double rowStart = 1;
  for (const auto& r : rows) {
    state_setIsMultiTouch(r.pad);
    bool speed = false;
    float x = 0, y = 0;
    for (const auto& [after, impulseX, impulseY] : r.impulses) {
      agent.runUntil(rowStart + after);
      x = impulseX;
      y = impulseY;
      speed = shouldCoastFor_xPtr_yPtr_updateOnly_startFromHistory_singleFactor(&x, &y, false,
                                                                                false, 200);
    }
    EXPECT_EQ(speed, r.speed) << r.what;
    EXPECT_NEAR(x, r.x, 0.01) << r.what;
    EXPECT_NEAR(y, r.y, 0.01) << r.what;
    rowStart += 1;
  }
}

}  // namespace
