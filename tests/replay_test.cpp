// Real recorded wheel and trackpad input played through the agent: the content moves the
// way the fingers or the wheel went, and a coast the agent starts goes the same way.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "tools/varsel-sim/runner.h"
#include "tools/varsel-sim/scenario.h"

namespace {

struct Replay {
  const char* scenario;
  char axis;                     // the axis the recording moves along
  int direction;                 // +1: the offset grows (the content moves up or left)
  bool agentCoasts;              // the agent posts a coast of its own
  bool firstMomentumReachesApp;  // the system's first momentum event is not taken over
};

class ReplayTest : public ::testing::TestWithParam<Replay> {};

TEST_P(ReplayTest, ContentAndCoastFollowTheRecordedMovement) {
  const Replay& r = GetParam();
  sim::Scenario s = sim::loadScenario(std::string(VARSEL_SCENARIOS_DIR "/") + r.scenario + ".json");
  auto trace = sim::runScenario(s).trace;
  const char* pixelField = r.axis == 'y' ? "px1" : "px2";

  auto scrolls = vsession::linesOfKind(trace, "scroll");
  ASSERT_FALSE(scrolls.empty());
  double moved =
      scrolls.back()[r.axis == 'y' ? "y" : "x"].get<double>() - (r.axis == 'y' ? 10000 : 2000);
  EXPECT_GT(moved * r.direction, 20) << "moved " << moved;

  // The posted deltas have the opposite sign of the offset's change.
  int own = 0;
  bool sawFirstMomentum = false;
  for (const auto& d : vsession::linesOfKind(trace, "deliver")) {
    if (d["type"] != 22) continue;
    if (d["user"] == 0xA9FF0001) {
      ++own;
      EXPECT_LT(d[pixelField].get<double>() * r.direction, 0) << d.dump();
    } else {
      sawFirstMomentum |= d["mphase"] == 1;
    }
  }
  EXPECT_EQ(own > 0, r.agentCoasts);
  // Whenever the agent's coast takes over a trackpad's momentum, lifted fingers or not, the
  // system's first momentum event is swallowed.
  EXPECT_EQ(sawFirstMomentum, r.firstMomentumReachesApp);
  EXPECT_TRUE(vsession::linesOfKind(trace, "log").empty());
}

INSTANTIATE_TEST_SUITE_P(
    Recordings, ReplayTest,
    ::testing::Values(Replay{"replay-swipe-down", 'y', -1, true, false},
                      Replay{"replay-swipe-down-fast", 'y', -1, true, false},
                      Replay{"replay-swipe-up", 'y', +1, true, false},
                      Replay{"replay-swipe-left", 'x', +1, false, true},
                      Replay{"replay-slow-drag-right", 'x', -1, false, false},
                      Replay{"replay-mouse-wheel-pixels", 'x', -1, true, false},
                      Replay{"replay-mouse-wheel-lines", 'x', -1, true, false}),
    [](const auto& info) {
      std::string name = info.param.scenario;
      std::replace(name.begin(), name.end(), '-', '_');
      return name;
    });

}  // namespace
