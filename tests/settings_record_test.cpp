// Filling the settings record from the preferences domain: defaults, conversions and clamps
// at their edges, the forced-off rules, bad values, the element fallbacks and the one-time
// speed migration.
#include <gtest/gtest.h>

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
  settings.erase("prefsVers");
  const PrefsRecord& r = settings.start();
  // The list the pane has not written yet: one element holding no settings.
  EXPECT_EQ(bgprefs_statics().appList, PlistArray{element({}, {})});
  // Wheel and trackpad blocks differ only where their defaults do.
  EXPECT_EQ(differing(r,
                      "hoverActiveOnly=0 dragSlop=5 wheelOn=1 padOn=1 wheelActiveHere=1 "
                      "wheelSpeed=200 padSpeedX=200 wheelModSpeedOn=1 wheelModSpeed=4 wheelMod=3 "
                      "padReverseMod=2 wheelCoastVOn=1 wheelCoastHOn=1 padCoastVOn=0 "
                      "padCoastHOn=0 wheelCoastFactor=960 padCoastFactor=960 "
                      "wheelNudgeCursorToStop=0 padLiftFingersToCoast=1 wheelSingleTickSpeed=200 "
                      "hoverOn=1 hoverHOn=0 hoverVpercent=10 hoverVmax=50 hoverVspeed=25 "
                      "autoScrollSpeed=25 autoScrollUpMod=2 autoScrollHotKeyMods=0x800000 "
                      "grabShowHand=1 grabButton=2 grabModSpeed=8 grabCoastFactor=980 "
                      "keysSpeed=128 keysHotKeyRightMods=0x800000 vectorOn=0 "
                      "vectorMaxRadius=150 vectorVspeed=300 vectorVspeedScaled=15 "
                      "keysHoldMod0=2 keysHoldMod1=2 keysHoldMod2=0 keysHoldMod3=0 "
                      "keysHoldMod4=1 keysPressMod0=3 keysPressMod1=0 keysPressMod2=2 "
                      "keysPressMod3=3 keysPressMod4=3"),
            "");
  // The migration marker is written even when there is nothing to migrate.
  EXPECT_EQ(settings.stored("prefsVers"), PlistValue(1));
}

TEST_F(SettingsRecordTest, ConversionsClampsAndValuesThatAreNotNumbers) {
  // Each key is read at its field's width before any clamp: a wheel speed of 70000 is 4464,
  // clamped to 1000, and flags read 16 bits. The vector speed is an integer read, all 32 bits
  // counting: up to 99, negative values too, it is the old scale modulo 256 (-1 is 255 / 12 +
  // 100, -256 is 0 / 12 + 100); above 700 the default.
  const struct {
    const char* key;
    std::vector<std::pair<int64_t, int64_t>> edges;  // stored, then held
  } cases[] = {
      {"wheelCoastFactor", {{896, 800}, {897, 897}}},
      {"padCoastFactor", {{10, 10}}},
      {"wheelSpeed", {{5000, 1000}, {70000, 1000}, {65536 + 300, 300}}},
      {"padSpeedX", {{1001, 1000}}},
      {"wheelSingleTickSpeed", {{1000, 1000}}},
      {"autoScrollSpeed", {{300, 44}, {48, 48}, {49, 49}, {60, 49}}},
      {"vectorVspeed", {{60, 5}, {99, 8}, {100, 1}, {700, 600}, {701, 300}}},
      {"vectorVspeed", {{-1, 21}, {-256, 1}, {65536 + 50, 300}}},
      {"hoverMod", {{-1, 65535}}},
      {"wheelOn", {{256, 1}, {65536, 0}, {-1, 1}}},
      {"grabHotKeyChar", {{(int64_t{1} << 33) + 5, 5}}},
      {"grabHotKeyMods", {{0x100000, 0x100000}}},
  };
  for (const auto& c : cases) {
    for (auto [stored, held] : c.edges) {
      const PrefsRecord& r = fillWith({{c.key, stored}});
      EXPECT_EQ(differing(r, std::string(c.key) + "=" + std::to_string(held)), "")
          << "stored " << stored;
    }
  }
  // A pair key packs hold in the low byte and press in the high one; an absent one keeps
  // its default pair.
  EXPECT_EQ(differing(fillWith(numbers("keysUp=0x0301 keysGrabTrigger=0x0400")),
                      "keysHoldMod0=1 keysPressMod0=3 keysHoldMod4=0 keysPressMod4=4 "
                      "keysHoldMod1=2 keysPressMod1=0"),
            "");
  // Doubles truncate and booleans count; anything else takes the default.
  const PrefsRecord& r = fillWith({{"wheelSpeed", 333.9},
                                   {"wheelReverseY", true},
                                   {"padSpeed", "fast"},
                                   {"hoverVmax", PlistArray{1}},
                                   {"grabButton", std::nan("")}});
  EXPECT_EQ(differing(r, "wheelSpeed=333 wheelReverseY=1 padSpeed=200 hoverVmax=50 grabButton=0"),
            "");
  // The drag slop is read from the top level, as is hoverActiveOnly.
  const std::pair<int64_t, uint16_t> slops[] = {{0, 2},      {1, 2},    {2, 2},    {3, 3},
                                                {15, 15},    {16, 15},  {259, 15}, {-1, 15},
                                                {70000, 15}, {65539, 3}};
  for (auto [stored, expected] : slops) {
    settings.write("dragSlop", PlistValue(stored));
    EXPECT_EQ(settings.start().dragSlop, expected) << stored;
  }
  settings.write("hoverActiveOnly", PlistValue(7));
  EXPECT_EQ(settings.start().hoverActiveOnly, 1);
  // The older show-hand key is read but never decides.
  EXPECT_EQ(fillWith(numbers("grabShowHandForKeyTrigger=0")).grabShowHand, 1);
  EXPECT_EQ(fillWith(numbers("grabShowHandForKeyTrigger=1 grabShowHand=0")).grabShowHand, 0);
}

