// Settings that come from outside: a scenario's prefs section written as the pane writes
// it, an existing domain file, and `varsel-sim prefs` on files other programs wrote.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "command_output.h"
#include "settings_session.h"
#include "tools/varsel-sim/prefs_report.h"
#include "tools/varsel-sim/runner.h"
#include "tools/varsel-sim/scenario.h"

namespace {

namespace fs = std::filesystem;
using json = nlohmann::ordered_json;

const fs::path kTestData = fs::path(VARSEL_SOURCE_DIR) / ".." / "shared" / "testdata";

fs::path scratch(const std::string& name) {
  fs::path dir = fs::path(::testing::TempDir()) / "varsel-prefs-tool";
  fs::create_directories(dir);
  return dir / name;
}

// Writes a preferences domain with Python's plistlib, as another program would.
fs::path domainWrittenByPython(const json& layout, const std::string& name) {
  fs::path file = scratch(name);
  std::string command =
      testing_support::kPlistlibPeer + "write-domain '" + layout.dump() + "' " + file.string();
  EXPECT_EQ(std::system(command.c_str()), 0);
  return file;
}

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

TEST(ScenarioPrefsTest, DomainWeWriteIsABinaryPropertyListPlistlibReads) {
  sim::Scenario s = sim::parseScenario(
      R"({"prefs": {"global": {"dragSlop": 7},
                    "apps": [{"bid": "com.example.reader", "settings": {"wheelReverseY": 1}}]}})",
      "prefs.json");
  testing_support::SettingsSession settings;
  sim::writeScenarioPrefs(*s.prefs, settings.session());
  fs::path file = settings.session().preferences().domainFile(kPrefsDomain);
  std::ifstream in(file, std::ios::binary);
  std::string magic(8, '\0');
  in.read(magic.data(), 8);
  EXPECT_EQ(magic, "bplist00");

  const std::string& peer = testing_support::kPlistlibPeer;
  json domain = json::parse(testing_support::commandOutput(peer + "read-plist " + file.string()));
  EXPECT_EQ(domain["dragSlop"], 7);
  EXPECT_EQ(domain["prefsVers"], 1);
  ASSERT_EQ(domain["appList"].size(), 2u);
  EXPECT_EQ(domain["appList"][1]["bid"], "com.example.reader");
  EXPECT_EQ(domain["appList"][1]["hasBid"], true);

  // The element's data is a keyed archive plistlib decodes, UIDs and all.
  std::string hex = domain["appList"][1]["data"]["$data"];
  std::vector<char> bytes;
  for (size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
  }
  fs::path archive = scratch("element.archive");
  std::ofstream(archive, std::ios::binary)
      .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  EXPECT_EQ(json::parse(testing_support::commandOutput(peer + "read-archive " + archive.string())),
            json({{"wheelReverseY", 1}}));
}

TEST(ScenarioPrefsTest, DomainFileIsUsedAsItIsAndBadSectionsAreRefused) {
  fs::path domain = domainWrittenByPython(
      {{"global", {{"prefsVers", 1}}}, {"elements", {{{"settings", {{"hoverVspeed", 77}}}}}}},
      "scenario-domain.plist");
  fs::path scenarioFile = scratch("with-domain.json");
  std::ofstream(scenarioFile) << R"({"prefs": {"domainFile": "scenario-domain.plist"}})";
  sim::Scenario s = sim::loadScenario(scenarioFile.string());
  ASSERT_TRUE(s.prefs && s.prefs->domainFile);
  testing_support::SettingsSession settings;
  sim::writeScenarioPrefs(*s.prefs, settings.session());
  EXPECT_EQ(settings.start().hoverVspeed, 77);

  const std::pair<const char*, const char*> bad[] = {
      {R"({"prefs": {"domainFile": "nowhere.plist"}})", "/prefs/domainFile: no such file"},
      {R"({"prefs": {"domainFile": "x", "all": {}}})",
       "/prefs/all: a domain file is used as it is"},
      {R"({"prefs": {"all": {"wheelSpeed": "fast"}}})", "/prefs/all/wheelSpeed: expected a number"},
      {R"({"prefs": {"apps": [{"creator": "ABC"}]}})", "/prefs/apps/0/creator: a creator is four"},
      {R"({"prefs": {"users": {}}})", "/prefs/users: unknown key"},
  };
  for (const auto& [text, message] : bad) {
    try {
      sim::parseScenario(text, scenarioFile.string());
      ADD_FAILURE() << "accepted " << text;
    } catch (const sim::ScenarioError& e) {
      EXPECT_NE(std::string(e.what()).find(message), std::string::npos) << e.what();
    }
  }
}

