// Settings that come from outside: a scenario's prefs section written as the pane writes
// it, an existing domain file, and `varsel-sim prefs` on files other programs wrote.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "outside_world.h"
#include "settings_session.h"
#include "tools/varsel-sim/prefs_report.h"
#include "tools/varsel-sim/runner.h"
#include "tools/varsel-sim/scenario.h"

namespace {

namespace fs = std::filesystem;
using json = nlohmann::ordered_json;
using testing_support::kPlistlibPeer;

const fs::path kTestData = fs::path(VARSEL_SOURCE_DIR) / ".." / "shared" / "testdata";

std::string scratch(const std::string& name) {
  fs::path dir = fs::path(::testing::TempDir()) / "varsel-prefs-tool";
  fs::create_directories(dir);
  return (dir / name).string();
}

// Python's plistlib, as another program: runs one of its commands on a file.
json readByPython(const std::string& command, const std::string& file) {
  return json::parse(testing_support::commandOutput(kPlistlibPeer + command + " " + file));
}

// The named fields of an element's record have these values.
void expectFields(const json& element, const json& want) {
  for (const auto& [key, value] : want.items()) {
    EXPECT_EQ(element["record"].value(key, json()), value) << key;
  }
}

// The domain is a binary property list that plistlib reads, each element's settings a keyed
// archive it decodes, UIDs and all; the agent reads it back as written.
TEST(ScenarioPrefsTest, SettingsAreWrittenAsThePaneWritesThemAndReadBack) {
  sim::Scenario s = sim::parseScenario(R"({
    "apps": [{"pid": 501, "bundle": "com.example.reader", "name": "Reader"},
             {"pid": 502, "name": "Old", "process": "old", "creator": "ABCD"}],
    "prefs": {"global": {"dragSlop": 9},
              "all": {"wheelCoastVOn": 0, "wheelSpeed": 300},
              "apps": [{"bid": "com.example.reader", "settings": {"wheelReverseY": 1}},
                       {"creator": "ABCD", "settings": {"padCoastFactor": 0.5}}]}})",
                                       "prefs.json");
  testing_support::SettingsSession settings(sim::sessionConfigFor(s));
  sim::writeScenarioPrefs(*s.prefs, settings.session());
  std::string file = settings.session().preferences().domainFile(kPrefsDomain);
  std::string magic(8, '\0');
  std::ifstream(file, std::ios::binary).read(magic.data(), 8);
  EXPECT_EQ(magic, "bplist00");
  json domain = readByPython("read-plist", file);
  EXPECT_EQ(domain["dragSlop"], 9);
  EXPECT_EQ(domain["prefsVers"], 1);
  ASSERT_EQ(domain["appList"].size(), 3u);
  EXPECT_EQ(domain["appList"][1]["bid"], "com.example.reader");
  EXPECT_EQ(domain["appList"][1]["hasBid"], true);
  const port::PlistData& data =
      *settings.stored("appList")->array()->at(1).dict()->at("data").data();
  std::ofstream(scratch("element.archive"), std::ios::binary)
      << std::string(data.begin(), data.end());
  EXPECT_EQ(readByPython("read-archive", scratch("element.archive")), json({{"wheelReverseY", 1}}));

  PrefsRecord& r = settings.start();
  EXPECT_EQ(r.dragSlop, 9);
  EXPECT_EQ(r.wheel.wheelCoastVOn, 0);
  EXPECT_EQ(r.wheel.wheelSpeed, 300);  // the marker is set: no migration
  prefs_switchToPrefsForPid(501);
  EXPECT_EQ(r.wheel.wheelReverseY, 1);
  EXPECT_EQ(r.wheel.wheelSpeed, 200);
  prefs_switchToPrefsForPid(502);
  EXPECT_EQ(bgprefs_statics().sCurSettingsTarget, 2);
  EXPECT_EQ(r.pad.padCoastFactor, 0);  // 0.5 read as an integer
}

