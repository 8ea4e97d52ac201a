// Random input through the whole agent: the bytes choose the system, the settings and a
// run of timed input of every kind (or are a scenario file's text). While it runs no scroll
// the agent posts is too large and the clock never goes back; once the user lets go and the
// agent is told to stop, nothing may be left running, shown or alive. A violation aborts.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tools/varsel-sim/quiet_check.h"
#include "tools/varsel-sim/random_scenario.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  sim::Scenario scenario = sim::scenarioFromBytes(data, size, VARSEL_SCENARIOS_DIR);
  // A scenario file may end the agent on purpose; random input never asks it to quit.
  bool mayEnd = scenario.file != sim::kRandomScenarioFile;
  std::vector<std::string> violations = sim::runToRest(scenario, mayEnd);
  if (violations.empty()) return 0;
  for (const std::string& v : violations) std::fprintf(stderr, "violation: %s\n", v.c_str());
  std::abort();
}
