// varsel-sim: runs the agent inside the virtual macOS session from a scenario file.
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <variant>
#include <vector>

#include "minute_summary.h"
#include "mixed_use.h"
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

// Whether two paths name one file: the same file when both exist, else the same place once
// made absolute and tidied.
bool samePlace(const fs::path& a, const fs::path& b) {
  std::error_code error;
  if (fs::equivalent(a, b, error)) return true;
  return fs::absolute(a, error).lexically_normal() == fs::absolute(b, error).lexically_normal();
}

// A file the run writes, checked before the run so that a bad path costs no run: it must be
// a file that can be written, or a new one in a folder that can. Nothing is written to it
// unless the run begins; a file the check made is removed again when it does not.
class OutputFile {
 public:
  OutputFile(const std::string& what, const std::string& path) : what_(what), path_(path) {
    if (path_.empty()) throw Refusal("the " + what_ + "'s path is empty");
    struct stat info;
    existed_ = ::stat(path_.c_str(), &info) == 0;
    if (existed_ && S_ISDIR(info.st_mode)) throw Refusal(path_ + ": the " + what_ + " is a folder");
    // A pipe would stall the run until someone read it. The trace may go to a device such as
    // /dev/null; the picture is put in place whole, by renaming, so it needs a file.
    bool device = S_ISCHR(info.st_mode) && what_ != "plot";
    if (existed_ && !S_ISREG(info.st_mode) && !device) {
      throw Refusal(path_ + ": the " + what_ + " is not a regular file");
    }
    file_ = std::fopen(path_.c_str(), "ab");
    if (!file_) {
      throw Refusal(path_ + ": cannot write the " + what_ + ": " + std::strerror(errno));
    }
  }
  ~OutputFile() {
    if (file_) std::fclose(file_);
    if (!written_ && !existed_) std::remove(path_.c_str());
  }
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  const std::string& path() const { return path_; }