TEST_F(SettingsRecordTest, ForcedOffRulesHoldWhateverTheKeysSay) {
  state_setAXdisabled(true);
  settings.writeAppList({element(
      {}, numbers("wheelOn=1 padOn=1 hoverOn=1 autoScrollOn=1 grabOn=1 keysOn=1 vectorOn=1"))});
  bgprefs().readPrefs();
  const PrefsRecord& r = *prefs_bgprefs();
  EXPECT_EQ(differing(r, "hoverOn=0 autoScrollOn=0 wheelOn=1 padOn=1 grabOn=1 keysOn=1 vectorOn=1"),
            "");

  state_setAXdisabled(false);
  VAstate_statics().sForceOff = true;
  bgprefs().readPrefs();
  EXPECT_EQ(differing(r, "hoverOn=0 autoScrollOn=0 wheelOn=0 padOn=0 grabOn=0 keysOn=0 vectorOn=0"),
            "");
}

TEST_F(SettingsRecordTest, UnreadableElementsFallBackToElementZeroThenToDefaults) {
  PlistArray list = {element({}, numbers("wheelSpeed=300")),
                     element({}, numbers("wheelSpeed=400")),
                     PlistDict{},
                     PlistDict{{"data", vsession::archive(PlistArray{1})}},
                     PlistDict{{"data", PlistData{1, 2, 3}}},
                     "not a dictionary"};
  auto speedOf = [&](int32_t target) {
    return getPrefsDict_settingsTarget_inAppList(target, list)["wheelSpeed"];
  };
  EXPECT_EQ(speedOf(1), PlistValue(400));
  for (int32_t target : {0, 2, 3, 4, 5, 6, -1, 1000}) {
    EXPECT_EQ(speedOf(target), PlistValue(300)) << target;
  }
  list[0] = PlistDict{};
  EXPECT_TRUE(getPrefsDict_settingsTarget_inAppList(2, list).empty());

  settings.write("appList", PlistValue("not a list"));
  EXPECT_EQ(settings.start().wheel.wheelSpeed, 200);
  EXPECT_EQ(bgprefs_statics().appList.size(), 1u);
}

// Records every write, so the order of the migration's writes can be checked.
struct RecordingPreferences final : port::Preferences {
  using Name = const std::string&;
  explicit RecordingPreferences(port::Preferences& inner) : inner(inner) {}
  std::optional<PlistValue> copyAppValue(Name k, Name d) override {
    return inner.copyAppValue(k, d);
  }
  std::vector<std::string> copyKeyList(Name d) override { return inner.copyKeyList(d); }
  void setAppValue(Name k, const std::optional<PlistValue>& v, Name d) override {
    writes.push_back(k);
    inner.setAppValue(k, v, d);
  }
  bool appSynchronize(Name d) override {
    writes.push_back("sync");
    return inner.appSynchronize(d);
  }
  port::Preferences& inner;
  std::vector<std::string> writes;
};

TEST_F(SettingsRecordTest, SpeedsMigrateOnceWithTheMarkerWrittenFirst) {
  settings.erase("prefsVers");
  PlistDict beyondFloat = numbers("wheelSpeed=300 padSpeedX=50");
  beyondFloat["padSpeed"] = PlistValue(1e300);
  settings.writeAppList(
      {element({}, beyondFloat),
       element({{"bid", PlistValue("com.example.reader")}}, numbers("wheelSpeedX=100 hoverOn=0"))});
  RecordingPreferences recorder(settings.session().preferences());
  port::platform().preferences = &recorder;
  settings.start();
  port::platform().preferences = &settings.session().preferences();
  // A crash during the conversion must not repeat it: the marker is stored before the list.
  ASSERT_GE(recorder.writes.size(), 5u) << testing::PrintToString(recorder.writes);
  EXPECT_EQ(std::vector<std::string>(recorder.writes.begin() + 1, recorder.writes.begin() + 5),
            (std::vector<std::string>{"prefsVers", "sync", "appList", "sync"}));

  auto migrated = [&](size_t index) {
    return getPrefsDict_settingsTarget_inAppList(static_cast<int32_t>(index),
                                                 *settings.stored("appList")->array());
  };
  // (sqrt((300 - 100) / 100 * 2.28) + 1) * 100 = 313.5, and speedFromPrefsVal(313) is about
  // 3, the old multiplier. Below 100 there is no square root: 0. Far beyond 32 bits the
  // result is the largest 32-bit number, whose low 16 bits fill as the fastest speed. Keys
  // that are not speeds stay as they were.
  EXPECT_EQ(migrated(0)["wheelSpeed"], PlistValue(313));
  EXPECT_EQ(migrated(0)["padSpeedX"], PlistValue(0));
  EXPECT_EQ(migrated(0)["padSpeed"], PlistValue(0xFFFF));
  EXPECT_EQ(prefs_bgprefs()->pad.padSpeed, 1000);
  EXPECT_EQ(migrated(1)["wheelSpeedX"], PlistValue(100));
  EXPECT_EQ(migrated(1)["hoverOn"], PlistValue(0));
  EXPECT_NEAR(speedFromPrefsVal(313), 3.0, 0.02);
  EXPECT_EQ(prefs_bgprefs()->wheel.wheelSpeed, 313);

  settings.start();  // the next launch: already migrated
  EXPECT_EQ(migrated(0)["wheelSpeed"], PlistValue(313));
}

}  // namespace
