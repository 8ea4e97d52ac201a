// Runs a scenario: builds the virtual session it describes, starts the agent in it the
// way start-up does, plays the input, and collects the trace.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/virtual/session.h"
#include "platform/virtual/trace.h"
#include "plot.h"
#include "scenario.h"

namespace sim {

struct RunOptions {
  bool wakes = false;      // record every wake of the agent's threads
  bool startAgent = true;  // false: the bare session, a baseline to compare the agent with
  bool keepTrace = true;   // hold every trace line in the result
  // Each trace line as it happens (a long run writes them out instead of keeping them).
  std::function<void(const vsession::TraceLine&)> traceSink = {};
  bool plot = false;  // gather what the picture needs
  // The user asks for an update check at this many seconds (the pane's button; no pane
  // message carries it).
  std::optional<double> updateCheckAt = std::nullopt;
  // Runs once the scenario's time is up, before the session goes: may play on and look in.
  std::function<void(vsession::VirtualSession&)> atEnd = {};
};

struct RunResult {
  std::vector<vsession::TraceLine> trace;  // with keepTrace
  std::string summary;
  std::optional<PlotData> plot;  // with plot
  bool terminated = false;
};

RunResult runScenario(const Scenario& scenario, const RunOptions& options = {});

// The virtual session a scenario describes: screens, cursor, applications and windows.
vsession::SessionConfig sessionConfigFor(const Scenario& scenario, const RunOptions& options = {});

// Puts the scenario's settings into the session's preferences domain before the agent
// starts: a domain file as it is, or the settings written as the preference pane writes
// them (with the migration marker set, unless the global keys say otherwise).
void writeScenarioPrefs(const ScenarioPrefs& prefs, vsession::VirtualSession& session);

// The trace as JSON Lines.
std::string traceText(const std::vector<vsession::TraceLine>& trace);

}  // namespace sim