  // The run begins: the file is written from its start, as the run goes.
  std::FILE* begin() {
    written_ = true;
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
  // The file becomes what was made whole beside it; the file is left as it was otherwise.
  std::optional<std::string> replaceWith(const std::string& made) {
    std::fclose(file_);
    file_ = nullptr;
    if (std::rename(made.c_str(), path_.c_str()) != 0) {
      int why = errno;
      std::remove(made.c_str());
      return "cannot write the " + what_ + " to " + path_ + ": " + std::strerror(why);
    }
    written_ = true;
    return std::nullopt;
  }

 private:
  std::string what_;
  std::string path_;
  std::FILE* file_ = nullptr;
  bool existed_ = false;
  bool written_ = false;
};

// The files a scenario reads: an output must not be any of them.
std::vector<std::string> inputsOf(const sim::Scenario& scenario) {
  std::vector<std::string> inputs{scenario.file};
  if (scenario.prefs && scenario.prefs->domainFile) inputs.push_back(*scenario.prefs->domainFile);
  for (const sim::InputStep& step : scenario.input) {
    if (auto* replay = std::get_if<sim::ReplayInput>(&step.action)) inputs.push_back(replay->file);
  }
  return inputs;
}

std::string lowercase(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// Draws the picture beside its target and puts it in place whole, so that a failure leaves
// the target as it was.
std::optional<std::string> drawInto(OutputFile& plot, const sim::PlotData& data, bool png) {
  std::string made = plot.path() + ".partial";
  std::FILE* out = std::fopen(made.c_str(), "wb");
  if (!out) return "cannot write the plot beside " + plot.path() + ": " + std::strerror(errno);
  std::string error;
  bool drawn = sim::drawPlot(data, png, out, error);
  drawn = std::fclose(out) == 0 && drawn;
  if (!drawn) {
    std::remove(made.c_str());
    return plot.path() + ": " + (error.empty() ? std::string("cannot write the plot") : error);
  }
  return plot.replaceWith(made);
}

struct RunRequest {
  std::optional<std::string> tracePath;
  std::optional<std::string> summaryPath;
  std::optional<std::string> plotPath;
  bool wakes = false;
  bool stats = false;
  std::optional<double> updateCheckAt;
};

// The memory the process holds now, in MB (Linux).
double residentMB() {
  long pages = 0, resident = 0;
  std::FILE* statm = std::fopen("/proc/self/statm", "r");
  if (!statm) return 0;
  int read = std::fscanf(statm, "%ld %ld", &pages, &resident);
  std::fclose(statm);
  return read == 2 ? static_cast<double>(resident) * sysconf(_SC_PAGESIZE) / (1024 * 1024) : 0;
}

// What a run cost: the events through the agent, real time, and memory. The peak includes
// reading the scenario; the memory held as the run starts and as it ends shows whether the
// run itself grew.
void printStats(uint64_t events, double virtualSeconds, double realSeconds, double startMB,
                double endMB) {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  std::printf(
      "  cost: %llu events in %.2f s of real time (%.0f events a second), %.0f times faster "
      "than real time; memory %.1f MB as the run started, %.1f MB as it ended, peak %.1f MB\n",
      static_cast<unsigned long long>(events), realSeconds,
      realSeconds > 0 ? static_cast<double>(events) / realSeconds : 0.0,
      realSeconds > 0 ? virtualSeconds / realSeconds : 0.0, startMB, endMB,
      usage.ru_maxrss / 1024.0);
}

int runFile(const std::string& path, const RunRequest& request) {
  const std::optional<std::string>& tracePath = request.tracePath;
  const std::optional<std::string>& plotPath = request.plotPath;
  const std::optional<std::string>& summaryPath = request.summaryPath;
  sim::Scenario scenario = sim::loadScenario(path);
  for (const std::string& input : inputsOf(scenario)) {
    for (const auto& [what, output] : {std::pair{"trace", tracePath}, std::pair{"plot", plotPath},
                                       std::pair{"summary", summaryPath}}) {
      if (output && samePlace(*output, input)) {
        throw Refusal(*output + ": the " + std::string(what) + " would overwrite " +
                      (input == scenario.file ? "the scenario" : "an input of the scenario"));
      }
    }
  }
  if (tracePath && plotPath && samePlace(*tracePath, *plotPath)) {
    throw Refusal(*plotPath + ": the trace and the plot cannot share a file");
  }
  for (const std::optional<std::string>& other : {tracePath, plotPath}) {
    if (summaryPath && other && samePlace(*summaryPath, *other)) {
      throw Refusal(*summaryPath + ": the summary needs a file of its own");
    }
  }
  bool png = false;
  if (plotPath) {
    std::string extension = lowercase(fs::path(*plotPath).extension().string());
    if (extension != ".svg" && extension != ".png") {
      throw Refusal(*plotPath + ": the plot is drawn as .svg or .png");
    }
    png = extension == ".png";
    if (!sim::gnuplotAvailable()) {
      throw Refusal(*plotPath + ": gnuplot is not installed; it draws the picture");
    }
  }
  std::optional<OutputFile> trace, plot, summary;
  if (tracePath) trace.emplace("trace", *tracePath);
  if (plotPath) plot.emplace("plot", *plotPath);
  if (summaryPath) summary.emplace("summary", *summaryPath);

  sim::RunOptions options;
  options.wakes = request.wakes;
  options.updateCheckAt = request.updateCheckAt;
  options.keepTrace = false;
  options.plot = plot.has_value();
  std::FILE* traceOut = trace ? trace->begin() : nullptr;
  std::FILE* summaryOut = summary ? summary->begin() : nullptr;
  sim::MinuteSummary minutes([summaryOut](const std::string& line) {
    if (!summaryOut) return;
    std::fputs(line.c_str(), summaryOut);
    std::fputc('\n', summaryOut);
  });
  options.traceSink = [traceOut, &minutes](const vsession::TraceLine& line) {
    minutes.line(line);
    if (!traceOut) return;
    std::string text = line.dump();
    text += '\n';
    std::fwrite(text.data(), 1, text.size(), traceOut);
  };
  double startMB = 0, endMB = 0;
  options.atEnd = [&endMB](vsession::VirtualSession&) { endMB = residentMB(); };
  startMB = residentMB();
  auto started = std::chrono::steady_clock::now();
  sim::RunResult result = sim::runScenario(scenario, options);
  std::chrono::duration<double> took = std::chrono::steady_clock::now() - started;
  minutes.finish();
  std::cout << result.summary << std::flush;
  if (request.stats) printStats(minutes.events(), scenario.until, took.count(), startMB, endMB);

  int status = 0;
  std::optional<std::string> failed;
  for (std::optional<OutputFile>* written : {&trace, &summary}) {
    if (*written && (failed = (*written)->finish())) {
      std::cerr << "varsel-sim: " << *failed << "\n";
      status = kFailedAfterTheRun;
    }
  }
  if (plot && (failed = drawInto(*plot, *result.plot, png))) {
    std::cerr << "varsel-sim: " << *failed << "\n";
    status = kFailedAfterTheRun;
  }
  return status;
}

int writeGenerated(const std::string& path, double seconds, uint32_t seed) {
  OutputFile out("scenario", path);
  std::string text = sim::mixedUseScenario(seconds, seed);
  std::fwrite(text.data(), 1, text.size(), out.begin());
  if (std::optional<std::string> failed = out.finish()) {
    std::cerr << "varsel-sim: " << *failed << "\n";
    return kFailedAfterTheRun;
  }
  return 0;
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
      "The scenario and trace formats are described in the checkout's README.md and, whole, in "
      "section 7 of ../shared/DESIGN.md beside the checkout.\nRefused input exits with 2, a run "
      "that fails after it has run with 1.");
  app.require_subcommand(0, 1);
  app.set_version_flag("--version", "varsel-sim " VARSEL_VERSION);

  std::string tracePath, plotPath, summaryPath;
  RunRequest request;
  CLI::App* runCommand = app.add_subcommand("run", "Run a scenario and print a summary");
  runCommand->add_option("file", file, "Scenario file (JSON)")->required();
  CLI::Option* traceOption =
      runCommand->add_option("--trace", tracePath, "Write the trace (JSON Lines) to this file");
  CLI::Option* summaryOption = runCommand->add_option(
      "--summary", summaryPath,
      "Write the trace summarised instead (JSON Lines: each minute's count of each kind, then "
      "the totals), for long runs");
  runCommand->add_flag("--wakes", request.wakes,
                       "Record every wake of the agent's threads in the trace");
  runCommand->add_flag("--stats", request.stats,
                       "Also print what the run cost: events, real time, speed, peak memory");
  runCommand
      ->add_option("--check-updates-at", request.updateCheckAt,
                   "The user asks for an update check this many seconds into the run")
      ->check(CLI::Range(0.0, 1e6));
  CLI::Option* plotOption = runCommand->add_option(
      "--plot", plotPath,
      "Draw the content offsets and scroll deltas over time into this .svg or .png file (needs "
      "gnuplot)");

  double seconds = 3600;
  uint32_t seed = 1;
  std::string outPath;
  CLI::App* generate = app.add_subcommand(
      "generate", "Write a scenario of mixed everyday use (about a million events an hour)");
  generate->add_option("out", outPath, "The scenario file to write")->required();
  generate->add_option("--seconds", seconds, "How long the use lasts (default an hour)")
      ->check(CLI::Range(20.0, 86400.0));
  generate->add_option("--seed", seed, "Another seed gives other use (default 1)");

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
  auto given = [](CLI::Option* option, const std::string& value) {
    return option->count() ? std::optional<std::string>(value) : std::nullopt;
  };
  if (runCommand->parsed()) {
    request.tracePath = given(traceOption, tracePath);
    request.plotPath = given(plotOption, plotPath);
    request.summaryPath = given(summaryOption, summaryPath);
    return runFile(file, request);
  }
  if (generate->parsed()) return writeGenerated(outPath, seconds, seed);
  if (prefs->parsed()) return showPrefs(file, json);
  std::optional<fs::path> tour = findTour(argv[0]);
  if (!tour) {
    throw Refusal("the tour (scenarios/tour.json) is neither beside the program nor above it");
  }
  file = tour->string();
  return runFile(file, RunRequest{});
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
