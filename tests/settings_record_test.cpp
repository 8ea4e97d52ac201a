// Filling the settings record from the preferences domain: defaults, conversions and clamps
// at their edges, the forced-off rules, bad values, the element fallbacks and the one-time
// speed migration.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "settings_session.h"

namespace {

using namespace testing_support;
using port::PlistData;

class SettingsRecordTest : public ::testing::Test {
 protected:
  // Already migrated, unless a test says otherwise.
  void SetUp() override { settings.write("prefsVers", PlistValue(1)); }

  SettingsSession settings;
  const PrefsRecord& fillWith(PlistDict all) {
    settings.writeAppList({element({}, all)});
    return settings.start();
  }
};

TEST_F(SettingsRecordTest, EmptyDomainGivesEveryDefault) {
  const PrefsRecord& r = settings.start();
  const bgprefsStatics& s = bgprefs_statics();
  ASSERT_EQ(s.appList.size(), 1u);
  EXPECT_EQ(getPrefsDict_settingsTarget_inAppList(0, s.appList), PlistDict{});

  EXPECT_EQ(r.hoverActiveOnly, 0);
  EXPECT_EQ(r.dragSlop, 5);
  // Wheel and trackpad blocks differ only where their defaults do.
  EXPECT_EQ(r.wheel.wheelOn, 1);
  EXPECT_EQ(r.pad.padOn, 1);
  EXPECT_EQ(r.wheel.wheelActiveHere, 1);
  EXPECT_EQ(r.wheel.wheelSpeed, 200);
  EXPECT_EQ(r.pad.padSpeedX, 200);
  EXPECT_EQ(r.wheel.wheelModSpeedOn, 1);
  EXPECT_EQ(r.wheel.wheelModSpeed, 4);
  EXPECT_EQ(r.wheel.wheelMod, 3);
  EXPECT_EQ(r.pad.padReverseMod, 2);
  EXPECT_EQ(r.wheel.wheelCoastVOn, 1);
  EXPECT_EQ(r.wheel.wheelCoastHOn, 1);
  EXPECT_EQ(r.pad.padCoastVOn, 0);
  EXPECT_EQ(r.pad.padCoastHOn, 0);
  EXPECT_EQ(r.wheel.wheelCoastFactor, 960);
  EXPECT_EQ(r.pad.padCoastFactor, 960);
  EXPECT_EQ(r.wheel.wheelNudgeCursorToStop, 0);
  EXPECT_EQ(r.pad.padLiftFingersToCoast, 1);
  EXPECT_EQ(r.wheelSingleTickSpeed, 200);
  EXPECT_EQ(r.hoverOn, 1);
  EXPECT_EQ(r.hoverHOn, 0);
  EXPECT_EQ(r.hoverVpercent, 10);
  EXPECT_EQ(r.hoverVmax, 50);
  EXPECT_EQ(r.hoverVspeed, 25);
  EXPECT_EQ(r.autoScrollSpeed, 25);
  EXPECT_EQ(r.autoScrollUpMod, 2);
  EXPECT_EQ(r.autoScrollHotKeyMods, 0x800000u);
  EXPECT_EQ(r.grabShowHand, 1);
  EXPECT_EQ(r.grabButton, 2);
  EXPECT_EQ(r.grabModSpeed, 8);
  EXPECT_EQ(r.grabCoastFactor, 980);
  EXPECT_EQ(r.keysSpeed, 128);
  const uint16_t hold[5] = {2, 2, 0, 0, 1}, press[5] = {3, 0, 2, 3, 3};
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(r.keysHoldMod[i], hold[i]) << i;
    EXPECT_EQ(r.keysPressMod[i], press[i]) << i;
  }
  EXPECT_EQ(r.keysHotKeyRightMods, 0x800000u);
  EXPECT_EQ(r.vectorOn, 0);
  EXPECT_EQ(r.vectorMaxRadius, 150);
  EXPECT_EQ(r.vectorVspeed, 300);
  EXPECT_EQ(r.vectorVspeedScaled, 15);
  // The migration marker is written even when there is nothing to migrate.
  ASSERT_TRUE(settings.stored("prefsVers"));
  EXPECT_EQ(std::get<int64_t>(settings.stored("prefsVers")->value), 1);
}

