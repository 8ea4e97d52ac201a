// varsel-sim: runs the agent inside the virtual macOS session from a scenario file.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <optional>
#include <stdexcept>

#include "plot.h"
#include "prefs_report.h"
#include "runner.h"
#include "scenario.h"

namespace {

namespace fs = std::filesystem;

// Refusals of what the user gave: the message says what and where; exit 2, nothing run.
class Refusal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

constexpr int kRefused = 2;
constexpr int kFailedAfterTheRun = 1;

// The tour beside the installed program (share/varsel/scenarios) or in the checkout the
// program was built in (a scenarios folder in one of the folders above it).
std::optional<fs::path> findTour(const char* argv0) {
  std::error_code error;
  fs::path program = fs::read_symlink("/proc/self/exe", error);
  if (error) program = fs::absolute(argv0, error);
  for (fs::path dir = program.parent_path(); !dir.empty(); dir = dir.parent_path()) {
    for (const fs::path& candidate :
         {dir / "share" / "varsel" / "scenarios" / "tour.json", dir / "scenarios" / "tour.json"}) {
      if (fs::is_regular_file(candidate, error)) return candidate;
    }
    if (dir == dir.root_path()) break;
  }
  return std::nullopt;
}

bool samePlace(const fs::path& a, const fs::path& b) {
  std::error_code error;
  if (fs::equivalent(a, b, error)) return true;
  return fs::weakly_canonical(a, error) == fs::weakly_canonical(b, error);
}

// A file the run writes, opened before the run so that a bad path costs no run. Until the
// run begins it is only checked: a file that was there keeps its content, one that was not
// is removed again if the run does not happen.
class OutputFile {
 public:
  OutputFile(const std::string& what, const std::string& path) : what_(what), path_(path) {
    std::error_code error;
    existed_ = fs::exists(path_, error);
    if (fs::is_directory(path_, error)) throw Refusal(path_ + ": the " + what_ + " is a folder");
    file_ = std::fopen(path_.c_str(), "ab");
    if (!file_) {
      throw Refusal(path_ + ": cannot write the " + what_ + ": " + std::strerror(errno));
    }
  }
  ~OutputFile() {
    if (file_) std::fclose(file_);
    if (!begun_ && !existed_) std::remove(path_.c_str());
  }
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // The run begins: the file starts empty.
  std::FILE* begin() {
    begun_ = true;
    if (ftruncate(fileno(file_), 0) != 0) std::clearerr(file_);
    return file_;
  }
  // Whether everything written arrived, with the system's reason when not.
  std::optional<std::string> finish() {
    bool ok = std::fflush(file_) == 0 && !std::ferror(file_);
    int why = errno;
    std::fclose(file_);
    file_ = nullptr;
    if (ok) return std::nullopt;
    return "cannot write the " + what_ + " to " + path_ + ": " + std::strerror(why);
  }

