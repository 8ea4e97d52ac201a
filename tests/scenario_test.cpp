// Scenario files: strict reading, determinism, the regression set, and the runner's
// proof that the agent at this stage passes every event unchanged.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "tools/varsel-sim/runner.h"
#include "tools/varsel-sim/scenario.h"

namespace {

namespace fs = std::filesystem;
using sim::ScenarioError;

std::string readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

struct BadScenario {
  const char* text;
  const char* message;  // the whole error after "bad.json: "
};

void PrintTo(const BadScenario& b, std::ostream* os) {
  *os << b.text;
}

class ScenarioValidationTest : public ::testing::TestWithParam<BadScenario> {};

TEST_P(ScenarioValidationTest, RefusesWithFilePlaceAndReason) {
  try {
    sim::parseScenario(GetParam().text, "bad.json");
    FAIL() << "accepted: " << GetParam().text;
  } catch (const ScenarioError& e) {
    EXPECT_EQ(std::string(e.what()), std::string("bad.json: ") + GetParam().message);
  }
}

const BadScenario kBadScenarios[] = {
    {R"({"name": "x",})",
     "line 1, column 14: syntax error while parsing object key - "
     "unexpected '}'; expected string literal"},
    {R"([])", "/: expected an object"},
    {R"({"nmae": "x"})", "/nmae: unknown key \"nmae\""},
    {R"({"system": {"version": "ten"}})",
     "/system/version: expected a macOS version such as \"10.15.7\", got \"ten\""},
    {R"({"screens": []})", "/screens: at least one screen"},
    {R"({"screens": [[0, 0, 1440]]})", "/screens/0: expected [x, y, width, height]"},
    {R"({"screens": [[0, 0, 0, 900]]})", "/screens/0: width and height must be positive"},
    {R"({"apps": [{"pid": 5}, {"pid": 5}]})", "/apps/1/pid: pid 5 is used twice"},
    {R"({"apps": [{"pid": 5, "windows": [{"number": 1, "frame": [0,0,9,9], "ui": [{"role": "AXGroup", "frame": [0,0,9,9], "scrollBars": ["vertical"]}]}]}]})",
     "/apps/0/windows/0/ui/0/scrollBars: only a scroll area (with content) has this"},
    {R"({"apps": [{"pid": 5}], "front": 6})", "/front: no application has pid 6"},
    {R"({"input": [{"wheel": {"y": 1}}]})", "/input/0: missing \"t\""},
    {R"({"input": [{"t": -1, "wheel": {"y": 1}}]})",
     "/input/0/t: expected a number from 0 to 1e+06, got -1"},
    {R"({"input": [{"t": 1}]})",
     "/input/0: missing the input: one of wheel, move, modifiers, button, key, event, pane, "
     "trackpad, swipe, replay"},
    {R"({"input": [{"t": 1, "wheel": {"y": 1}, "key": {"chars": "a", "code": 0}}]})",
     "/input/0: one input per step: both \"wheel\" and \"key\""},
    {R"({"input": [{"t": 1, "wheel": {"z": 1}}]})", "/input/0/wheel/z: unknown key \"z\""},
    {R"({"input": [{"t": 1, "wheel": {"y": "1"}}]})", "/input/0/wheel/y: expected a number"},
    {R"({"input": [{"t": 1, "url": "varsel://stop"}]})",
     "/input/0/url: \"url\" is not supported by this build yet"},
    {R"({"input": [{"t": 1, "swipe": {"over": 0.2}}]})", "/input/0/swipe: a swipe needs x or y"},
    {R"({"input": [{"t": 1, "trackpad": {"y": 3, "phase": "began", "momentum": "begin"}}]})",
     "/input/0/trackpad: give either \"phase\" or \"momentum\""},
    {R"({"input": [{"t": 1, "trackpad": {"y": 3, "phase": "lifted"}}]})",
     "/input/0/trackpad/phase: unknown phase \"lifted\" (mayBegin, began, changed, ended, "
     "cancelled)"},
    {R"({"input": [{"t": 1, "replay": {"file": "nowhere.json"}}]})",
     "/input/0/replay/file: cannot read the recording nowhere.json"},
    {R"({"input": [{"t": 1, "move": {"to": [1]}}]})", "/input/0/move/to: expected [x, y]"},
    {R"({"input": [{"t": 1, "modifiers": ["hyper"]}]})",
     "/input/0/modifiers/0: unknown modifier \"hyper\" (command, shift, control, option, fn, "
     "capsLock)"},
    {R"({"input": [{"t": 1, "button": {"number": 1.5}}]})",
     "/input/0/button/number: expected a whole number"},
    {R"({"input": [{"t": 1, "key": {"chars": "a", "code": 70000}}]})",
     "/input/0/key/code: expected a whole number from 0 to 65535"},
    {R"({"input": [{"t": 1, "event": {"type": 22, "fields": {"x": 1}}}]})",
     "/input/0/event/fields/x: a field is named by its number, 0 to 159"},
    {R"({"input": [{"t": 5, "wheel": {"y": 1}}], "until": 2})",
     "/until: the run ends before its last input"},
};

INSTANTIATE_TEST_SUITE_P(Each, ScenarioValidationTest, ::testing::ValuesIn(kBadScenarios),
                         [](const auto& info) { return "case" + std::to_string(info.index); });

TEST(ScenarioTest, MissingFileIsRefused) {
  EXPECT_THROW(sim::loadScenario("/nonexistent/scenario.json"), ScenarioError);
}

TEST(ScenarioTest, SameScenarioGivesTheSameTraceEveryRun) {
  sim::Scenario tour = sim::loadScenario(VARSEL_SCENARIOS_DIR "/tour.json");
  std::string first = sim::traceText(sim::runScenario(tour, {.wakes = true}).trace);
  std::string second = sim::traceText(sim::runScenario(tour, {.wakes = true}).trace);
  EXPECT_GT(first.size(), 1000u);
  EXPECT_EQ(first, second);
}

// Until the features that rewrite events arrive, the agent sees every event and changes
// none: the applications get exactly what they get without it.
TEST(ScenarioTest, AgentPassesMovesClicksTypingAndWheelTicksUnchanged) {
  sim::Scenario s = sim::loadScenario(VARSEL_SCENARIOS_DIR "/passthrough.json");
  auto withAgent = sim::runScenario(s, {.wakes = true}).trace;
  auto without = sim::runScenario(s, {.wakes = true, .startAgent = false}).trace;
  auto delivered = vsession::linesOfKind(withAgent, "deliver");
  EXPECT_EQ(delivered, vsession::linesOfKind(without, "deliver"));
  EXPECT_TRUE(vsession::linesOfKind(withAgent, "swallow").empty());
  // Every event of a type the agent taps did pass through its taps; tablet proximity (24)
  // is in none of their masks.
  int tapped = 0, tapWakes = 0;
  for (const auto& d : delivered) tapped += d["type"] != 24;
  for (const auto& w : vsession::linesOfKind(withAgent, "wake")) tapWakes += w["what"] == "tap";
  EXPECT_EQ(tapWakes, tapped);
  EXPECT_EQ(delivered.size(), 51u);
}

TEST(ScenarioTest, RegressionSetMatchesItsExpectedTraces) {
  int compared = 0;
  for (const auto& entry : fs::directory_iterator(VARSEL_SCENARIOS_DIR)) {
    if (entry.path().extension() != ".json") continue;
    fs::path expected =
        entry.path().parent_path() / "expected" / (entry.path().stem().string() + ".jsonl");
    ASSERT_TRUE(fs::exists(expected)) << "no expected trace for " << entry.path();
    auto result = sim::runScenario(sim::loadScenario(entry.path().string()));
    EXPECT_EQ(sim::traceText(result.trace), readFile(expected)) << entry.path();
    ++compared;
  }
  EXPECT_GE(compared, 2);
}

TEST(VarselSimTest, BadScenarioExitsNonZeroNamingFileAndPlaceAndRunsNothing) {
  fs::path dir = fs::path(::testing::TempDir()) / "varsel-sim-cli";
  fs::create_directories(dir);
  fs::path bad = dir / "bad.json";
  std::ofstream(bad) << R"({"input": [{"t": 1, "wheel": {"q": 1}}]})";
  fs::path err = dir / "err.txt", out = dir / "out.txt", trace = dir / "trace.jsonl";
  std::string command = std::string(VARSEL_SIM) + " run " + bad.string() + " --trace " +
                        trace.string() + " >" + out.string() + " 2>" + err.string();
  int status = std::system(command.c_str());
  EXPECT_NE(status, 0);
  EXPECT_EQ(readFile(err),
            "varsel-sim: " + bad.string() + ": /input/0/wheel/q: unknown key \"q\"\n");
  EXPECT_EQ(readFile(out), "");
  EXPECT_FALSE(fs::exists(trace));
}

TEST(VarselSimTest, RunWritesTheTraceAndPrintsASummary) {
  fs::path dir = fs::path(::testing::TempDir()) / "varsel-sim-run";
  fs::create_directories(dir);
  fs::path out = dir / "out.txt", trace = dir / "trace.jsonl";
  std::string command = std::string(VARSEL_SIM) +
                        " run " VARSEL_SCENARIOS_DIR "/passthrough.json --trace " + trace.string() +
                        " >" + out.string();
  ASSERT_EQ(std::system(command.c_str()), 0);
  EXPECT_NE(readFile(out).find("delivered 51 events"), std::string::npos) << readFile(out);
  EXPECT_EQ(readFile(trace),
            readFile(fs::path(VARSEL_SCENARIOS_DIR) / "expected" / "passthrough.jsonl"));
}

TEST(VarselSimTest, PlotDrawsEachScrolledAreaAndThePostedDeltas) {
  fs::path dir = fs::path(::testing::TempDir()) / "varsel-sim-plot";
  fs::create_directories(dir);
  fs::path svg = dir / "tour.svg";
  std::string command = std::string(VARSEL_SIM) +
                        " run " VARSEL_SCENARIOS_DIR "/tour.json --plot " + svg.string() +
                        " >/dev/null";
  ASSERT_EQ(std::system(command.c_str()), 0);
  std::string picture = readFile(svg);
  EXPECT_NE(picture.find("<svg"), std::string::npos);
  EXPECT_NE(picture.find("window 101, area 0 vertical"), std::string::npos);
  EXPECT_NE(picture.find("window 201, area 0 vertical"), std::string::npos);
  EXPECT_NE(picture.find("agent vertical"), std::string::npos);
}

}  // namespace
