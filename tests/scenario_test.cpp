// Scenario files: strict reading, determinism, the regression set, and the runner's
// proof that the agent at this stage passes every event unchanged.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "outside_world.h"
#include "tools/varsel-sim/quiet_check.h"
#include "tools/varsel-sim/runner.h"
#include "tools/varsel-sim/scenario.h"

namespace {

namespace fs = std::filesystem;
using testing_support::readFile;

// Each refusal names the file, the place in it and the reason. The generated lists of known
// names that some messages go on with are left out.
TEST(ScenarioTest, BadScenariosAreRefusedNamingFilePlaceAndReason) {
  const std::pair<const char*, const char*> kBad[] = {
      {R"({"name": "x",})", "line 1, column 14: syntax error"},
      {R"([])", "/: expected an object"},
      {R"({"system": {"version": "ten"}})", "/system/version: expected a macOS version such as"},
      {R"({"screens": []})", "/screens: at least one screen"},
      {R"({"screens": [[0, 0, 1440]]})", "/screens/0: expected [x, y, width, height]"},
      {R"({"screens": [[0, 0, 0, 900]]})", "/screens/0: width and height must be positive"},
      {R"({"apps": [{"pid": 5}, {"pid": 5}]})", "/apps/1/pid: pid 5 is used twice"},
      {R"({"apps": [{"pid": 5, "windows": [{"number": 1, "frame": [0,0,9,9], "ui": )"
       R"([{"role": "AXGroup", "frame": [0,0,9,9], "scrollBars": ["vertical"]}]}]}]})",
       "/apps/0/windows/0/ui/0/scrollBars: only a scroll area (with content) has this"},
      {R"({"apps": [{"pid": 5}], "front": 6})", "/front: no application has pid 6"},
      {R"({"input": [{"wheel": {"y": 1}}]})", "/input/0: missing \"t\""},
      {R"({"input": [{"t": -1, "wheel": {"y": 1}}]})", "/input/0/t: expected a number from 0 to"},
      {R"({"input": [{"t": 1}]})", "/input/0: missing the input: one of wheel, move,"},
      {R"({"input": [{"t": 1, "wheel": {"y": 1}, "key": {"chars": "a", "code": 0}}]})",
       "/input/0: one input per step: both \"wheel\" and \"key\""},
      {R"({"input": [{"t": 1, "wheel": {"y": "1"}}]})", "/input/0/wheel/y: expected a number"},
      {R"({"input": [{"t": 1, "sleep": 0}]})", "/input/0/sleep: a sleep lasts some time"},
      {R"({"input": [{"t": 1, "helper": {"c": "n", "x": 1}}]})", "/input/0/helper/x: unknown key"},
      {R"({"input": [{"t": 1, "notification": "open"}]})",
       "/input/0/notification: the one thing to do with a notification is \"click\""},
      {R"({"web": {"versions/vx.plist": [1]}})", "/web/versions~1vx.plist: a dictionary to serve"},
      {R"({"input": [{"t": 1, "swipe": {"over": 0.2}}]})", "/input/0/swipe: a swipe needs x or y"},
      {R"({"input": [{"t": 1, "trackpad": {"y": 3, "phase": "began", "momentum": "begin"}}]})",
       "/input/0/trackpad: give either \"phase\" or \"momentum\""},
      {R"({"input": [{"t": 1, "trackpad": {"y": 3, "phase": "x"}}]})",
       "/input/0/trackpad/phase: unknown phase \"x\""},
      {R"({"input": [{"t": 1, "replay": {"file": "nowhere.json"}}]})",
       "/input/0/replay/file: cannot read the recording nowhere.json"},
      {R"({"input": [{"t": 1, "move": {"to": [1]}}]})", "/input/0/move/to: expected [x, y]"},
      {R"({"input": [{"t": 1, "modifiers": ["x"]}]})",
       "/input/0/modifiers/0: unknown modifier \"x\""},
      {R"({"input": [{"t": 1, "button": {"number": 1.5}}]})",
       "/input/0/button/number: expected a whole number"},
      {R"({"input": [{"t": 1, "key": {"chars": "a", "code": 70000}}]})",
       "/input/0/key/code: expected a whole number from 0 to 65535"},
      {R"({"input": [{"t": 1, "key": {"code": 200}}]})",
       "/input/0/key: the layout has no characters for this key code"},
      {R"({"input": [{"t": 1, "key": {"code": 0, "ignoring": "0123456789012345678901234567890123"}}]})",
       "/input/0/key/ignoring: at most 31 bytes"},
      {R"({"input": [{"t": 1, "event": {"type": 22, "fields": {"x": 1}}}]})",
       "/input/0/event/fields/x: a field is named by its number, 0 to 159"},
      {R"({"input": [{"t": 5, "wheel": {"y": 1}}], "until": 2})", "/until: the run ends before"},
      {R"({"prefs": {"domainFile": "nowhere.plist"}})",
       "/prefs/domainFile: nowhere.plist cannot be read: No such file or directory"},
      {R"({"prefs": {"domainFile": "x", "all": {}}})",
       "/prefs/all: a domain file is used as it is"},
      {R"({"prefs": {"all": {"wheelSpeed": "fast"}}})", "/prefs/all/wheelSpeed: expected a number"},
      {R"({"prefs": {"apps": [{"creator": "ABC"}]}})", "/prefs/apps/0/creator: a creator is four"},
      {R"({"prefs": {"users": {}}})", "/prefs/users: unknown key"},
  };
  for (const auto& [text, message] : kBad) {
    try {
      sim::parseScenario(text, "bad.json");
      ADD_FAILURE() << "accepted: " << text;
    } catch (const sim::ScenarioError& e) {
      EXPECT_TRUE(std::string(e.what()).starts_with(std::string("bad.json: ") + message))
          << e.what();
    }
  }
  EXPECT_THROW(sim::loadScenario("/nonexistent/scenario.json"), sim::ScenarioError);
}

TEST(ScenarioTest, SameScenarioGivesTheSameTraceEveryRun) {
  sim::Scenario tour = sim::loadScenario(VARSEL_SCENARIOS_DIR "/tour.json");
  std::string first = sim::traceText(sim::runScenario(tour, {.wakes = true}).trace);
  EXPECT_GT(first.size(), 1000u);
  EXPECT_EQ(first, sim::traceText(sim::runScenario(tour, {.wakes = true}).trace));
}

// With the features that rewrite events switched off, the agent sees every event and
// changes none: the applications get exactly what they get without it.
TEST(ScenarioTest, AgentPassesMovesClicksTypingAndWheelTicksUnchanged) {
  sim::Scenario s = sim::loadScenario(VARSEL_SCENARIOS_DIR "/passthrough.json");
  auto withAgent = sim::runScenario(s, {.wakes = true}).trace;
  auto without = sim::runScenario(s, {.wakes = true, .startAgent = false}).trace;
  auto delivered = vsession::linesOfKind(withAgent, "deliver");
  EXPECT_EQ(delivered, vsession::linesOfKind(without, "deliver"));
  EXPECT_EQ(delivered.size(), 51u);
  EXPECT_TRUE(vsession::linesOfKind(withAgent, "swallow").empty());
  // Every event of a type the agent always taps did pass through its taps; tablet
  // proximity (24) is in none of their masks, and the gesture tap listens only while the
  // run timer wants mouse movements, which it no longer does at 2.6 s.
  int tapped = 0, tapWakes = 0;
  for (const auto& d : delivered) tapped += d["type"] != 24 && d["type"] != 29;
  for (const auto& w : vsession::linesOfKind(withAgent, "wake")) tapWakes += w["what"] == "tap";
  EXPECT_EQ(tapWakes, tapped);
}

// The suite runs in the plain and in the sanitizer build against the same files, so this
// also holds that both builds give every scenario the same trace, byte for byte.
TEST(ScenarioTest, RegressionSetMatchesItsExpectedTraces) {
  int compared = 0;
  for (const auto& entry : fs::directory_iterator(VARSEL_SCENARIOS_DIR)) {
    if (entry.path().extension() != ".json") continue;
    std::string want = VARSEL_SCENARIOS_DIR "/expected/" + entry.path().stem().string() + ".jsonl";
    auto result = sim::runScenario(sim::loadScenario(entry.path().string()));
    EXPECT_EQ(sim::traceText(result.trace), readFile(want)) << "against " << want;
    ++compared;
  }
  EXPECT_GE(compared, 2);
}

// Whatever each scenario left running, letting go and "varsel://stop" bring the agent to
// rest, and nothing it posted on the way was too large.
TEST(ScenarioTest, EveryScenarioComesToRestOnceLetGoAndStopped) {
  for (const auto& entry : fs::directory_iterator(VARSEL_SCENARIOS_DIR)) {
    if (entry.path().extension() != ".json") continue;
    EXPECT_EQ(sim::runToRest(sim::loadScenario(entry.path().string()), true),
              std::vector<std::string>{})
        << entry.path();
  }
}

}  // namespace