// A field of the record, as a number.
using FieldOf = int64_t (*)(const PrefsRecord&);
#define FIELD(path) [](const PrefsRecord& r) -> int64_t { return r.path; }

TEST_F(SettingsRecordTest, ConversionsAndClampsAtTheirEdges) {
  const struct {
    const char* key;
    int64_t stored;
    int64_t expected;
    FieldOf field;
  } cases[] = {
      {"wheelCoastFactor", 896, 800, FIELD(wheel.wheelCoastFactor)},
      {"wheelCoastFactor", 897, 897, FIELD(wheel.wheelCoastFactor)},
      {"padCoastFactor", 10, 10, FIELD(pad.padCoastFactor)},
      {"wheelSpeed", 5000, 1000, FIELD(wheel.wheelSpeed)},
      {"padSpeedX", 1001, 1000, FIELD(pad.padSpeedX)},
      {"wheelSingleTickSpeed", 1000, 1000, FIELD(wheelSingleTickSpeed)},
      {"wheelSpeed", 70000, 1000, FIELD(wheel.wheelSpeed)},  // low 16 bits: 4464
      {"wheelSpeed", 65536 + 300, 300, FIELD(wheel.wheelSpeed)},
      {"autoScrollSpeed", 300, 44, FIELD(autoScrollSpeed)},
      {"autoScrollSpeed", 48, 48, FIELD(autoScrollSpeed)},
      {"autoScrollSpeed", 49, 49, FIELD(autoScrollSpeed)},
      {"autoScrollSpeed", 60, 49, FIELD(autoScrollSpeed)},
      // The vector speed is an integer read: up to 99, negative values too, the old scale
      // modulo 256; above 700 the default.
      {"vectorVspeed", 60, 5, FIELD(vectorVspeed)},
      {"vectorVspeed", 99, 8, FIELD(vectorVspeed)},
      {"vectorVspeed", 100, 1, FIELD(vectorVspeed)},
      {"vectorVspeed", 700, 600, FIELD(vectorVspeed)},
      {"vectorVspeed", 701, 300, FIELD(vectorVspeed)},
      {"vectorVspeed", -1, 21, FIELD(vectorVspeed)},           // 255 / 12 + 100
      {"vectorVspeed", -256, 1, FIELD(vectorVspeed)},          // 0 / 12 + 100
      {"vectorVspeed", 65536 + 50, 300, FIELD(vectorVspeed)},  // not 50: all 32 bits count
      {"hoverMod", -1, 65535, FIELD(hoverMod)},
      {"wheelOn", 65536, 0, FIELD(wheel.wheelOn)},  // flags read 16 bits
      {"wheelOn", -1, 1, FIELD(wheel.wheelOn)},
      {"grabHotKeyChar", (int64_t{1} << 33) + 5, 5, FIELD(grabHotKeyChar)},
      {"grabHotKeyMods", 0x100000, 0x100000, FIELD(grabHotKeyMods)},
  };
  for (const auto& c : cases) {
    const PrefsRecord& r = fillWith(numbers({{c.key, c.stored}}));
    EXPECT_EQ(c.field(r), c.expected) << c.key << " = " << c.stored;
  }
  const PrefsRecord& keys = fillWith(numbers({{"keysUp", 0x0301}, {"keysGrabTrigger", 0x0400}}));
  EXPECT_EQ(keys.keysHoldMod[0], 1);
  EXPECT_EQ(keys.keysPressMod[0], 3);
  EXPECT_EQ(keys.keysHoldMod[4], 0);
  EXPECT_EQ(keys.keysPressMod[4], 4);
  EXPECT_EQ(keys.keysHoldMod[1], 2);  // absent: the default pair
  EXPECT_EQ(keys.vectorVspeedScaled, 15);
}

