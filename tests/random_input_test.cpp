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
#include "tools/varsel-sim/runner.h"

namespace {

namespace fs = std::filesystem;

TEST(RandomInputFindings, EachRunsAndLeavesTheAgentAtRest) {
  int played = 0;
  for (const auto& entry : fs::directory_iterator(VARSEL_SOURCE_DIR "/tests/fuzz/agent_findings")) {
    std::ifstream file(entry.path(), std::ios::binary);
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)), {});
    sim::TraceWatch watch;
    std::vector<std::string> violations;
    sim::RunOptions options;
    options.keepTrace = false;
    options.traceSink = [&watch](const vsession::TraceLine& line) { watch.line(line); };
    options.atEnd = [&violations](vsession::VirtualSession& session) {
      sim::letGoAndStop(session);
      violations = sim::restViolations(session);
    };
    sim::runScenario(sim::scenarioFromBytes(bytes.data(), bytes.size()), options);
    EXPECT_EQ(watch.violation(), "") << entry.path().filename();
    EXPECT_EQ(violations, std::vector<std::string>{}) << entry.path().filename();
    ++played;
  }
  EXPECT_GE(played, 1);
}

}  // namespace
