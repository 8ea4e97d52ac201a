// The run timer's cadence and the delegate's services to the event handlers.
#include <gtest/gtest.h>

#include <cmath>
#include <set>

#include "Commonprefs.h"
#include "VAstate.h"
#include "agent_session.h"
#include "platform/virtual/ui_builders.h"
#include "tools/varsel-sim/runner.h"

namespace {

using namespace port;
using testing_support::AgentSession;

// Seconds from the start, to the microsecond.
double rounded(double seconds) {
  return std::round(seconds * 1e6) / 1e6;
}

class RunTimerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    sched().setAfterWakeHook([this] {
      if (d.lastRun != 0) passes.insert(rounded(d.lastRun - sched().startTime()));
    });
    agent.startAgent();
  }

  vsession::VirtualSession& s() { return agent.session(); }
  vsession::Scheduler& sched() { return agent.session().scheduler(); }
  // Seconds until the run timer's next firing.
  double nextRunIn() {
    return rounded(s().platform().runLoops->timerGetNextFireDate(d.sRunTimer) - sched().now());
  }
  double lastRun() { return rounded(d.lastRun - sched().startTime()); }
  // Puts the cursor at `p` without a move event and asks for a pass at `t`.
  void askAt(double t, CGPoint p, void (*ask)()) {
    s().at(t, [this, p] { s().world().cursor = p; });
    s().at(t, ask);
  }
  bool movedTapEnabled() { return VAtapMgr_statics().sTapMMoved->enabled; }

  AgentSession agent{testing_support::twoWindowConfig(), false};
  bgDelegateStatics& d = bgDelegate_statics();
  std::set<double> passes;  // times of full passes
};

TEST_F(RunTimerTest, RestsTwentySecondsWakesWithinATenthOnAMoveAndLooksEveryPointSevenWhileMoving) {
  EXPECT_EQ(nextRunIn(), 20);
  EXPECT_TRUE(movedTapEnabled());  // to hear the move that ends the rest
  // From (400, 400) to (900, 300) at 125 moves a second, 5.008 s to 6 s.
  for (int k = 1; k <= 125; ++k) {
    s().at(5 + k / 125.0, [this, k] { s().input().moveTo({400 + 4.0 * k, 400 - 0.8 * k}); });
  }
  agent.runUntil(5.2);
  // While the mouse moves only the timer looks: the mouse-moved tap is not needed.
  EXPECT_FALSE(movedTapEnabled());
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
    quiet.all = {{"hoverOn", PlistValue(0)}, {"autoScrollOn", PlistValue(0)}};
    sim::writeScenarioPrefs(quiet, s());
    RunTimerTest::SetUp();
  }
};

TEST_F(QuietRunTimerTest, WithNothingThatFollowsTheCursorAMoveOnlyMovesTheTimerToTenSeconds) {
  EXPECT_FALSE(prefs_hoverEngineOn());
  s().at(5, [this] { s().input().moveTo({600, 450}); });
  agent.runUntil(5.15);
  EXPECT_FALSE(movedTapEnabled());
  agent.runUntil(15.2);
  // Woken 0.1 s after the move, the timer finds nothing to look for and waits 10 s.
  EXPECT_EQ(passes, (std::set<double>{0, 15.1}));
  EXPECT_EQ(nextRunIn(), rounded(35.1 - 15.2));
}

TEST_F(RunTimerTest, PassesAreNeverCloserThanAnEightiethAndSkipACursorThatStayedWithinFourPoints) {
  s().at(5, [this] { s().input().moveTo({600, 450}); });  // looked at 0.1 s later
  // Forced, but within 4 points less than a second after the last pass; then 5 points off.
  askAt(5.5, {604, 446}, bgDelegate::forceRunTimer);
  askAt(5.55, {605, 450}, bgDelegate::forceRunTimer);
  // 0.05 s later even a cursor far away waits, and the run due 0.7 s after the last pass stays.
  askAt(5.6, {800, 450}, bgDelegate::runTimerOnMain);
  agent.runUntil(5.6);
  EXPECT_EQ(passes, (std::set<double>{0, 5.1, 5.55}));
  EXPECT_EQ(nextRunIn(), rounded(5.55 + 0.7 - 5.6));
}

// Of several requested runs the earliest wins, whatever the order they came in. A paused
// timer looks again only after the mouse moves.
TEST_F(RunTimerTest, TheEarliestOfSeveralRequestedRunsWinsAndAPausedTimerWaitsForAMove) {
  s().at(3, [] { bgDelegate::runTimerAfter(0.5f); });
  s().at(3, [] { bgDelegate::runTimerAfter(0.1f); });
  s().at(23, [] { bgDelegate::runTimerAfter(0.1f); });
  s().at(23, [] { bgDelegate::runTimerAfter(0.5f); });
  s().at(24, [] { bgDelegate::pauseTimerUntilMouseMoves(); });
  s().at(45, [this] { s().input().moveTo({600, 450}); });
  agent.runUntil(45.2);
  // The resting timer's next firing found nothing to do.
  EXPECT_EQ(passes, (std::set<double>{0, 3.1, 23.1, 45.1}));
}