TEST_F(SettingsRecordTest, DragSlopClampIsReadFromTheTopLevel) {
  const std::pair<int64_t, uint16_t> cases[] = {
      {0, 2}, {1, 2}, {2, 2}, {3, 3}, {15, 15}, {16, 15}, {-1, 15}, {70000, 15}, {65539, 3}};
  for (auto [stored, expected] : cases) {
    settings.write("dragSlop", PlistValue(stored));
    EXPECT_EQ(settings.start().dragSlop, expected) << stored;
  }
  settings.write("hoverActiveOnly", PlistValue(7));
  EXPECT_EQ(settings.start().hoverActiveOnly, 1);
}

TEST_F(SettingsRecordTest, OlderShowHandKeyNeverDecides) {
  EXPECT_EQ(fillWith(numbers({{"grabShowHandForKeyTrigger", 0}})).grabShowHand, 1);
  EXPECT_EQ(fillWith(numbers({{"grabShowHandForKeyTrigger", 1}, {"grabShowHand", 0}})).grabShowHand,
            0);
}

TEST_F(SettingsRecordTest, ForcedOffRulesHoldWhateverTheKeysSay) {
  PlistDict on = numbers({{"wheelOn", 1},
                          {"padOn", 1},
                          {"hoverOn", 1},
                          {"autoScrollOn", 1},
                          {"grabOn", 1},
                          {"keysOn", 1},
                          {"vectorOn", 1}});
  state_setAXdisabled(true);
  settings.writeAppList({element({}, on)});
  bgprefs().readPrefs();
  const PrefsRecord& r = *prefs_bgprefs();
  EXPECT_EQ(r.hoverOn, 0);
  EXPECT_EQ(r.autoScrollOn, 0);
  EXPECT_EQ(r.wheel.wheelOn + r.pad.padOn + r.grabOn + r.keysOn + r.vectorOn, 5);

  state_setAXdisabled(false);
  VAstate_statics().sForceOff = true;
  bgprefs().readPrefs();
  EXPECT_EQ(
      r.wheel.wheelOn + r.pad.padOn + r.grabOn + r.keysOn + r.vectorOn + r.hoverOn + r.autoScrollOn,
      0);
}

TEST_F(SettingsRecordTest, NumbersOfEveryKindAndValuesThatAreNotNumbers) {
  PlistDict mixed;
  mixed["wheelSpeed"] = PlistValue(333.9);  // truncated
  mixed["wheelReverseY"] = PlistValue(true);
  mixed["padSpeed"] = PlistValue("fast");  // not a number: the default
  mixed["hoverVmax"] = PlistValue(PlistArray{PlistValue(1)});
  mixed["grabButton"] = PlistValue(std::nan(""));
  const PrefsRecord& r = fillWith(mixed);
  EXPECT_EQ(r.wheel.wheelSpeed, 333);
  EXPECT_EQ(r.wheel.wheelReverseY, 1);
  EXPECT_EQ(r.pad.padSpeed, 200);
  EXPECT_EQ(r.hoverVmax, 50);
  EXPECT_EQ(r.grabButton, 0);
}

TEST_F(SettingsRecordTest, UnreadableElementsFallBackToElementZeroThenToDefaults) {
  PlistDict all = numbers({{"wheelSpeed", 300}});
  PlistDict reader = numbers({{"wheelSpeed", 400}});
  PlistDict arrayArchive;
  arrayArchive["data"] = PlistValue(vsession::archive(PlistValue(PlistArray{PlistValue(1)})));
  PlistDict garbage;
  garbage["data"] = PlistValue(PlistData{1, 2, 3});
  PlistArray list = {element({}, all),
                     element({}, reader),
                     PlistValue(PlistDict{}),
                     PlistValue(std::move(arrayArchive)),
                     PlistValue(std::move(garbage)),
                     PlistValue("not a dictionary")};
  auto speedOf = [&](int32_t target) {
    return getPrefsDict_settingsTarget_inAppList(target, list)["wheelSpeed"];
  };
  EXPECT_EQ(speedOf(1), PlistValue(400));
  for (int32_t target : {0, 2, 3, 4, 5, 6, -1, 1000}) EXPECT_EQ(speedOf(target), PlistValue(300));
  list[0] = PlistValue(PlistDict{});
  EXPECT_TRUE(getPrefsDict_settingsTarget_inAppList(2, list).empty());

  settings.write("appList", PlistValue("not a list"));
  EXPECT_EQ(settings.start().wheel.wheelSpeed, 200);
  EXPECT_EQ(bgprefs_statics().appList.size(), 1u);
}

