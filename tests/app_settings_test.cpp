// Settings per application: the switch to the application under the cursor and its cache,
// matching by identifier and by creator, the fixed rules, the helpers and the getters.
#include <gtest/gtest.h>

#include <filesystem>

#include "agent_session.h"
#include "settings_session.h"
#include "waitingCalls.h"

namespace {

using namespace testing_support;

constexpr uint32_t kCreatorABCD = 0x41424344;

vsession::SessionConfig threeApps() {
  vsession::SessionConfig config;
  auto add = [&](int32_t pid, std::optional<std::string> bid, std::string name, uint32_t creator) {
    vsession::VirtualApp app;
    app.pid = pid;
    app.bundleIdentifier = std::move(bid);
    app.name = name;
    app.processName = name;
    app.creator = creator;
    config.apps.push_back(app);
  };
  add(501, "com.example.reader", "Reader", 0);
  add(502, "com.example.editor", "Editor", kCreatorABCD);
  add(503, std::nullopt, "legacy", 0);
  return config;
}

class AppSettingsTest : public ::testing::Test {
 protected:
  AppSettingsTest() : settings(threeApps()) { settings.write("prefsVers", PlistValue(1)); }

  int32_t targetAfterSwitchTo(int32_t pid) {
    prefs_switchToPrefsForPid(pid);
    return bgprefs_statics().sCurSettingsTarget;
  }

