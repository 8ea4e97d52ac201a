// varsel-sim: runs the agent inside the virtual macOS session from a scenario file.
#include <CLI/CLI.hpp>
#include <fstream>
#include <iostream>

#include "runner.h"
#include "scenario.h"

namespace {

int runFile(const std::string& path, const std::string& tracePath, bool wakes) {
  sim::Scenario scenario;
  try {
    scenario = sim::loadScenario(path);
  } catch (const sim::ScenarioError& e) {
    std::cerr << "varsel-sim: " << e.what() << "\n";
    return 2;
  }
  sim::RunResult result = sim::runScenario(scenario, {.wakes = wakes});
  if (!tracePath.empty()) {
    std::ofstream out(tracePath, std::ios::binary);
    out << sim::traceText(result.trace);
    if (!out) {
      std::cerr << "varsel-sim: cannot write the trace to " << tracePath << "\n";
      return 1;
    }
  }
  std::cout << result.summary;
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Runs the Varsel agent inside a virtual macOS session."};
  app.require_subcommand(0, 1);

  std::string file, tracePath;
  bool wakes = false;
  CLI::App* run = app.add_subcommand("run", "Run a scenario and print a summary");
  run->add_option("file", file, "Scenario file (JSON)")->required();
  run->add_option("--trace", tracePath, "Write the trace (JSON Lines) to this file");
  run->add_flag("--wakes", wakes, "Record every wake of the agent's threads in the trace");

  CLI11_PARSE(app, argc, argv);
  if (run->parsed()) return runFile(file, tracePath, wakes);
  return runFile(VARSEL_SCENARIOS_DIR "/tour.json", "", false);
}