TEST_F(SettingsRecordTest, DomainThatIsNotAPropertyListGivesTheDefaults) {
  vsession::writeWholeFile(settings.session().preferences().domainFile(kPrefsDomain),
                           {'n', 'o', 't', ' ', 'a', ' ', 'p', 'l', 'i', 's', 't'});
  settings.session().preferences().appSynchronize(kPrefsDomain);
  const PrefsRecord& r = settings.start();
  EXPECT_EQ(r.wheel.wheelSpeed, 200);
  EXPECT_EQ(r.dragSlop, 5);
}

// Records every write, so the order of the migration's writes can be checked.
class RecordingPreferences final : public port::Preferences {
 public:
  explicit RecordingPreferences(port::Preferences& inner) : inner_(inner) {}
  std::optional<PlistValue> copyAppValue(const std::string& k, const std::string& d) override {
    return inner_.copyAppValue(k, d);
  }
  void setAppValue(const std::string& k, const std::optional<PlistValue>& v,
                   const std::string& d) override {
    writes.push_back(k);
    inner_.setAppValue(k, v, d);
  }
  bool appSynchronize(const std::string& d) override {
    writes.push_back("sync");
    return inner_.appSynchronize(d);
  }
  std::vector<std::string> copyKeyList(const std::string& d) override {
    return inner_.copyKeyList(d);
  }
  std::vector<std::string> writes;

 private:
  port::Preferences& inner_;
};

TEST_F(SettingsRecordTest, SpeedsMigrateOnceWithTheMarkerWrittenFirst) {
  settings.erase("prefsVers");
  PlistDict beyondFloat = numbers({{"wheelSpeed", 300}, {"padSpeedX", 50}});
  beyondFloat["padSpeed"] = PlistValue(1e300);
  settings.writeAppList(
      {element({}, beyondFloat), element({{"bid", PlistValue("com.example.reader")}},
                                         numbers({{"wheelSpeedX", 100}, {"hoverOn", 0}}))});
  RecordingPreferences recorder(settings.session().preferences());
  port::platform().preferences = &recorder;
  settings.start();
  port::platform().preferences = &settings.session().preferences();
  ASSERT_GE(recorder.writes.size(), 5u) << testing::PrintToString(recorder.writes);
  EXPECT_EQ(std::vector<std::string>(recorder.writes.begin() + 1, recorder.writes.begin() + 5),
            (std::vector<std::string>{"prefsVers", "sync", "appList", "sync"}));

  auto migrated = [&](size_t index) {
    return getPrefsDict_settingsTarget_inAppList(static_cast<int32_t>(index),
                                                 *settings.stored("appList")->array());
  };
  // (sqrt((300 - 100) / 100 * 2.28) + 1) * 100 = 313.5; speedFromPrefsVal(313) is about 3.
  EXPECT_EQ(migrated(0)["wheelSpeed"], PlistValue(313));
  EXPECT_EQ(migrated(0)["padSpeedX"], PlistValue(0));  // below 100: no square root
  // Far beyond 32 bits, the conversion gives the most negative integer: low 16 bits 0.
  EXPECT_EQ(migrated(0)["padSpeed"], PlistValue(0));
  EXPECT_EQ(migrated(1)["wheelSpeedX"], PlistValue(100));
  EXPECT_EQ(migrated(1)["hoverOn"], PlistValue(0));
  EXPECT_NEAR(speedFromPrefsVal(313), 3.0, 0.02);  // within one step of the new scale
  EXPECT_EQ(prefs_bgprefs()->wheel.wheelSpeed, 313);

  settings.start();  // the next launch: already migrated
  EXPECT_EQ(migrated(0)["wheelSpeed"], PlistValue(313));
}

}  // namespace
