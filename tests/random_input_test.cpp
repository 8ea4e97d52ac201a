// Every input the random-input target ever found a fault with, played again: each must now
// run through the agent and leave it at rest.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tools/varsel-sim/quiet_check.h"
#include "tools/varsel-sim/random_scenario.h"

namespace {

namespace fs = std::filesystem;

TEST(RandomInputFindings, EachRunsAndLeavesTheAgentAtRest) {
  int played = 0;
  for (const auto& entry : fs::directory_iterator(VARSEL_SOURCE_DIR "/tests/fuzz/agent_findings")) {
    std::ifstream file(entry.path(), std::ios::binary);
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)), {});
    sim::Scenario scenario =
        sim::scenarioFromBytes(bytes.data(), bytes.size(), VARSEL_SCENARIOS_DIR);
    bool mayEnd = scenario.file != sim::kRandomScenarioFile;
    EXPECT_EQ(sim::runToRest(scenario, mayEnd), std::vector<std::string>{})
        << entry.path().filename();
    ++played;
  }
  EXPECT_GE(played, 1);
}

}  // namespace
