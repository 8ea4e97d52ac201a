// varsel-sim: runs the agent inside the virtual macOS session from a scenario file.
#include <CLI/CLI.hpp>
#include <fstream>
#include <iostream>

#include "plot.h"
#include "prefs_report.h"
#include "runner.h"
#include "scenario.h"

namespace {

int runFile(const std::string& path, const std::string& tracePath, bool wakes,
            const std::string& plotPath) {
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
  if (!plotPath.empty()) {
    std::string error;
    if (!sim::writePlot(result.trace, scenario.name, scenario.until, plotPath, error)) {
      std::cerr << "varsel-sim: " << error << "\n";
      return 1;
    }
  }
  std::cout << result.summary;
  return 0;
}

int showPrefs(const std::string& path, bool json) {
  try {
    sim::PrefsReport report = sim::reportPrefsFile(path);
    std::cout << (json ? report.json.dump(2) + "\n" : sim::prefsReportText(report));
    return 0;
  } catch (const sim::PrefsFileError& e) {
    std::cerr << "varsel-sim: " << e.what() << "\n";
    return 2;
  }
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Runs the Varsel agent inside a virtual macOS session."};
  app.require_subcommand(0, 1);

  std::string file, tracePath, plotPath;
  bool wakes = false;
  CLI::App* run = app.add_subcommand("run", "Run a scenario and print a summary");
  run->add_option("file", file, "Scenario file (JSON)")->required();
  run->add_option("--trace", tracePath, "Write the trace (JSON Lines) to this file");
  run->add_flag("--wakes", wakes, "Record every wake of the agent's threads in the trace");
  run->add_option("--plot", plotPath,
                  "Draw the content offsets and posted deltas over time (SVG, needs gnuplot)");

  std::string prefsFile;
  bool json = false;
  CLI::App* prefs =
      app.add_subcommand("prefs", "Show what the agent makes of a preferences property list");
  prefs->add_option("file", prefsFile, "Preferences file (binary or XML property list)")
      ->required();
  prefs->add_flag("--json", json, "Print JSON: the global keys and each element's record");

  CLI11_PARSE(app, argc, argv);
  if (run->parsed()) return runFile(file, tracePath, wakes, plotPath);
  if (prefs->parsed()) return showPrefs(prefsFile, json);
  return runFile(VARSEL_SCENARIOS_DIR "/tour.json", "", false, "");
}