// A domain plistlib wrote: the tool reports it exactly, a scenario that names it uses it as
// it is, and neither changes the file.
TEST(PrefsToolTest, PrintsTheExactRecordForADomainAnotherProgramWrote) {
  std::string domain = scratch("python-domain.plist");
  const char* layout = R"({
      "global": {"dragSlop": 40, "hoverActiveOnly": 1, "lastVersionCheckDate": 8.5e8},
      "elements": [{"settings": {"wheelSpeed": 300, "wheelCoastFactor": 850}},
                   {"bid": "com.example.reader", "creator": 1094861636,
                    "settings": {"autoScrollSpeed": 300, "keysUp": 769, "vectorVspeed": 60,
                                 "hoverVmax": "tall"}}]})";
  ASSERT_EQ(std::system((kPlistlibPeer + "write-domain '" + layout + "' " + domain).c_str()), 0);
  ASSERT_EQ(std::system((VARSEL_SIM " prefs " + domain + " --json >" + scratch("out")).c_str()), 0);
  json report = json::parse(std::ifstream(scratch("out")));
  EXPECT_EQ(report["global"], json::parse(R"({"hoverActiveOnly": 1, "dragSlop": 15,
      "prefsVers": 0, "speedsMigrated": true, "updateCheckIntervalDays": 1,
      "lastVersionCheckDate": 8.5e8})"));
  ASSERT_EQ(report["appList"].size(), 2u);
  const json& all = report["appList"][0];
  const json& reader = report["appList"][1];
  EXPECT_TRUE(all["bid"].is_null());
  EXPECT_EQ(reader["bid"], "com.example.reader");
  EXPECT_EQ(reader["creator"], 1094861636);
  // Each field by its name, qualified by its block where both blocks have it; the speed is
  // migrated from the old scale, and keysUp 0x0301 fills both key tables.
  expectFields(all, json::parse(R"({"wheelSpeed": 313, "wheelCoastFactor": 800, "dragSlop": 15,
      "wheel.wacomCompatible": 0, "pad.wacomCompatible": 0})"));
  expectFields(reader, json::parse(R"({"autoScrollSpeed": 44, "keysHoldMod": [1, 2, 0, 0, 1],
      "keysPressMod": [3, 0, 2, 3, 3], "vectorVspeed": 5, "hoverVmax": 50})"));
  // The agent passes over what it cannot use, and converts and clamps, without a word: the
  // report says it.
  EXPECT_EQ(sim::reportPrefsFile(domain).notes,
            (std::vector<std::string>{
                "dragSlop 40 is taken as 15", "appList[0]: wheelCoastFactor 850 is taken as 800",
                "appList[0]: wheelSpeed 300 is taken as 313 on the new speed scale",
                "appList[1]: autoScrollSpeed 300 is taken as 44",
                "appList[1]: hoverVmax is not a number; it takes its default",
                "appList[1]: vectorVspeed 60 is taken as 105"}));
  // Every field of the record, in declaration order.
  EXPECT_EQ(all["record"].size(), 134u);
  EXPECT_EQ(all["record"].begin().key(), "hoverActiveOnly");
  EXPECT_EQ((--all["record"].end()).key(), "vectorHotKeyChar");

  std::ofstream(scratch("with-domain.json"))
      << R"({"prefs": {"domainFile": "python-domain.plist"}})";
  sim::Scenario s = sim::loadScenario(scratch("with-domain.json"));
  ASSERT_TRUE(s.prefs && s.prefs->domainFile);
  testing_support::SettingsSession settings;
  sim::writeScenarioPrefs(*s.prefs, settings.session());
  EXPECT_EQ(settings.start().wheel.wheelSpeed, 313);
  EXPECT_FALSE(readByPython("read-plist", domain).contains("prefsVers"));
}

TEST(PrefsToolTest, FilesThatCannotBeUsedAreRefusedAndNoTestDataFileCrashesIt) {
  std::ofstream(scratch("junk.plist")) << "junk";
  const std::pair<std::string, const char*> refused[] = {
      {scratch("junk.plist"), ": not a property list"},
      {(kTestData / "plists" / "valid" / "uid.bplist").string(),
       ": the top level is not a dictionary"},
      {"/nonexistent.plist", ": cannot be read: No such file or directory"}};
  for (const auto& [file, reason] : refused) {
    try {
      sim::reportPrefsFile(file);
      ADD_FAILURE() << "accepted " << file;
    } catch (const sim::PrefsFileError& e) {
      EXPECT_EQ(std::string(e.what()), file + reason);
    }
  }
  int files = 0;
  for (const char* dir :
       {"plists/valid", "plists/malformed", "plists/fuzz-crashes", "keyed-archives"}) {
    for (const auto& entry : fs::directory_iterator(kTestData / dir)) {
      try {
        EXPECT_GE(sim::reportPrefsFile(entry.path().string()).json["appList"].size(), 1u)
            << entry.path();
      } catch (const sim::PrefsFileError&) {
      }
      ++files;
    }
  }
  EXPECT_GT(files, 80);
}

}  // namespace
