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
#include "tools/varsel-sim/runner.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  sim::Scenario scenario = sim::scenarioFromBytes(data, size);
  sim::TraceWatch watch;
  std::vector<std::string> violations;
  sim::RunOptions options;
  options.keepTrace = false;
  options.traceSink = [&watch](const vsession::TraceLine& line) { watch.line(line); };
  options.atEnd = [&violations](vsession::VirtualSession& session) {
    sim::letGoAndStop(session);
    violations = sim::restViolations(session);
  };
  sim::runScenario(scenario, options);
  if (!watch.violation().empty()) violations.push_back(watch.violation());
  if (violations.empty()) return 0;
  for (const std::string& v : violations) std::fprintf(stderr, "violation: %s\n", v.c_str());
  std::abort();
}
