// The run timer's cadence and the delegate's services to the event handlers.
#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <vector>

#include "Commonprefs.h"
#include "VAstate.h"
#include "agent_session.h"
#include "platform/virtual/ui_builders.h"
#include "tools/varsel-sim/runner.h"

namespace {

using namespace port;
using testing_support::AgentSession;
using testing_support::twoWindowConfig;

// Seconds from the start, to the microsecond.
double rounded(double seconds) {
  return std::round(seconds * 1e6) / 1e6;
}

class RunTimerTest : public ::testing::Test {
 protected:
  explicit RunTimerTest(vsession::SessionConfig config = twoWindowConfig())
      : agent(config, false) {}

  void SetUp() override {
    agent.session().scheduler().setAfterWakeHook([this] {
      double last = bgDelegate_statics().lastRun;
      if (last != 0) passes.insert(rounded(last - sched().startTime()));
    });
    agent.startAgent();
  }

  vsession::VirtualSession& s() { return agent.session(); }
  vsession::Scheduler& sched() { return agent.session().scheduler(); }
  // Seconds until the run timer's next firing.
  double nextRunIn() {
    RunLoops& loops = *s().platform().runLoops;
    return rounded(loops.timerGetNextFireDate(bgDelegate_statics().sRunTimer) - sched().now());
  }
  double lastRun() { return rounded(bgDelegate_statics().lastRun - sched().startTime()); }
  // A move from where the cursor is to `to`, at 125 events a second.
  void moveAt(double t, CGPoint to, double over) {
    s().at(t, [this, t, to, over] {
      CGPoint from = s().world().cursor;
      int steps = static_cast<int>(over * 125);
      for (int k = 1; k <= steps; ++k) {
        double f = static_cast<double>(k) / steps;
        CGPoint p{from.x + (to.x - from.x) * f, from.y + (to.y - from.y) * f};
        s().at(t + over * f, [this, p] { s().input().moveTo(p); });
      }
    });
  }
  bool movedTapEnabled() { return VAtapMgr_statics().sTapMMoved->enabled; }