  SettingsSession settings;
};

TEST_F(AppSettingsTest, SwitchesToTheApplicationsElementAndCachesThePid) {
  settings.writeAppList(
      {element({}, numbers({{"wheelSpeed", 300}})),
       element({{"bid", PlistValue("com.example.reader")}}, numbers({{"wheelSpeed", 500}}))});
  PrefsRecord& r = settings.start();
  EXPECT_FALSE(prefs_singlePrefsOrAllVisibleUseSame());
  EXPECT_EQ(targetAfterSwitchTo(501), 1);
  EXPECT_EQ(r.wheel.wheelSpeed, 500);
  EXPECT_EQ(*state_currentAppBid(), "com.example.reader");

  r.wheel.wheelSpeed = 1;  // a refill would put it back: none comes for the same pid, or pid 0
  prefs_switchToPrefsForPid(501);
  prefs_switchToPrefsForPid(0);
  EXPECT_EQ(r.wheel.wheelSpeed, 1);
  EXPECT_EQ(targetAfterSwitchTo(502), 0);
  EXPECT_EQ(r.wheel.wheelSpeed, 300);

  // After a reread the next switch runs even for the same pid.
  bgprefs().readPrefs();
  r.wheel.wheelSpeed = 1;
  EXPECT_EQ(targetAfterSwitchTo(502), 0);
  EXPECT_EQ(r.wheel.wheelSpeed, 300);
}

TEST_F(AppSettingsTest, UnknownPidIsRememberedAndLeavesTheRecordAlone) {
  settings.writeAppList(
      {element({}, numbers({})),
       element({{"bid", PlistValue("com.example.reader")}}, numbers({{"wheelSpeed", 500}}))});
  PrefsRecord& r = settings.start();
  r.wheel.wheelSpeed = 7;
  // With a reread pending even pid 0 is looked up; not found, it clears the pending flag.
  prefs_switchToPrefsForPid(0);
  EXPECT_EQ(r.wheel.wheelSpeed, 7);
  EXPECT_FALSE(bgprefs_statics().sPrefsNeedUpdateFromApplist);
  prefs_switchToPrefsForPid(999);
  EXPECT_EQ(bgprefs_statics().sLastPidSwitchedPrefsTo, 999);
  EXPECT_EQ(r.wheel.wheelSpeed, 7);
}

TEST_F(AppSettingsTest, OneElementServesAllOnceTheSwitchAfterAReadIsDone) {
  settings.writeAppList({element({}, numbers({}))});
  settings.start();
  EXPECT_FALSE(prefs_singlePrefsOrAllVisibleUseSame());  // the read's refill is still pending
  EXPECT_EQ(targetAfterSwitchTo(501), 0);
  EXPECT_TRUE(prefs_singlePrefsOrAllVisibleUseSame());
  bgprefs().readPrefs();
  EXPECT_FALSE(prefs_singlePrefsOrAllVisibleUseSame());
}

TEST_F(AppSettingsTest, MatchesByIdentifierThenByCreatorFirstElementWinning) {
  // The pane stores a number; whatever kind it is, it is read as an unsigned long.
  PlistDict byCreator{{"creator", PlistValue(static_cast<double>(kCreatorABCD))}};
  settings.writeAppList({element({}, numbers({})),
                         element(byCreator, numbers({{"wheelSpeed", 410}})),
                         element({{"bid", PlistValue("com.example.reader")}}, numbers({})),
                         element({{"bid", PlistValue("com.example.reader")}}, numbers({})),
                         element({{"bid", PlistValue("legacy")}}, numbers({}))});
  settings.start();
  EXPECT_EQ(targetAfterSwitchTo(502), 1);  // no bid in the element: its creator matches
  EXPECT_EQ(prefs_bgprefs()->wheel.wheelSpeed, 410);
  EXPECT_EQ(targetAfterSwitchTo(501), 2);  // the lower of two equal identifiers
  EXPECT_EQ(targetAfterSwitchTo(503), 4);  // no bundle identifier: its process name
}

TEST_F(AppSettingsTest, ElementWithNeitherIdentifierNorCreatorCatchesCreatorlessApps) {
  settings.writeAppList({element({}, numbers({})), element({}, numbers({{"wheelSpeed", 250}})),
                         element({{"bid", PlistValue("com.example.reader")}}, numbers({}))});
  settings.start();
  EXPECT_EQ(targetAfterSwitchTo(501), 1);  // it stands before Reader's own element
  EXPECT_EQ(targetAfterSwitchTo(502), 0);  // Editor has a creator
}

TEST_F(AppSettingsTest, DescriptionOfARunningApplication) {
  port::RunningApplication reader{501, "com.example.reader", "Reader", "/Applications/Reader.app",
                                  "/Applications/Reader.app/Contents/MacOS/Reader"};
  auto d = myDictForNSRunningApp(reader);
  ASSERT_TRUE(d);
  EXPECT_EQ((*d)["bid"], PlistValue("com.example.reader"));
  EXPECT_EQ((*d)["hasBid"], PlistValue(true));
  EXPECT_EQ((*d)["creator"], PlistValue(0));
  EXPECT_EQ((*d)["pid"], PlistValue(501));
  EXPECT_EQ((*d)["path"], PlistValue("/Applications/Reader.app"));
  EXPECT_EQ((*d)["name"], PlistValue("Reader"));

  port::RunningApplication editor{502, "", "Editor", std::nullopt, "/usr/local/bin/editor"};
  d = myDictForNSRunningApp(editor);
  ASSERT_TRUE(d);
  EXPECT_EQ((*d)["bid"], PlistValue("Editor"));  // empty identifier: the process name
  EXPECT_EQ((*d)["hasBid"], PlistValue(true));
  EXPECT_EQ((*d)["creator"], PlistValue(int64_t{kCreatorABCD}));
  EXPECT_EQ((*d)["path"], PlistValue("/usr/local/bin/editor"));

  settings.session().world().apps[2].processName.clear();
  port::RunningApplication nameless{503, std::nullopt, "legacy", std::nullopt, std::nullopt};
  EXPECT_EQ((*myDictForNSRunningApp(nameless))["bid"], PlistValue(" "));
  EXPECT_EQ((*myDictForNSRunningApp(nameless))["hasBid"], PlistValue(false));

  EXPECT_FALSE(myDictForNSRunningApp({-1, "x", "X", std::nullopt, std::nullopt}));
  EXPECT_FALSE(myDictForNSRunningApp({777, "x", "X", std::nullopt, std::nullopt}));  // no process
  EXPECT_FALSE(myDictForNSRunningApp({501, "x", std::nullopt, std::nullopt, std::nullopt}));

  // Type other than 'APPL', or the creator '****', means no creator.
  settings.session().world().apps[1].creator = 0x2A2A2A2A;
  EXPECT_EQ((*myDictForNSRunningApp(editor))["creator"], PlistValue(0));
  settings.session().world().apps[1].creator = kCreatorABCD;
  settings.session().world().apps[1].fileType = 0x4150504C + 1;
  EXPECT_EQ((*myDictForNSRunningApp(editor))["creator"], PlistValue(0));
}

TEST_F(AppSettingsTest, FixedRulesForSublimeTheDockAndSafari) {
  settings.writeAppList(
      {element({}, numbers({})), element({{"bid", PlistValue("com.apple.dock")}}, numbers({}))});
  PrefsRecord& r = settings.start();
  IRect window{900, 100, 100, 1000};
  auto apply = [&](const char* bid, double y) {
    bgprefs().readPrefs();
    std::string id = bid;
    prefs_setSpecialBehaviorFor_appBid_wRectPtr_cursor(&id, &window, {500, y});
  };
  prefs_setSpecialBehaviorFor_appBid_wRectPtr_cursor(nullptr, &window, {500, 500});
  EXPECT_EQ(r.grabEatMDown, 0);
  apply("com.sublimetext.3", 500);
  EXPECT_EQ(r.grabEatMDown, 1);

  apply("com.apple.dock", 500);
  EXPECT_EQ(r.wheel.wheelOn + r.pad.padOn, 0);
  state_setCursorOverDockGrid(true);
  apply("com.apple.dock", 500);
  EXPECT_EQ(r.wheel.wheelOn + r.pad.padOn, 2);
  state_setCursorOverDockGrid(false);
  bgprefs_statics().sCurSettingsTarget = 1;  // the Dock's own entry overrides the rule
  apply("com.apple.dock", 500);
  EXPECT_EQ(r.wheel.wheelOn + r.pad.padOn, 2);
  bgprefs_statics().sCurSettingsTarget = 0;

  apply("com.apple.Safari", 838);
  EXPECT_EQ(r.wheel.wheelActiveHere + r.pad.padActiveHere, 2);
  apply("com.apple.Safari", 839);
  EXPECT_EQ(r.wheel.wheelActiveHere + r.pad.padActiveHere, 0);
  bgprefs().readPrefs();  // the next fill undoes every rule
  EXPECT_EQ(r.wheel.wheelActiveHere + r.pad.padActiveHere + r.wheel.wheelOn + r.pad.padOn, 4);
  EXPECT_EQ(r.grabEatMDown, 0);
}

TEST_F(AppSettingsTest, SpeedCurveModifierMasksAndSystemVersion) {
  EXPECT_NEAR(speedFromPrefsVal(0), 1.4386, 1e-4);
  EXPECT_NEAR(speedFromPrefsVal(200), 1.4386, 1e-4);
  EXPECT_NEAR(speedFromPrefsVal(300), 2.754, 1e-3);
  EXPECT_NEAR(speedFromPrefsVal(500), 8.017, 1e-3);
  EXPECT_EQ(speedFromPrefsVal(700), 16.0f);
  EXPECT_EQ(speedFromPrefsVal(1000), 36.0f);
  const uint32_t masks[5] = {0x100000, 0x20000, 0x40000, 0x80000, 0x800000};
  for (uint32_t i = 0; i < 5; ++i) {
    EXPECT_EQ(index2key(i), masks[i]);
    EXPECT_EQ(key2index(masks[i]), i);
  }
  EXPECT_EQ(index2key(5), 0u);
  EXPECT_EQ(key2index(0x10000), 0u);  // unknown masks share Command's index
  EXPECT_EQ(sysvers(), 0x101507u);
  EXPECT_EQ(currentV4Bundle(), settings.session().platform().application->bundlePath());
  std::filesystem::path folder = settings.session().home() / "Library" / "Preferences";
  std::filesystem::remove_all(folder);
  EXPECT_FALSE(prefsFolderPath());  // found, never created
  settings.write("x", PlistValue(1));
  EXPECT_EQ(prefsFolderPath(), (settings.session().home() / "Library" / "Preferences").string());
  // Every part in two BCD digits (the last test: this session replaces the fixture's).
  vsession::SessionConfig bigSur = threeApps();
  bigSur.systemVersion = {11, 2, 3};
  SettingsSession other(bigSur);
  other.start();
  EXPECT_EQ(sysvers(), 0x110203u);
}

TEST_F(AppSettingsTest, GettersReadTheBlockOfTheCurrentDevice) {
  settings.writeAppList({element({}, numbers({{"wheelSpeedOn", 1},
                                              {"wheelSpeed", 300},
                                              {"wheelSpeedSlower", 1},
                                              {"wheelSpeedXOn", 1},
                                              {"wheelSpeedX", 1000},
                                              {"wheelSpeedSlowerX", 1},
                                              {"padSpeedOn", 1},
                                              {"padSpeed", 300},
                                              {"padSpeedXOn", 1},
                                              {"padSpeedX", 1000},
                                              {"padDisWShift", 1},
                                              {"padDisWCapsLock", 1},
                                              {"wheelNudgeCursorToStop", 1},
                                              {"grabModSpeed", 4},
                                              {"grabModSpeedSlower", 1},
                                              {"vectorDisWOption", 1},
                                              {"wheelModSpeed", 6},
                                              {"padModSpeedOn", 0}}))});
  settings.start();
  EXPECT_NEAR(prefs_wheelSpeedMultiplier(), 1 / 2.754, 1e-3);
  EXPECT_NEAR(prefs_wheelSpeedMultiplierX(), 0.0, 1e-9);  // slower and above 35: off
  EXPECT_EQ(prefs_wheelSpeedMultiplierWithModifier(), 6.0f);
  EXPECT_EQ(prefs_wheelDisablingMods(), 0u);
  EXPECT_TRUE(prefs_nudgeCursorToStopNow());
  EXPECT_NEAR(prefs_wheelCoastFactor(), 0.96, 1e-6);
  EXPECT_EQ(prefs_wheelModifier(), 0x80000u);

  state_setIsMultiTouch(true);
  EXPECT_NEAR(prefs_wheelSpeedMultiplier(), 2.754, 1e-3);
  EXPECT_EQ(prefs_wheelSpeedMultiplierX(), 36.0f);
  EXPECT_EQ(prefs_wheelSpeedMultiplierWithModifier(), 1.0f);
  EXPECT_EQ(prefs_wheelDisablingMods(), 0x30000u);
  EXPECT_FALSE(prefs_nudgeCursorToStopNow());
  EXPECT_FALSE(prefs_wheelCoastVOn());

  EXPECT_EQ(prefs_grabModSpeed(), 0.25f);
  PrefsRecord& r = *prefs_bgprefs();
  r.grabModSpeed = 0;
  EXPECT_EQ(prefs_grabModSpeed(), 1.0f);
  // Slower sideways: the reciprocal up to a speed of 35, beyond it no sideways scrolling.
  r.pad.padSpeedSlowerX = 1;
  r.pad.padSpeedX = 990;
  EXPECT_EQ(prefs_wheelSpeedMultiplierX(), 1.0f / 35);
  EXPECT_EQ(prefs_vectorDisablingMods(), 0x80000u);
  EXPECT_FALSE(prefs_wheelBounceOn());
  state_setAXdisabled(true);
  EXPECT_FALSE(prefs_hoverEngineOn());
}

TEST(AppSettingsAgentTest, FillWithHoverAndAutoscrollOffStopsTheHoverTimer) {
  AgentSession agent;
  auto stops = [] { return waitingCallCount(Waiting::stopHoverTimer); };
  bgUpdatePrefsFromAppList();
  agent.runUntil(1);
  EXPECT_EQ(stops(), 0u);
  for (const char* on : {"hoverOn", "autoScrollOn", ""}) {
    PlistDict off = numbers({{"hoverOn", 0}, {"autoScrollOn", 0}});
    if (*on) off[on] = PlistValue(1);
    agent.session().preferences().setAppValue("appList", PlistValue(PlistArray{element({}, off)}),
                                              kPrefsDomain);
    bgprefs().readPrefs();
    agent.runUntil(agent.session().elapsed() + 1);
    EXPECT_EQ(stops(), *on ? 0u : 1u) << on;  // VA event 11, on the event thread
  }
}

}  // namespace
