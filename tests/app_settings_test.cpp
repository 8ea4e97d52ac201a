// Settings per application: the switch to the application under the cursor and its cache,
// matching by identifier and by creator, the fixed rules, the helpers and the getters.
#include <gtest/gtest.h>

#include <filesystem>
#include <tuple>

#include "VAhover.h"
#include "agent_session.h"
#include "settings_session.h"

namespace {

using namespace testing_support;

constexpr uint32_t kCreatorABCD = 0x41424344;

// Reader and Editor of the two-window session, Editor with a creator, and an application
// with no bundle identifier.
vsession::SessionConfig threeApps() {
  vsession::SessionConfig config = twoWindowConfig();
  config.apps[1].processName = "Editor";
  config.apps[1].creator = kCreatorABCD;
  config.apps.resize(3);
  config.apps[2].pid = 503;
  config.apps[2].name = config.apps[2].processName = "legacy";
  config.systemVersion = {11, 2, 3};
  return config;
}

// The element for the application with this identifier.
PlistValue forApp(const char* bid, const PlistDict& settings = {}) {
  return element({{"bid", PlistValue(bid)}}, settings);
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
  settings.writeAppList({element({}, numbers("wheelSpeed=300")),
                         forApp("com.example.reader", numbers("wheelSpeed=500"))});
  PrefsRecord& r = settings.start();
  EXPECT_FALSE(prefs_singlePrefsOrAllVisibleUseSame());
  EXPECT_EQ(targetAfterSwitchTo(501), 1);
  EXPECT_EQ(r.wheel.wheelSpeed, 500);
  EXPECT_EQ(*state_currentAppBid(), "com.example.reader");

  // A refill would undo this: none comes for the same pid, for pid 0, which is not remembered
  // either, or for a pid with no process, which is remembered all the same.
  r.wheel.wheelSpeed = 1;
  for (int32_t pid : {501, 0, 501, 999}) {
    prefs_switchToPrefsForPid(pid);
    EXPECT_EQ(r.wheel.wheelSpeed, 1) << pid;
  }
  EXPECT_EQ(bgprefs_statics().sLastPidSwitchedPrefsTo, 999);
  EXPECT_EQ(targetAfterSwitchTo(502), 0);
  EXPECT_EQ(r.wheel.wheelSpeed, 300);

  // After a reread the next switch runs even for the same pid.
  bgprefs().readPrefs();
  r.wheel.wheelSpeed = 1;
  EXPECT_EQ(targetAfterSwitchTo(502), 0);
  EXPECT_EQ(r.wheel.wheelSpeed, 300);
}

TEST_F(AppSettingsTest, OneElementServesAllOnceTheSwitchAfterAReadIsDone) {
  settings.writeAppList({element({}, {})});
  settings.start();
  EXPECT_FALSE(prefs_singlePrefsOrAllVisibleUseSame());  // the read's refill is still pending
  EXPECT_EQ(targetAfterSwitchTo(501), 0);
  EXPECT_TRUE(prefs_singlePrefsOrAllVisibleUseSame());
  bgprefs().readPrefs();
  EXPECT_FALSE(prefs_singlePrefsOrAllVisibleUseSame());
  prefs_switchToPrefsForPid(0);  // with a refill pending even pid 0 is looked up
  EXPECT_TRUE(prefs_singlePrefsOrAllVisibleUseSame());
}

TEST_F(AppSettingsTest, MatchesByIdentifierThenByCreatorFirstElementWinning) {
  // The pane stores a number; whatever kind it is, it is read as an unsigned long.
  PlistDict byCreator{{"creator", PlistValue(static_cast<double>(kCreatorABCD))}};
  settings.writeAppList({element({}, {}), element(byCreator, numbers("wheelSpeed=410")),
                         forApp("com.example.reader"), forApp("com.example.reader"),
                         forApp("legacy")});
  settings.start();
  EXPECT_EQ(targetAfterSwitchTo(502), 1);  // no bid in the element: its creator matches
  EXPECT_EQ(prefs_bgprefs()->wheel.wheelSpeed, 410);
  EXPECT_EQ(targetAfterSwitchTo(501), 2);  // the lower of two equal identifiers
  EXPECT_EQ(targetAfterSwitchTo(503), 4);  // no bundle identifier: its process name

  // An element with neither identifier nor creator catches every application without a
  // creator, even one whose own element comes later.
  settings.writeAppList({element({}, {}), element({}, {}), forApp("com.example.reader")});
  bgprefs().readPrefs();
  EXPECT_EQ(targetAfterSwitchTo(501), 1);
  EXPECT_EQ(targetAfterSwitchTo(502), 0);  // Editor has a creator
}

TEST_F(AppSettingsTest, DescriptionOfARunningApplication) {
  port::RunningApplication reader{501, "com.example.reader", "Reader", "/Applications/Reader.app",
                                  "/Applications/Reader.app/Contents/MacOS/Reader"};
  PlistDict d = myDictForNSRunningApp(reader).value();
  EXPECT_EQ(d["bid"], PlistValue("com.example.reader"));
  EXPECT_EQ(d["hasBid"], PlistValue(true));
  EXPECT_EQ(d["creator"], PlistValue(0));
  EXPECT_EQ(d["pid"], PlistValue(501));
  EXPECT_EQ(d["path"], PlistValue("/Applications/Reader.app"));
  EXPECT_EQ(d["name"], PlistValue("Reader"));

  port::RunningApplication editor{502, "", "Editor", std::nullopt, "/usr/local/bin/editor"};
  d = myDictForNSRunningApp(editor).value();
  EXPECT_EQ(d["bid"], PlistValue("Editor"));  // empty identifier: the process name
  EXPECT_EQ(d["hasBid"], PlistValue(true));
  EXPECT_EQ(d["creator"], PlistValue(int64_t{kCreatorABCD}));
  EXPECT_EQ(d["path"], PlistValue("/usr/local/bin/editor"));

  settings.session().world().apps[2].processName.clear();
  d = myDictForNSRunningApp({503, std::nullopt, "legacy", std::nullopt, std::nullopt}).value();
  EXPECT_EQ(d["bid"], PlistValue(" "));
  EXPECT_EQ(d["hasBid"], PlistValue(false));

  EXPECT_FALSE(myDictForNSRunningApp({777, "x", "X", std::nullopt, std::nullopt}));  // no process
  EXPECT_FALSE(myDictForNSRunningApp({501, "x", std::nullopt, std::nullopt, std::nullopt}));

  // Type other than 'APPL', or the creator '****', means no creator.
  settings.session().world().apps[1].creator = 0x2A2A2A2A;
  EXPECT_EQ(myDictForNSRunningApp(editor).value()["creator"], PlistValue(0));
  settings.session().world().apps[1].creator = kCreatorABCD;
  settings.session().world().apps[1].fileType = 0x4150504C + 1;
  EXPECT_EQ(myDictForNSRunningApp(editor).value()["creator"], PlistValue(0));
}

TEST_F(AppSettingsTest, FixedRulesForSublimeTheDockAndSafari) {
  settings.writeAppList({element({}, {}), forApp("com.apple.dock")});
  PrefsRecord& r = settings.start();
  IRect window{900, 100, 100, 1000};
  prefs_setSpecialBehaviorFor_appBid_wRectPtr_cursor(nullptr, &window, {500, 500});  // no rule
  // Scrolling over the Dock is left alone, except in its grid view or when the Dock has an
  // element of its own; the top 62 points of Safari's window, its toolbar and tab bar, keep
  // their own scrolling. Each case starts from a fresh fill.
  const std::tuple<const char*, double, bool, int32_t, const char*> cases[] = {
      {"com.sublimetext.3", 500, false, 0, "grabEatMDown=1"},
      {"com.apple.dock", 500, false, 0, "wheelOn=0 padOn=0 grabEatMDown=0"},
      {"com.apple.dock", 500, true, 0, "wheelOn=1 padOn=1"},
      {"com.apple.dock", 500, false, 1, "wheelOn=1 padOn=1"},
      {"com.apple.Safari", 838, false, 0, "wheelActiveHere=1 padActiveHere=1"},
      {"com.apple.Safari", 839, false, 0, "wheelActiveHere=0 padActiveHere=0"},
  };
  for (auto [bid, y, overDockGrid, target, held] : cases) {
    bgprefs_statics().sCurSettingsTarget = target;
    bgprefs().readPrefs();
    state_setCursorOverDockGrid(overDockGrid);
    std::string id = bid;
    prefs_setSpecialBehaviorFor_appBid_wRectPtr_cursor(&id, &window, {500, y});
    EXPECT_EQ(differing(r, held), "") << bid << " at " << y << ", target " << target;
  }
  bgprefs().readPrefs();  // the next fill undoes every rule
  EXPECT_EQ(differing(r, "wheelActiveHere=1 padActiveHere=1 wheelOn=1 padOn=1"), "");
}

TEST_F(AppSettingsTest, SpeedCurveModifierMasksAndSystemVersion) {
  const std::pair<int, float> curve[] = {{0, 1.4386f},  {200, 1.4386f}, {300, 2.754f},
                                         {500, 8.017f}, {700, 16},      {1000, 36}};
  for (auto [stored, speed] : curve) EXPECT_NEAR(speedFromPrefsVal(stored), speed, 1e-3) << stored;
  const uint32_t masks[5] = {0x100000, 0x20000, 0x40000, 0x80000, 0x800000};
  for (uint32_t i = 0; i < 5; ++i) {
    EXPECT_EQ(index2key(i), masks[i]);
    EXPECT_EQ(key2index(masks[i]), i);
  }
  EXPECT_EQ(index2key(5), 0u);
  EXPECT_EQ(key2index(0x10000), 0u);  // unknown masks share Command's index
  EXPECT_EQ(sysvers(), 0x110203u);    // every part in two BCD digits
  EXPECT_EQ(currentV4Bundle(), settings.session().platform().application->bundlePath());
  // The agent sees macOS paths: the home is /Users/user.
  EXPECT_EQ(prefsFolderPath(), "/Users/user/Library/Preferences");
}

TEST_F(AppSettingsTest, GettersReadTheBlockOfTheCurrentDevice) {
  settings.writeAppList({element(
      {}, numbers("wheelSpeedOn=1 wheelSpeed=300 wheelSpeedSlower=1 wheelSpeedXOn=1 "
                  "wheelSpeedX=1000 wheelSpeedSlowerX=1 padSpeedOn=1 padSpeed=300 padSpeedXOn=1 "
                  "padSpeedX=1000 padDisWShift=1 padDisWCapsLock=1 wheelNudgeCursorToStop=1 "
                  "grabModSpeed=4 grabModSpeedSlower=1 vectorDisWOption=1 wheelModSpeed=6 "
                  "padModSpeedOn=0"))});
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
  state_setAXdisabled(true);
  EXPECT_FALSE(prefs_hoverEngineOn());
}

TEST(AppSettingsAgentTest, FillWithHoverAndAutoscrollOffStopsTheHoverTimer) {
  AgentSession agent;
  // VA event 11 stops the timer, on the event thread.
  const std::pair<const char*, bool> cases[] = {{"hoverOn=1 autoScrollOn=0", false},
                                                {"hoverOn=0 autoScrollOn=1", false},
                                                {"hoverOn=0 autoScrollOn=0", true}};
  for (auto [set, stops] : cases) {
    startHoverTimer();
    agent.session().preferences().setAppValue(
        "appList", PlistValue(PlistArray{element({}, numbers(set))}), kPrefsDomain);
    bgprefs().readPrefs();
    agent.runUntil(agent.session().elapsed() + 0.01);
    EXPECT_EQ(VAhover_statics().hoverTimer == nullptr, stops) << set;
  }
}

}  // namespace
