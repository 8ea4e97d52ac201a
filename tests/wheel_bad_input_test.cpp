// Wheel input no real device should send, and floods of it: no crash, no runaway coast,
// no mode left stuck on.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>

#include "VAremote.h"
#include "VAstate.h"
#include "agent_session.h"
#include "platform/virtual/ui_builders.h"

namespace {

using namespace port;
using testing_support::AgentSession;

class BadWheelInputTest : public ::testing::Test {
 protected:
  static vsession::SessionConfig config() {
    vsession::SessionConfig c = testing_support::twoWindowConfig();
    c.windows[0].ui = {vsession::uiScrollArea({{100, 140}, {800, 560}}, {800, 5000}, 2000, {})};
    return c;
  }

  void raw(double t, std::map<CGEventField, double> fields) {
    agent.at(t, [this, fields = std::make_shared<std::map<CGEventField, double>>(fields)] {
      agent.input().raw(kCGEventScrollWheel, *fields, 0);
    });
  }
  // Lets everything settle, then checks that nothing is left running or broken.
  void expectSettled(double until) {
    agent.runUntil(until);
    EXPECT_FALSE(state_doingCoast());
    EXPECT_FALSE(state_repostWheelEventsUntilMomentumEnd());
    EXPECT_TRUE(std::isfinite(VAremote_statics().sCoastY));
    for (const auto& s : agent.linesOfKind("scroll")) {
      EXPECT_TRUE(s["y"].is_number());
      EXPECT_GE(s["y"].get<double>(), 0);
      EXPECT_LE(s["y"].get<double>(), 5000 - 560);
    }
  }
  size_t rateLimitLogs() {
    size_t n = 0;
    for (const auto& l : agent.linesOfKind("log")) {
      n += l["msg"].get<std::string>().rfind("rate limit", 0) == 0;
    }
    return n;
  }

  AgentSession agent{config()};
};

TEST_F(BadWheelInputTest, NotANumberAndInfiniteDeltasStartNoRunawayCoast) {
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  constexpr double kInf = std::numeric_limits<double>::infinity();
  raw(1.0, {{93, kNaN}, {96, kNaN}});
  raw(1.05, {{93, kInf}, {96, kInf}});
  raw(1.1, {{93, -kInf}, {94, kNaN}, {96, -kInf}});
  raw(1.15, {{88, 1}, {96, kNaN}, {97, kInf}, {99, 2}});
  expectSettled(5);
  EXPECT_LT(rateLimitLogs(), 5u);
}

TEST_F(BadWheelInputTest, HugeDeltasAreBrakedByTheSizeLimit) {
  constexpr double kHuge = 2147483648.0;  // 2^31
  raw(1.0, {{11, -kHuge}, {93, -kHuge}, {96, -kHuge}});
  raw(1.02, {{11, kHuge}, {93, kHuge}, {96, kHuge}});
  raw(1.04, {{12, -kHuge}, {94, -kHuge}, {97, -kHuge}});
  raw(1.06, {{93, kHuge}, {94, kHuge}});
  expectSettled(10);
  // Each refused tick halves the speed, so the refusals are few.
  EXPECT_GT(rateLimitLogs(), 0u);
  EXPECT_LT(rateLimitLogs(), 80u);
}

TEST_F(BadWheelInputTest, UnknownPhasesAndAMomentumEndThatNeverComesBack) {
  prefs_bgprefs()->pad.padCoastVOn = 1;
  raw(1.0, {{88, 1}, {96, -30}, {99, 77}, {123, 9}});
  raw(1.01, {{88, 1}, {96, -30}, {99, 2}});
  raw(1.02, {{88, 1}, {96, -30}, {99, 4}});
  raw(1.04, {{88, 1}, {96, -60}, {123, 1}});  // momentum begins, then nothing more
  // The agent thinks it posts momentum; the marker it sends is lost on the way.
  agent.at(1.2, [] {
    state_setPostingMomentum(true);
    state_setCurMomentumPhase(2);
  });
  for (int i = 0; i < 10; ++i) raw(1.3 + 0.01 * i, {{93, -1}, {96, -10}});
  expectSettled(5);
}

TEST_F(BadWheelInputTest, AStormOfEightThousandTicksASecond) {
  // One second of ticks every 125 microseconds, alternating direction in bursts.
  agent.at(1.0, [this] {
    for (int i = 0; i < 8000; ++i) {
      double lines = (i / 500) % 2 ? 3 : -3;
      agent.at(1.0 + i / 8000.0, [this, lines] { agent.input().wheel(0, lines, std::nullopt); });
    }
  });
  agent.runUntil(2.0);
  EXPECT_EQ(rateLimitLogs(), 0u);
  expectSettled(8);
  EXPECT_EQ(agent.session().events().liveEvents(), 0u);
}

}  // namespace
