// varsel-sim as its users meet it: every broken input refused with the file, the reason and
// exit 2 before anything runs or is written; a run's trace, picture and summary.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "outside_world.h"
#include "tools/varsel-sim/runner.h"
#include "tools/varsel-sim/scenario.h"

namespace {

namespace fs = std::filesystem;
using testing_support::readFile;

// Every file below `dir` with its content ("<fifo>" for a pipe, which is never read).
std::map<std::string, std::string> filesIn(const fs::path& dir) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(dir)) {
    std::string content = entry.is_regular_file() ? readFile(entry.path())
                          : entry.is_fifo()       ? "<fifo>"
                                                  : "<folder>";
    files[entry.path().lexically_relative(dir).string()] = std::move(content);
  }
  return files;
}

struct Outcome {
  int status;
  std::string out, err;
};

// Runs the program with `args` in `dir`, its output and errors kept beside `dir`.
Outcome varselSim(const std::string& args, const fs::path& dir) {
  fs::path out = dir.string() + ".out", err = dir.string() + ".err";
  int status = std::system(("cd " + dir.string() + " && " VARSEL_SIM " " + args + " >" +
                            out.string() + " 2>" + err.string())
                               .c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(out), readFile(err)};
}

TEST(VarselSimTest, BrokenInputIsRefusedWithItsReasonAndExitTwoBeforeAnythingRunsOrIsWritten) {
  fs::path dir = fs::path(::testing::TempDir()) / "varsel-sim-refusals";
  fs::remove_all(dir);
  fs::create_directories(dir);
  const std::pair<const char*, const char*> files[] = {
      {"good.json", R"({"input": [{"t": 0.1, "wheel": {"y": -1}}]})"},
      {"empty.json", ""},
      {"bad.json", R"({"name": "x",})"},
      {"types.json", R"({"until": "soon"})"},
      {"unknown.json", R"({"nmae": "x"})"},
      {"misspelt.json", R"({"prefs": {"all": {"wheelSped": 300}}})"},
      {"replay.json", R"({"input": [{"t": 0, "replay": {"file": "."}}]})"},
      {"rec.json",
       R"({"wheelEvents": [{"deltaMode": 0, "deltaX": 0, "deltaY": 10, "timeStamp": 0}]})"},
      {"replays.json",
       R"({"input": [{"t": 0, "replay": {"file": "rec.json", "device": "wheel"}}]})"},
      {"domain.json", R"({"prefs": {"domainFile": "good.json"}})"},
      {"home.json", R"({"system": {"home": "good.json"}})"},
      {"global.json", R"({"prefs": {"all": {"dragSlop": 5}}})"},
  };
  for (const auto& [name, text] : files) std::ofstream(dir / name) << text;
  ASSERT_EQ(mkfifo((dir / "pipe").c_str(), 0600), 0);
  const std::map<std::string, std::string> before = filesIn(dir);
  std::string d = dir.string() + "/";

  const std::pair<std::string, std::string> refused[] = {
      {"run " + dir.string(), dir.string() + ": cannot be read: it is a folder, not a file"},
      {"run " + d + "empty.json", "empty.json: the file is empty"},
      {"run /proc/self/mem", "/proc/self/mem: cannot be read: Input/output error"},
      {"run " + d + "bad.json", "bad.json: line 1, column 14: syntax error"},
      {"run " + d + "types.json", "types.json: /until: expected a number"},
      {"run " + d + "unknown.json", "unknown.json: /nmae: unknown key"},
      {"run " + d + "misspelt.json",
       "/prefs/all/wheelSped: \"wheelSped\" is not a setting of the agent (did you mean "
       "wheelSpeed?)"},
      {"run " + d + "replay.json", "cannot read the recording " + d + ".: it is a folder"},
      {"run " + d + "good.json --trace " + d + "missing/t.jsonl",
       "missing/t.jsonl: cannot write the trace: No such file or directory"},
      {"run " + d + "good.json --trace " + dir.string(), ": the trace is a folder"},
      {"run " + d + "good.json --plot " + d + "out.pdf", "out.pdf: the plot is drawn as .svg"},
      {"run " + d + "good.json --trace " + d + "good.json",
       "good.json: the trace would overwrite the scenario"},
      {"run " + d + "good.json --trace " + d + "t.svg --plot " + d + "t.svg",
       "the trace and the plot cannot share a file"},
      {"prefs " + dir.string(), dir.string() + ": cannot be read: it is a folder, not a file"},
      {"prefs " + d + "empty.json", "empty.json: the file is empty"},
      {"run " + d + "pipe", "pipe: cannot be read: it is not a regular file"},
      {"run " + d + "good.json --trace " + d + "pipe", "pipe: the trace is not a regular file"},
      {"run " + d + "good.json --trace ''", "the trace's path is empty"},
      {"run ''", "cannot be read: the path is empty"},
      {"run replays.json --trace rec.json", "rec.json: the trace would overwrite an input"},
      {"run domain.json", "good.json is not a preferences file: not a property list"},
      {"run home.json", "/system/home: good.json is not a folder"},
      {"run global.json", "/prefs/all/dragSlop: \"dragSlop\" is a global setting"},
      {"run good.json --plot missing/p.svg", "cannot write the plot: No such file or directory"},
      {"run", "file is required"},
      {"run " + d + "good.json --bogus", "--bogus"},
  };
  for (const auto& [args, message] : refused) {
    Outcome o = varselSim(args, dir);
    EXPECT_EQ(o.status, 2) << args;
    EXPECT_NE(o.err.find(message), std::string::npos) << args << "\n" << o.err;
    EXPECT_EQ(o.err.rfind("varsel-sim: ", 0), 0u) << o.err;
    EXPECT_EQ(o.out, "") << args;
    EXPECT_EQ(filesIn(dir), before) << args;
  }
}