  AgentSession agent;
  std::set<double> passes;  // times of full passes
};

TEST_F(RunTimerTest, RestsTwentySecondsWakesWithinATenthOnAMoveAndLooksEveryPointSevenWhileMoving) {
  EXPECT_EQ(passes, std::set<double>{0});
  EXPECT_EQ(nextRunIn(), 20);
  EXPECT_TRUE(movedTapEnabled());  // to hear the move that ends the rest

  moveAt(5, {900, 300}, 1.0);
  agent.runUntil(5.2);
  EXPECT_EQ(lastRun(), 5.108);  // the first move came at 5.008
  // While the mouse moves only the timer looks: the mouse-moved tap is not needed.
  EXPECT_FALSE(movedTapEnabled());
  EXPECT_EQ(nextRunIn(), rounded(5.808 - 5.2));

  agent.runUntil(40);
  // 6.508 is the first pass that finds the mouse at rest (more than 1.1 s after the last
  // move heard); then the timer sleeps 20 s at a time.
  EXPECT_EQ(passes, (std::set<double>{0, 5.108, 5.808, 6.508, 26.508}));
  EXPECT_TRUE(movedTapEnabled());
  EXPECT_TRUE(state_nextMoveResumesTimer());
}

class QuietRunTimerTest : public RunTimerTest {
 protected:
  void SetUp() override {
    sim::ScenarioPrefs quiet;
    quiet.all["hoverOn"] = PlistValue(0);
    quiet.all["autoScrollOn"] = PlistValue(0);
    sim::writeScenarioPrefs(quiet, s());
    RunTimerTest::SetUp();
  }
};

TEST_F(QuietRunTimerTest, WithNothingThatFollowsTheCursorAMoveOnlyMovesTheTimerToTenSeconds) {
  EXPECT_FALSE(prefs_hoverEngineOn());
  s().at(5, [this] { s().input().moveTo({600, 450}); });
  agent.runUntil(5.15);
  // Woken 0.1 s after the move, but while the mouse moves only hover would need a pass.
  EXPECT_EQ(passes, std::set<double>{0});
  EXPECT_EQ(nextRunIn(), rounded(15.1 - 5.15));
  EXPECT_FALSE(movedTapEnabled());
  agent.runUntil(15.2);
  EXPECT_EQ(passes, (std::set<double>{0, 15.1}));
  EXPECT_EQ(nextRunIn(), rounded(35.1 - 15.2));
}

TEST_F(RunTimerTest, PassesAreNeverCloserThanAnEightiethAndSkipACursorThatStayedWithinFourPoints) {
  s().at(5, [this] { s().input().moveTo({600, 450}); });
  agent.runUntil(5.2);
  ASSERT_EQ(lastRun(), 5.1);
  CGPoint at = s().world().cursor;

  // Forced, but within 4 points less than a second after the last pass.
  s().at(5.5, [this, at] {
    s().world().cursor = {at.x + 4, at.y - 4};
    bgDelegate::forceRunTimer();
  });
  agent.runUntil(5.52);
  EXPECT_EQ(lastRun(), 5.1);
  s().at(5.55, [this, at] {
    s().world().cursor = {at.x + 5, at.y};
    bgDelegate::forceRunTimer();
  });
  agent.runUntil(5.56);
  EXPECT_EQ(lastRun(), 5.55);

  // 0.05 s later even a cursor far away waits, and the pending run stays as it was.
  double pending = nextRunIn();
  s().at(5.6, [this, at] {
    s().world().cursor = {at.x + 200, at.y};
    bgDelegate::runTimerOnMain();
  });
  agent.runUntil(5.6);
  EXPECT_EQ(lastRun(), 5.55);
  EXPECT_EQ(nextRunIn(), rounded(pending - 0.04));
}

TEST_F(RunTimerTest, TheEarliestOfSeveralRequestedRunsWins) {
  s().at(3, [] {
    bgDelegate::runTimerAfter(0.5f);
    bgDelegate::runTimerAfter(0.1f);
  });
  s().at(23, [] {
    bgDelegate::runTimerAfter(0.1f);
    bgDelegate::runTimerAfter(0.5f);
  });
  agent.runUntil(25);
  EXPECT_EQ(passes, (std::set<double>{0, 3.1, 23.1}));
}

TEST_F(RunTimerTest, APausedTimerLooksAgainOnlyAfterTheMouseMoves) {
  s().at(1, [] { bgDelegate::pauseTimerUntilMouseMoves(); });
  agent.runUntil(24);
  EXPECT_EQ(passes, std::set<double>{0});  // the 20 s firing found nothing to do
  s().at(25, [this] { s().input().moveTo({600, 450}); });
  agent.runUntil(25.2);
  EXPECT_EQ(passes, (std::set<double>{0, 25.1}));
}

TEST_F(RunTimerTest, AWindowCentredRunAsksAtTheMiddleOfTheWindowUnderTheCursor) {
  // The reader gets content (so its window is known) and an editor palette sits over its
  // middle; the cursor rests near the reader's corner.
  auto& world = s().world();
  world.windows[0].ui = {vsession::uiElement("AXGroup", {{100, 140}, {800, 560}})};
  world.windows.insert(world.windows.begin(),
                       {301, 502, {{450, 350}, {100, 100}}, "", 0, false, {}});
  world.cursor = {150, 150};
  s().accessibility().rebuild();
  s().at(3, [] { bgDelegate::runTimerForWindowCenter(); });
  agent.runUntil(3);
  EXPECT_EQ(bgDelegate_statics().sCursorPid, 502);
  EXPECT_FALSE(bgDelegate_statics().sRunForWindowCenter);
  s().at(5, [] { bgDelegate::forceRunTimer(); });
  s().at(4.9, [this] { s().world().cursor = {160, 160}; });
  agent.runUntil(5);
  EXPECT_EQ(bgDelegate_statics().sCursorPid, 501);
}

TEST_F(RunTimerTest, OverTheAgentsOwnWindowThePassEndsBeforeTheBarsAreHandedOver) {
  ASSERT_EQ(bgDelegate_statics().eventThreadBars.windowNumber, 101u);
  // A hand overlay of the agent's, above the reader's window.
  s().world().windows.insert(s().world().windows.begin(),
                             {900, 400, {{350, 350}, {100, 100}}, "", 0, false, {}});
  s().accessibility().rebuild();
  s().at(2, [this] { s().input().moveTo({401, 401}); });
  s().at(3.5, [this] { s().input().moveTo({650, 450}); });  // off the overlay, same window
  agent.runUntil(3);
  EXPECT_EQ(bgDelegate_statics().sCursorPid, 400);
  // A pass that went on would have looked at the overlay's window and handed that over.
  EXPECT_EQ(bgDelegate_statics().eventThreadBars.windowNumber, 101u);
  EXPECT_EQ(bgDelegate_statics().bars.windowNumber, 101u);
  double handedOverBefore = lastRun();
  agent.runUntil(4);
  EXPECT_EQ(bgDelegate_statics().sCursorPid, 501);
  EXPECT_GT(lastRun(), handedOverBefore);
  EXPECT_EQ(bgDelegate_statics().eventThreadBars.windowNumber, 101u);
}

TEST_F(RunTimerTest, DisabledForPidAnswersForTheApplicationUnderTheCursor) {
  sim::ScenarioPrefs prefs;
  prefs.apps.push_back({"com.example.editor",
                        std::nullopt,
                        {{"wheelOn", 0},
                         {"padOn", 0},
                         {"hoverOn", 0},
                         {"autoScrollOn", 0},
                         {"grabOn", 0},
                         {"keysOn", 0},
                         {"vectorOn", 0}}});
  sim::writeScenarioPrefs(prefs, s());
  bgDelegate_statics().preferences.readPrefs();
  bgDelegate_statics().sCursorPid = 501;
  EXPECT_FALSE(bgDelegate::isDisabledForPid(502));
  bgDelegate_statics().sCursorPid = 502;
  EXPECT_TRUE(bgDelegate::isDisabledForPid(501));
  EXPECT_EQ(*state_currentAppBid(), "com.example.editor");
}

TEST_F(RunTimerTest, CoastRectIsTheFirstFoundAreaOrTheWindowAndAnEmptyOneNeverStopsACoast) {
  bgDelegateStatics& d = bgDelegate_statics();
  d.bars.up.found = 0;
  d.bars.down = {0, 0, {600, 120, 300, 500}, 1, 0, 0.5f, 0};
  bgDelegate::setCoastRect();
  EXPECT_EQ(d.sCoastRect, (IRect{600, 120, 300, 500}));
  d.sLastMousePoint = {500, 300};  // on the corner: edges count as inside
  EXPECT_TRUE(bgDelegate::ckCursorInCoastRect());
  d.sLastMousePoint = {501, 300};
  EXPECT_FALSE(bgDelegate::ckCursorInCoastRect());

  d.bars.down.found = 0;
  state_setHaveCurWindow_rect(true, {800, 100, 200, 900});
  bgDelegate::setCoastRect();
  EXPECT_EQ(d.sCoastRect, (IRect{800, 100, 200, 900}));

  state_setHaveCurWindow_rect(false, {});
  bgDelegate::setCoastRect();
  EXPECT_EQ(d.sCoastRect.left, 0);
  EXPECT_EQ(d.sCoastRect.right, 0);
  d.sLastMousePoint = {-5000, 99999};
  EXPECT_TRUE(bgDelegate::ckCursorInCoastRect());
}

}  // namespace
