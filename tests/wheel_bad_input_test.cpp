// Wheel input no real device should send, and floods of it: no crash, no runaway coast,
// no mode left stuck on.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <map>
#include <memory>
#include <string>

#include "VAstate.h"
#include "agent_session.h"

namespace {

using namespace port;
using Fields = std::map<CGEventField, double>;

class BadWheelInputTest : public ::testing::Test {
 protected:
  void raw(double t, Fields fields) {
    agent.at(t, [this, fields = std::make_shared<Fields>(fields)] {
      agent.input().raw(kCGEventScrollWheel, *fields, 0);
    });
  }
  // Lets everything settle, then checks that nothing is left running.
  void expectSettled(double until) {
    agent.runUntil(until);
    EXPECT_FALSE(state_doingCoast());
    EXPECT_FALSE(state_repostWheelEventsUntilMomentumEnd());
  }
  size_t rateLimitLogs() {
    auto logs = agent.linesOfKind("log");
    return std::count_if(logs.begin(), logs.end(), [](const auto& l) {
      return l["msg"].template get<std::string>().starts_with("rate limit");
    });
  }

  testing_support::AgentSession agent;
};

TEST_F(BadWheelInputTest, NonFiniteDeltasStartNoRunawayCoastAndHugeOnesAreBrakedByTheSizeLimit) {
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  constexpr double kInf = std::numeric_limits<double>::infinity();
  constexpr double kHuge = 2147483648.0;  // 2^31
  // A refused tick stops the coast the first one started; the speed of the next is not a
  // number, and no coast may run on it.
  raw(1.0, {{93, -1}});
  raw(1.005, {{93, -1}});
  raw(1.1, {{93, kNaN}});
  raw(2.0, {{93, kNaN}, {96, kNaN}});
  raw(2.05, {{93, kInf}, {96, kInf}});
  raw(2.1, {{93, -kInf}, {94, kNaN}, {96, -kInf}});
  raw(2.15, {{88, 1}, {96, kNaN}, {97, kInf}, {99, 2}});
  expectSettled(5);
  size_t nonFinite = rateLimitLogs();
  EXPECT_LT(nonFinite, 5u);

  raw(6.0, {{11, -kHuge}, {93, -kHuge}, {96, -kHuge}});
  raw(6.02, {{11, kHuge}, {93, kHuge}, {96, kHuge}});
  raw(6.04, {{12, -kHuge}, {94, -kHuge}, {97, -kHuge}});
  raw(6.06, {{93, kHuge}, {94, kHuge}});
  expectSettled(15);
  // Each refused tick halves the speed, so the refusals are few.
  EXPECT_GT(rateLimitLogs(), nonFinite);
  EXPECT_LT(rateLimitLogs() - nonFinite, 80u);
}

TEST_F(BadWheelInputTest, UnknownPhasesAndAMomentumEndThatNeverComesBack) {
  prefs_bgprefs()->pad.padCoastVOn = 1;
  raw(1.0, {{88, 1}, {96, -30}, {99, 77}, {123, 9}});
  raw(1.01, {{88, 1}, {96, -30}, {99, 2}});
  raw(1.02, {{88, 1}, {96, -30}, {99, 4}});
  raw(1.04, {{88, 1}, {96, -60}, {123, 1}});  // momentum begins, then nothing more
  // The agent waits for the end marker of its momentum, and it never comes back.
  agent.at(1.2, [] { state_setRepostWheelEventsUntilMomentumEnd(true); });
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
}

}  // namespace
