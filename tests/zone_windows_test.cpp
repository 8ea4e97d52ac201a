// The zone windows: their size and place from the zones and offsets, fading, nothing moved
// while the user drags one, and a dragged zone remembered for the application.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "VAcursor.h"
#include "VAhover.h"
#include "VAshow.h"
#include "VAstate.h"
#include "VAvector.h"
#include "agent_session.h"

namespace {

using namespace port;
using testing_support::AgentSession;

class ZoneWindowsTest : public ::testing::Test {
 protected:
  ZoneWindowsTest() { agent.runUntil(0.5); }
  void runFor(double seconds) { agent.runUntil(agent.session().elapsed() + seconds); }
  const OverlayWindow& window(const char* name) {
    return *agent.session().overlayWindows().windowNamed(name);
  }
  // A 300 px tall area (Cocoa 500 to 800) in window 101, both zones active.
  Bars bars() {
    Bars b;
    b.up.found = b.down.found = 1;
    b.up.rect = b.down.rect = IRect{800, 100, 500, 900};
    b.windowNumber = 101;
    return b;
  }

  AgentSession agent;
};

// 30 px zones at the area's edges, 15 px short of its right edge; an offset of 40 moves the
// up window 40 px down.
TEST_F(ZoneWindowsTest, TheWindowsCoverTheZonesShortOfTheBarAndFollowTheOffsets) {
  Bars b = bars();
  VAshow::showActiveZones(&b);
  EXPECT_EQ(window("zoneUp").frame.origin.y, 770);
  EXPECT_EQ(window("zoneUp").frame.size.height, 30);
  EXPECT_EQ(window("zoneUp").frame.size.width, 785);
  EXPECT_EQ(window("zoneDown").frame.origin.y, 500);
  EXPECT_TRUE(window("zoneUp").visible && window("zoneDown").visible);
  EXPECT_EQ(window("zoneUp").orderedAbove, 101);
  b.upOfst = 40;
  VAshow::showActiveZones(&b);
  EXPECT_EQ(window("zoneUp").frame.origin.y + window("zoneUp").frame.size.height, 760);
  b.deactivateHoverZones = 1;
  VAshow::showActiveZones(&b);
  EXPECT_FALSE(window("zoneUp").visible || window("zoneDown").visible);
}

// Every window of the agent's shows on every Space and beside a full-screen application.
TEST_F(ZoneWindowsTest, EveryWindowOfTheAgentShowsOnEverySpace) {
  Bars b = bars();
  VAshow::showActiveZones(&b);
  cursor_setOverlayImage(agent.session().overlayWindows().openHandCursorImage());
  vectorAnchor_showAt(400, 500);
  runFor(0.1);
  const auto& windows = agent.session().overlayWindows().windows();
  ASSERT_EQ(windows.size(), 4u);  // the zones, the hand and the anchor
  for (const OverlayWindow& w : windows) {
    EXPECT_EQ(w.collectionBehavior, kAgentWindowCollectionBehavior) << w.identifier;
  }
}

// Fading the up window alone lowers only its alpha; the last step restores both alphas,
// hides both windows and makes them take clicks again.
TEST_F(ZoneWindowsTest, AFadeLowersOneWindowThenHidesBoth) {
  Bars b = bars();
  VAshow::showActiveZones(&b);
  VAshow::fadeZones(kDirectionUp);
  EXPECT_TRUE(window("zoneUp").ignoresMouseEvents);
  runFor(0.2);
  EXPECT_LT(window("zoneUp").alpha, 0.3);
  EXPECT_EQ(window("zoneDown").alpha, 0.3);
  EXPECT_TRUE(window("zoneDown").visible);
  runFor(0.5);
  EXPECT_EQ(window("zoneUp").alpha, 0.3);
  EXPECT_FALSE(window("zoneUp").visible || window("zoneDown").visible);
  EXPECT_FALSE(window("zoneUp").ignoresMouseEvents);
}

// A fade of neither window (autoscroll where no bar is up) ends at once: the windows hide
// and take clicks again, and no step keeps running.
TEST_F(ZoneWindowsTest, AFadeOfNeitherWindowEndsAtOnce) {
  Bars b = bars();
  VAshow::showActiveZones(&b);
  VAshow::fadeZones(0);
  EXPECT_FALSE(window("zoneUp").visible || window("zoneUp").ignoresMouseEvents);
  int steps = 0;
  vsession::Scheduler& scheduler = agent.session().scheduler();
  scheduler.setWakeObserver(
      [&](vsession::LaneId, const char* what) { steps += std::string(what) == "dispatch"; });
  runFor(1);
  EXPECT_LT(steps, 5);  // a run-timer pass or two, not 20 fade steps
}

// While a zone is dragged, neither a pass nor a fade orders a window in or out.
TEST_F(ZoneWindowsTest, NothingIsOrderedWhileAZoneIsDragged) {
  Bars b = bars();
  VAshow::showActiveZones(&b);
  state_setDraggingHoverZone(true);
  b.deactivateHoverZones = 1;
  VAshow::showActiveZones(&b);
  VAshow::fadeZones(kDirectionUp | kDirectionDown);
  runFor(1);
  EXPECT_TRUE(window("zoneUp").visible && window("zoneDown").visible);
  EXPECT_EQ(window("zoneUp").alpha, 0.3);
}

// The user drags the up zone 40 px down with the mouse: the press and the drags go to the
// zone's window, not the application; the next run of the agent, with the same home, puts
// the zone there again.
TEST(ZoneDrag, ADraggedZoneIsRememberedInTheNextRun) {
  std::filesystem::path home = std::filesystem::path(::testing::TempDir()) / "varsel-zone-home";
  std::filesystem::remove_all(home);
  std::filesystem::create_directories(home / "Library/Preferences");
  vsession::SessionConfig config = testing_support::readerPageConfig();
  config.home = home;
  config.cursor = {400, 160};  // in the up zone (Quartz 140 to 190)
  auto upWindowTop = [](AgentSession& agent) {
    const OverlayWindow* up = agent.session().overlayWindows().windowNamed("zoneUp");
    return up ? up->frame.origin.y + up->frame.size.height : -1;
  };
  {
    AgentSession agent(config, false);
    agent_resetModules();
    agent.startAgent();
    prefs_bgprefs()->hoverOn = 1;
    agent.runUntil(2);
    EXPECT_EQ(upWindowTop(agent), 760);
    // The zones show while the hover modifier is held near them; until the key triggers
    // exist, the pass that would show them is made here.
    Bars shown = bgDelegate_statics().bars;
    shown.deactivateHoverZones = 0;
    VAshow::showActiveZones(&shown);
    agent.input().button(0, true);
    for (int i = 1; i <= 4; ++i) agent.input().moveTo({400, 160.0 + 10 * i});
    agent.input().button(0, false);
    agent.runUntil(3);
    EXPECT_EQ(VAhover_statics().sUpOfst, 40);
    for (const auto& line : agent.linesOfKind("deliver")) EXPECT_EQ(line["pid"], 400);
    EXPECT_TRUE(std::filesystem::exists(
        home / "Library/Preferences/com.tarnwick.varsel4/com.example.reader"));
  }
  AgentSession next(config, false);
  next.startAgent();
  prefs_bgprefs()->hoverOn = 1;
  next.runUntil(1);
  next.input().moveTo({402, 160});  // the next pass loads the offsets for the zones it found
  next.runUntil(2);
  EXPECT_EQ(upWindowTop(next), 720);
  std::filesystem::remove_all(home);
}

}  // namespace