TEST(PrefsToolTest, PrintsTheExactRecordForADomainAnotherProgramWrote) {
  fs::path domain = domainWrittenByPython(
      {{"global", {{"dragSlop", 40}, {"hoverActiveOnly", 1}, {"lastVersionCheckDate", 8.5e8}}},
       {"elements",
        {{{"settings", {{"wheelSpeed", 300}, {"wheelCoastFactor", 850}}}},
         {{"bid", "com.example.reader"},
          {"creator", 1094861636},
          {"settings",
           {{"autoScrollSpeed", 300},
            {"keysUp", 0x0301},
            {"vectorVspeed", 60},
            {"hoverVmax", "tall"}}}}}}},
      "python-domain.plist");
  fs::path out = scratch("prefs.json");
  std::string command =
      std::string(VARSEL_SIM) + " prefs " + domain.string() + " --json >" + out.string();
  ASSERT_EQ(std::system(command.c_str()), 0);
  json report = json::parse(std::ifstream(out));

  EXPECT_EQ(report["global"]["dragSlop"], 15);
  EXPECT_EQ(report["global"]["hoverActiveOnly"], 1);
  EXPECT_EQ(report["global"]["prefsVers"], 0);
  EXPECT_EQ(report["global"]["speedsMigrated"], true);
  EXPECT_EQ(report["global"]["lastVersionCheckDate"], 8.5e8);
  ASSERT_EQ(report["appList"].size(), 2u);
  const json& all = report["appList"][0];
  EXPECT_TRUE(all["bid"].is_null());
  EXPECT_EQ(all["record"]["wheelSpeed"], 313);  // migrated from the old scale
  EXPECT_EQ(all["record"]["wheelCoastFactor"], 800);
  EXPECT_EQ(all["record"]["dragSlop"], 15);
  const json& reader = report["appList"][1];
  EXPECT_EQ(reader["bid"], "com.example.reader");
  EXPECT_EQ(reader["creator"], 1094861636);
  EXPECT_EQ(reader["record"]["autoScrollSpeed"], 44);
  EXPECT_EQ(reader["record"]["keysHoldMod"], json({1, 2, 0, 0, 1}));
  EXPECT_EQ(reader["record"]["keysPressMod"], json({3, 0, 2, 3, 3}));
  EXPECT_EQ(reader["record"]["vectorVspeed"], 5);
  EXPECT_EQ(reader["record"]["hoverVmax"], 50);
  // The agent passes over what it cannot use without a word: the report says it.
  EXPECT_EQ(
      sim::reportPrefsFile(domain.string()).notes,
      std::vector<std::string>{"appList[1]: hoverVmax is not a number; it takes its default"});
  // Every field of the record, by its name (qualified by its block where both blocks have
  // it), in declaration order.
  EXPECT_EQ(all["record"]["wheel.wacomCompatible"], 0);
  EXPECT_EQ(all["record"]["pad.wacomCompatible"], 0);
  EXPECT_EQ(reader["record"].size(), all["record"].size());
  EXPECT_EQ(all["record"].size(), 134u);
  EXPECT_EQ(all["record"].begin().key(), "hoverActiveOnly");
  EXPECT_EQ((--all["record"].end()).key(), "vectorHotKeyChar");
  // The file itself is left as it was.
  EXPECT_EQ(std::system(("python3 -c \"import plistlib,sys; d=plistlib.load(open('" +
                         domain.string() + "','rb')); sys.exit('prefsVers' in d)\"")
                            .c_str()),
            0);
}

TEST(PrefsToolTest, FilesThatCannotBeUsedAreRefusedAndNoTestDataFileCrashesIt) {
  fs::path junk = scratch("junk.plist");
  std::ofstream(junk) << "junk";
  try {
    sim::reportPrefsFile(junk.string());
    ADD_FAILURE();
  } catch (const sim::PrefsFileError& e) {
    EXPECT_EQ(std::string(e.what()), junk.string() + ": not a property list");
  }
  EXPECT_THROW(sim::reportPrefsFile((kTestData / "plists" / "valid" / "uid.bplist").string()),
               sim::PrefsFileError);
  EXPECT_THROW(sim::reportPrefsFile("/nonexistent.plist"), sim::PrefsFileError);

  int files = 0;
  for (const char* dir :
       {"plists/valid", "plists/malformed", "plists/fuzz-crashes", "keyed-archives"}) {
    for (const auto& entry : fs::directory_iterator(kTestData / dir)) {
      try {
        sim::PrefsReport report = sim::reportPrefsFile(entry.path().string());
        EXPECT_GE(report.json["appList"].size(), 1u);
      } catch (const sim::PrefsFileError&) {
      }
      ++files;
    }
  }
  EXPECT_GT(files, 80);
}

}  // namespace