TEST(VarselSimTest, RunStreamsTheTraceDrawsThePictureAndPrintsTheSummary) {
  fs::path dir = fs::path(::testing::TempDir()) / "varsel-sim-run";
  fs::remove_all(dir);
  fs::create_directories(dir);
  std::string d = dir.string() + "/";
  Outcome run = varselSim("run " VARSEL_SCENARIOS_DIR "/tour.json --trace " + d +
                              "trace.jsonl --plot " + d + "tour.svg",
                          dir);
  ASSERT_EQ(run.status, 0) << run.err;
  std::string expected = readFile(VARSEL_SCENARIOS_DIR "/expected/tour.jsonl");
  EXPECT_EQ(readFile(d + "trace.jsonl"), expected);
  size_t delivered = 0;
  for (size_t at = 0; (at = expected.find("\"kind\":\"deliver\"", at)) != std::string::npos; ++at) {
    ++delivered;
  }
  EXPECT_NE(run.out.find("delivered " + std::to_string(delivered) + " events"), std::string::npos);
  // A line for each area that scrolled, named by application and window; a line for each
  // kind of delta there was, and none for kinds there were not.
  std::string picture = readFile(d + "tour.svg");
  for (const char* part : {"<svg", "Editor \"notes.txt\", vertical", "agent, vertical",
                           "device swallowed, vertical"}) {
    EXPECT_NE(picture.find(part), std::string::npos) << part;
  }
  EXPECT_EQ(picture.find("device, horizontal"), std::string::npos);

  Outcome png =
      varselSim("run " VARSEL_SCENARIOS_DIR "/passthrough.json --plot " + d + "p.png", dir);
  EXPECT_EQ(png.status, 0) << png.err;
  EXPECT_EQ(readFile(d + "p.png").substr(1, 3), "PNG");

  // Without a subcommand: the tour, found from where the program lies.
  Outcome tour = varselSim("", dir);
  EXPECT_EQ(tour.status, 0) << tour.err;
  EXPECT_EQ(tour.out, run.out);
  Outcome version = varselSim("--version", dir);
  EXPECT_EQ(version.out.rfind("varsel-sim ", 0), 0u);
}

// The summary says how far each area moved and where it ended, which modes ran, and when
// the run ended with one still running.
TEST(VarselSimTest, TheSummarySaysWhatScrolledWhereAndWhatWasStillRunning) {
  auto summaryOf = [](const std::string& input, const std::string& until) {
    std::string text = R"({"apps": [{"pid": 501, "name": "Reader", "windows": [{"number": 101,
        "frame": [100, 100, 800, 600], "title": "Doc", "ui": [{"role": "AXScrollArea",
        "frame": [100, 140, 785, 560], "content": [785, 50000], "offset": [0, 100],
        "scrollBars": ["vertical"]}]}]}], "cursor": [400, 400], "input": [)" +
                       input + "]" + until + "}";
    return sim::runScenario(sim::parseScenario(text, "summary.json")).summary;
  };
  // Coasting off: three ticks of 30 pixels down, one of 20 back up.
  std::string ticks = summaryOf(R"({"t": 0.1, "event": {"type": 22, "fields": {"96": -30}}},
      {"t": 0.2, "event": {"type": 22, "fields": {"96": -30}}},
      {"t": 0.3, "event": {"type": 22, "fields": {"96": -30}}},
      {"t": 0.4, "event": {"type": 22, "fields": {"96": 20}}})",
                                ", \"prefs\": {\"all\": {\"wheelCoastVOn\": 0}}");
  EXPECT_NE(ticks.find("Reader \"Doc\": moved 110 px vertically and 0 px horizontally; offset "
                       "(0, 170)"),
            std::string::npos)
      << ticks;
  EXPECT_NE(ticks.find("modes: none"), std::string::npos) << ticks;

  // A flick coasts on well past the default end, one second after the last tick.
  std::string flick = R"({"t": 0.10, "wheel": {"y": -20}}, {"t": 0.12, "wheel": {"y": -20}},
      {"t": 0.14, "wheel": {"y": -20}}, {"t": 0.16, "wheel": {"y": -20}})";
  std::string cut = summaryOf(flick, "");
  EXPECT_NE(cut.find("modes: wheel coast"), std::string::npos) << cut;
  EXPECT_NE(cut.find("swallowed 4: 4 scroll wheel"), std::string::npos) << cut;
  EXPECT_NE(cut.find("note: the run ended with the wheel coast still running (a run ends 1 s "
                     "after its last step unless \"until\" says otherwise)"),
            std::string::npos)
      << cut;
  std::string whole = summaryOf(flick, ", \"until\": 20");
  EXPECT_EQ(whole.find("note:"), std::string::npos) << whole;
}