 private:
  std::string what_;
  std::string path_;
  std::FILE* file_ = nullptr;
  bool existed_ = false;
  bool begun_ = false;
};

int runFile(const std::string& path, const std::string& tracePath, bool wakes,
            const std::string& plotPath) {
  sim::Scenario scenario = sim::loadScenario(path);
  for (const auto& [what, output] : {std::pair{"trace", tracePath}, std::pair{"plot", plotPath}}) {
    if (!output.empty() && samePlace(output, path)) {
      throw Refusal(output + ": the " + std::string(what) + " would overwrite the scenario");
    }
  }
  if (!tracePath.empty() && samePlace(tracePath, plotPath)) {
    throw Refusal(plotPath + ": the trace and the plot cannot share a file");
  }
  bool png = false;
  if (!plotPath.empty()) {
    std::string extension = fs::path(plotPath).extension().string();
    if (extension != ".svg" && extension != ".png") {
      throw Refusal(plotPath + ": the plot is drawn as .svg or .png");
    }
    png = extension == ".png";
    if (!sim::gnuplotAvailable()) {
      throw Refusal(plotPath + ": gnuplot is not installed; it draws the picture");
    }
  }
  std::optional<OutputFile> trace, plot;
  if (!tracePath.empty()) trace.emplace("trace", tracePath);
  if (!plotPath.empty()) plot.emplace("plot", plotPath);

  sim::RunOptions options;
  options.wakes = wakes;
  options.keepTrace = false;
  options.plot = plot.has_value();
  if (trace) {
    std::FILE* out = trace->begin();
    options.traceSink = [out](const vsession::TraceLine& line) {
      std::string text = line.dump();
      text += '\n';
      std::fwrite(text.data(), 1, text.size(), out);
    };
  }
  sim::RunResult result = sim::runScenario(scenario, options);
  std::cout << result.summary << std::flush;

  int status = 0;
  if (trace) {
    if (auto error = trace->finish()) {
      std::cerr << "varsel-sim: " << *error << "\n";
      status = kFailedAfterTheRun;
    }
  }
  if (plot) {
    std::string error;
    std::FILE* out = plot->begin();
    if (!sim::drawPlot(*result.plot, png, out, error)) {
      std::cerr << "varsel-sim: " << plotPath << ": " << error << "\n";
      status = kFailedAfterTheRun;
    } else if (auto failed = plot->finish()) {
      std::cerr << "varsel-sim: " << *failed << "\n";
      status = kFailedAfterTheRun;
    }
  }
  return status;
}

int showPrefs(const std::string& path, bool json) {
  sim::PrefsReport report = sim::reportPrefsFile(path);
  std::cout << (json ? report.json.dump(2) + "\n" : sim::prefsReportText(report));
  return 0;
}

int run(int argc, char** argv, std::string& file) {
  CLI::App app{
      "Runs the Varsel agent inside a virtual macOS session. Without a subcommand it runs the "
      "tour (scenarios/tour.json).",
      "varsel-sim"};
  app.footer(
      "The scenario and trace formats are described in the README and in DESIGN.md, section "
      "7.\nRefused input exits with 2, a run that fails after it has run with 1.");
  app.require_subcommand(0, 1);
  app.set_version_flag("--version", "varsel-sim " VARSEL_VERSION);

  std::string tracePath, plotPath;
  bool wakes = false;
  CLI::App* runCommand = app.add_subcommand("run", "Run a scenario and print a summary");
  runCommand->add_option("file", file, "Scenario file (JSON)")->required();
  runCommand->add_option("--trace", tracePath, "Write the trace (JSON Lines) to this file");
  runCommand->add_flag("--wakes", wakes, "Record every wake of the agent's threads in the trace");
  runCommand->add_option("--plot", plotPath,
                         "Draw the content offsets and scroll deltas over time into this .svg or "
                         ".png file (needs gnuplot)");

  bool json = false;
  CLI::App* prefs =
      app.add_subcommand("prefs", "Show what the agent makes of a preferences property list");
  prefs->add_option("file", file, "Preferences file (binary or XML property list)")->required();
  prefs->add_flag("--json", json, "Print JSON: the global keys and each element's record");

  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& e) {
    return app.exit(e);  // --help and --version
  } catch (const CLI::ParseError& e) {
    std::cerr << "varsel-sim: " << e.what() << "\nRun varsel-sim --help for the usage.\n";
    return kRefused;
  }
  if (runCommand->parsed()) return runFile(file, tracePath, wakes, plotPath);
  if (prefs->parsed()) return showPrefs(file, json);
  std::optional<fs::path> tour = findTour(argv[0]);
  if (!tour) {
    throw Refusal("the tour (scenarios/tour.json) is neither beside the program nor above it");
  }
  file = tour->string();
  return runFile(file, "", false, "");
}

}  // namespace

int main(int argc, char** argv) {
  std::string file;  // the file being worked on, for a message that names it
  try {
    return run(argc, argv, file);
  } catch (const Refusal& e) {
    std::cerr << "varsel-sim: " << e.what() << "\n";
  } catch (const sim::ScenarioError& e) {
    std::cerr << "varsel-sim: " << e.what() << "\n";
  } catch (const sim::PrefsFileError& e) {
    std::cerr << "varsel-sim: " << e.what() << "\n";
  } catch (const std::exception& e) {
    std::cerr << "varsel-sim: " << (file.empty() ? "" : file + ": ") << e.what() << "\n";
  }
  return kRefused;
}