TEST_F(RunTimerTest, AWindowCentredRunAsksAtTheMiddleOfTheWindowUnderTheCursor) {
  // The reader gets content (so its window is known) and an editor palette sits over its middle;
  // the cursor rests near the reader's corner.
  auto& world = s().world();
  world.windows[0].ui = {vsession::uiElement("AXGroup", {{100, 140}, {800, 560}})};
  world.windows.insert(world.windows.begin(),
                       {301, 502, {{450, 350}, {100, 100}}, "", 0, false, {}});
  world.cursor = {150, 150};
  s().accessibility().rebuild();
  s().at(3, [] { bgDelegate::runTimerForWindowCenter(); });
  agent.runUntil(3);
  EXPECT_EQ(d.sCursorPid, 502);
  // The next forced pass asks at the cursor again.
  askAt(5, {160, 160}, bgDelegate::forceRunTimer);
  agent.runUntil(5);
  EXPECT_EQ(d.sCursorPid, 501);
}

TEST_F(RunTimerTest, OverTheAgentsOwnWindowThePassEndsBeforeTheBarsAreHandedOver) {
  ASSERT_EQ(d.eventThreadBars.windowNumber, 101u);
  // A hand overlay of the agent's, above the reader's window.
  s().world().windows.insert(s().world().windows.begin(),
                             {900, 400, {{350, 350}, {100, 100}}, "", 0, false, {}});
  s().accessibility().rebuild();
  s().at(2, [this] { s().input().moveTo({401, 401}); });
  s().at(3.5, [this] { s().input().moveTo({650, 450}); });  // off the overlay, same window
  agent.runUntil(3);
  EXPECT_EQ(d.sCursorPid, 400);
  // A pass that went on would have looked at the overlay's window and handed that over.
  EXPECT_EQ(d.eventThreadBars.windowNumber, 101u);
  EXPECT_EQ(d.bars.windowNumber, 101u);
  double handedOverBefore = lastRun();
  agent.runUntil(4);
  EXPECT_EQ(d.sCursorPid, 501);
  EXPECT_GT(lastRun(), handedOverBefore);
  EXPECT_EQ(d.eventThreadBars.windowNumber, 101u);
}

// The editor is off while every one of its switches is; the reader keeps its defaults.
TEST_F(RunTimerTest, DisabledForPidAnswersForTheApplicationUnderTheCursorWithEverySwitchOff) {
  const char* kSwitches[] = {"wheelOn", "padOn",  "hoverOn", "autoScrollOn",
                             "grabOn",  "keysOn", "vectorOn"};
  for (int on = -1; on < 7; ++on) {
    const char* which = on < 0 ? "none" : kSwitches[on];
    sim::ScenarioPrefs prefs;
    prefs.apps.push_back({"com.example.editor", std::nullopt, {}});
    for (int i = 0; i < 7; ++i) prefs.apps[0].settings[kSwitches[i]] = PlistValue(i == on ? 1 : 0);
    sim::writeScenarioPrefs(prefs, s());
    d.preferences.readPrefs();
    // The pid asked about does not count: the cursor's application does.
    d.sCursorPid = 501;
    EXPECT_FALSE(bgDelegate::isDisabledForPid(502)) << "editor's switch on: " << which;
    d.sCursorPid = 502;
    EXPECT_EQ(bgDelegate::isDisabledForPid(501), on < 0) << "editor's switch on: " << which;
    EXPECT_EQ(*state_currentAppBid(), "com.example.editor");
  }
}

TEST_F(RunTimerTest, CoastRectIsTheFirstFoundAreaOrTheWindowAndAnEmptyOneNeverStopsACoast) {
  d.bars.up.found = 0;
  d.bars.down = {0, 0, {600, 120, 300, 500}, 1, 0, 0.5f, 0};
  d.bars.left = {0, 0, {700, 0, 100, 90}, 1, 0, 0.5f, 0};  // found too, but looked at later
  state_setHaveCurWindow_rect(true, {800, 100, 200, 900});
  bgDelegate::setCoastRect();
  EXPECT_EQ(d.sCoastRect.load(), (IRect{600, 120, 300, 500}));
  d.sLastMousePoint.store({500, 300});  // on the corner: edges count as inside
  EXPECT_TRUE(bgDelegate::ckCursorInCoastRect());
  d.sLastMousePoint.store({501, 300});
  EXPECT_FALSE(bgDelegate::ckCursorInCoastRect());
  d.bars.down.found = d.bars.left.found = 0;
  bgDelegate::setCoastRect();
  EXPECT_EQ(d.sCoastRect.load(), (IRect{800, 100, 200, 900}));
  state_setHaveCurWindow_rect(false, {});
  bgDelegate::setCoastRect();
  EXPECT_EQ(d.sCoastRect.left, 0);
  EXPECT_EQ(d.sCoastRect.right, 0);
  d.sLastMousePoint = {-5000, 99999};
  EXPECT_TRUE(bgDelegate::ckCursorInCoastRect());
}

}  // namespace