// The scenario and the command as the README gives them.
TEST(VarselSimTest, TheReadmesQuickStartRunsAsWritten) {
  std::string readme = readFile(fs::path(VARSEL_SOURCE_DIR) / "README.md");
  size_t start = readme.find("```json\n", readme.find("## Quick start"));
  ASSERT_NE(start, std::string::npos);
  start += 8;
  fs::path dir = fs::path(::testing::TempDir()) / "varsel-sim-quick-start";
  fs::remove_all(dir);
  fs::create_directories(dir);
  std::ofstream(dir / "first.json") << readme.substr(start, readme.find("```", start) - start);
  std::string command = "build/plain/tools/varsel-sim/varsel-sim run first.json --plot first.svg";
  ASSERT_NE(readme.find(command), std::string::npos);
  Outcome run = varselSim(command.substr(command.find(" run ")), dir);
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("Reader \"Doc\": moved"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("modes: wheel coast"), std::string::npos) << run.out;
  EXPECT_EQ(run.out.find("note:"), std::string::npos) << run.out;
  EXPECT_NE(readFile(dir / "first.svg").find("<svg"), std::string::npos);
}

}  // namespace

namespace {

// No pane message asks for an update check; the program's option stands in for the pane's
// button, and the check reaches the run's own server.
TEST(VarselSimTest, AnUpdateCheckCanBeAskedForAtATime) {
  fs::path dir = fs::path(::testing::TempDir()) / "varsel-sim-update";
  fs::remove_all(dir);
  fs::create_directories(dir);
  std::ofstream(dir / "check.json") << R"({"system": {"agentVersion": "4.2"},
      "web": {"versions/vx.plist": {"version": "4.2"}}, "until": 2})";
  Outcome run = varselSim("run check.json --check-updates-at 1 --trace t.jsonl", dir);
  ASSERT_EQ(run.status, 0) << run.err;
  std::string trace = readFile(dir / "t.jsonl");
  EXPECT_NE(trace.find(R"({"t":1.0,"kind":"dialog","title":"Varsel is up to date.")"),
            std::string::npos)
      << trace;
}

}  // namespace

// A generated stretch of mixed use is the same for the same seed; its summary counts each
// minute's trace lines by kind and then the totals, which agree with the whole trace.
TEST(VarselSimTest, GeneratedUseRunsWithItsTraceSummarisedByTheMinute) {
  fs::path dir = fs::path(::testing::TempDir()) / "varsel-sim-long";
  fs::remove_all(dir);
  fs::create_directories(dir);
  ASSERT_EQ(varselSim("generate use.json --seconds 150", dir).status, 0);
  ASSERT_EQ(varselSim("generate again.json --seconds 150", dir).status, 0);
  ASSERT_EQ(varselSim("generate other.json --seconds 150 --seed 2", dir).status, 0);
  EXPECT_EQ(readFile(dir / "use.json"), readFile(dir / "again.json"));
  EXPECT_NE(readFile(dir / "use.json"), readFile(dir / "other.json"));

  Outcome run = varselSim("run use.json --trace trace.jsonl --summary summary.jsonl --stats", dir);
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("events a second"), std::string::npos);
  std::map<std::string, uint64_t> kinds;
  std::istringstream trace(readFile(dir / "trace.jsonl"));
  for (std::string line; std::getline(trace, line);) {
    ++kinds[nlohmann::json::parse(line)["kind"].get<std::string>()];
  }
  std::vector<nlohmann::json> summary;
  std::istringstream lines(readFile(dir / "summary.jsonl"));
  for (std::string line; std::getline(lines, line);) summary.push_back(nlohmann::json::parse(line));
  ASSERT_EQ(summary.size(), 4u);  // minutes 0, 1 and 2, then the totals
  std::map<std::string, uint64_t> summed;
  for (size_t m = 0; m < 3; ++m) {
    EXPECT_EQ(summary[m]["minute"], m);
    for (const auto& [kind, n] : summary[m]["counts"].items()) summed[kind] += n.get<uint64_t>();
  }
  EXPECT_EQ(summed, kinds);
  EXPECT_EQ(summary[3]["total"].get<decltype(kinds)>(), kinds);
  EXPECT_GT(kinds["deliver"], 20000u);  // a fast mouse's rate of moves
}
