// Sleep and wake: the taps the system timed out come back by the re-enable timer, the
// input that came meanwhile is not lost, and a coast, hover scroll or key repeat running
// when the machine slept goes on at its own pace after the wake instead of catching up.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "VAevent.h"
#include "VAkeys.h"
#include "VAscroll.h"
#include "VAstate.h"
#include "VAtapMgr.h"
#include "VAutils.h"
#include "agent_session.h"
#include "bgDelegate.h"
#include "tools/varsel-sim/runner.h"

namespace {

using namespace port;
using namespace testing_support;  // AgentSession and the modifier masks

class SleepWakeTest : public ::testing::Test {
 protected:
  SleepWakeTest() : agent(testing_support::readerPageConfig()) {}

  double now() { return agent.session().elapsed(); }
  void runFor(double seconds) { agent.runUntil(now() + seconds); }
  void sleepFor(double seconds) {
    agent.at(now(), [this, seconds] { agent.session().sleepMachine(seconds); });
    runFor(0);
  }
  AgentSession agent;
};

// The scroll events the agent posted in [from, to): how many, and the largest movement of
// one on an axis.
struct Posted {
  size_t count = 0;
  double largest = 0;
};
Posted posted(const AgentSession& agent, double from, double to) {
  Posted p;
  for (const auto& l : agent.linesOfKind("deliver")) {
    double t = l["t"];
    if (t < from || t >= to || l["type"] != kCGEventScrollWheel) continue;
    if (l["user"] != kAgentEventTag) continue;
    ++p.count;
    p.largest =
        std::max({p.largest, std::fabs(l["px1"].get<double>()), std::fabs(l["px2"].get<double>())});
  }
  return p;
}

TEST_F(SleepWakeTest, TimedOutTapsAreBackWithinSevenSecondsAndWhatCameMeanwhileIsDelivered) {
  agent.runUntil(10);
  const VAtapMgrStatics& taps = VAtapMgr_statics();
  vsession::EventSystem& quartz = agent.events();
  double wallBefore = utils_now();
  // A notch meant for the middle of the sleep.
  agent.at(100, [this] { agent.input().wheel(0, -1, std::nullopt); });
  size_t swallowed = agent.linesOfKind("swallow").size();
  sleepFor(3600);
  EXPECT_NEAR(utils_now() - wallBefore, 3600, 1e-6);  // the wall clock jumped
  EXPECT_FALSE(quartz.tapIsEnabled(taps.sTap));
  EXPECT_FALSE(quartz.tapIsEnabled(taps.sTapKeys));

  // It comes at the wake, and with the taps dead it reaches the application untouched.
  runFor(0);
  const vsession::TraceLine notch = agent.linesOfKind("deliver").back();
  EXPECT_EQ(notch["t"], 3610);
  EXPECT_EQ(notch["d1"], -1);
  EXPECT_EQ(agent.linesOfKind("swallow").size(), swallowed);

  // The re-enable timer kept its machine-time phase (3 s, then every 7 s) across the sleep.
  runFor(7);
  EXPECT_TRUE(quartz.tapIsEnabled(taps.sTap));
  EXPECT_TRUE(quartz.tapIsEnabled(taps.sTapKeys));
  EXPECT_EQ(quartz.tapIsEnabled(taps.sTapMMoved), taps.sEnableEvTapMMoved != 0);
  agent.input().wheel(0, -1, std::nullopt);
  EXPECT_EQ(agent.linesOfKind("swallow").size(), swallowed + 1);  // the agent coasts it

  // The run timer goes on at its idle cadence.
  CFRunLoopTimerRef runTimer = bgDelegate_statics().sRunTimer;
  double next = platform().runLoops->timerGetNextFireDate(runTimer) - utils_now();
  EXPECT_GT(next, 0);
  EXPECT_LE(next, 20);
}

// Each mode is running when the machine sleeps a minute. After the wake it posts no more
// and no larger scrolls than before, so nothing is made up as a burst.
TEST(SleepWake, ACoastHoverOrKeyRepeatRunningAtSleepResumesWithoutABurst) {
  const struct {
    const char* mode;
    std::function<void(AgentSession&)> start;
    std::function<bool()> running;
  } cases[] = {
      {"coast",
       [](AgentSession& a) {
         for (int i = 0; i < 4; ++i) {
           a.input().wheel(0, -3, std::nullopt);
           a.runUntil(a.session().elapsed() + 0.03);
         }
         a.runUntil(a.session().elapsed() + 0.25);  // coasting for a while
       },
       [] { return state_doingCoast(); }},
      {"hover",
       [](AgentSession& a) {
         prefs_bgprefs()->hoverOn = 1;
         for (int i = 0; i <= 30; ++i) {
           a.input().moveTo({400, 660.0 + i});
           a.runUntil(a.session().elapsed() + 0.025);
         }
         a.runUntil(a.session().elapsed() + 1.5);
       },
       [] { return state_doingHover(); }},
      {"key repeat",
       [](AgentSession& a) {
         // Hold Control, tap Option (a flick), then hold Option: the repeat.
         for (uint64_t mods : {kControl, kControl | kOption, kControl, kControl | kOption}) {
           a.input().setModifiers(mods);
           a.runUntil(a.session().elapsed() + 0.05);
         }
         a.runUntil(a.session().elapsed() + 0.3);
       },
       [] { return keys_repeatStarted(); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.mode);
    AgentSession a(testing_support::readerPageConfig());
    a.runUntil(1);
    c.start(a);
    ASSERT_TRUE(c.running());
    double before = a.session().elapsed();
    Posted running = posted(a, before - 0.2, before);
    ASSERT_GT(running.largest, 0);
    a.at(before, [&a] { a.session().sleepMachine(60); });
    a.runUntil(before + 60 + 0.5);
    // Neither more events nor larger ones than in as long before: missed ticks are not made
    // up.
    Posted woken = posted(a, before + 60, before + 60.2);
    EXPECT_LE(woken.count, running.count + 1);
    EXPECT_LE(woken.largest, running.largest * 1.5 + 1);
  }
}

// A sleep step that comes while the machine already sleeps makes it sleep until its own
// end, not for its whole length from the first wake: input after that end comes on time.
TEST(SleepWake, ASleepStepDuringASleepExtendsItToItsOwnEnd) {
  sim::Scenario s = sim::parseScenario(
      R"({"input": [{"t": 1, "sleep": 30}, {"t": 2, "sleep": 5}, {"t": 33, "wheel": {"y": -1}}]})",
      "overlap.json");
  auto delivered = vsession::linesOfKind(sim::runScenario(s).trace, "deliver");
  ASSERT_EQ(delivered.size(), 1u);
  EXPECT_EQ(delivered[0]["t"], 33);
}

}  // namespace
