// Hover scrolling and autoscroll: the zones' depth, the speed law, the drift that starts a
// hover scroll, the pause a click makes, and a hover scroll end to end.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "VAevent.h"
#include "VAhover.h"
#include "VAstate.h"
#include "VAutils.h"
#include "agent_session.h"
#include "platform/virtual/ui_builders.h"

namespace {

using namespace port;
using testing_support::AgentSession;

class HoverTest : public ::testing::Test {
 protected:
  HoverTest() : agent(testing_support::readerPageConfig()) {
    prefs.hoverOn = 1;
    agent.runUntil(1);
  }
  double now() { return agent.session().elapsed(); }
  void runFor(double seconds) { agent.runUntil(now() + seconds); }
  double offset() {
    auto scrolls = agent.linesOfKind("scroll");
    return scrolls.empty() ? 2000 : scrolls.back()["y"].get<double>();
  }

  AgentSession agent;
  PrefsRecord& prefs = *prefs_bgprefs();
  VAhoverStatics& hover = VAhover_statics();
};

TEST_F(HoverTest, ZonesAreATenthOfTheAreaUpToFiftyPixels) {
  for (auto [height, depth] : {std::pair{300, 30.0f}, {900, 50.0f}, {123, 12.3f}}) {
    IRect r{800, 100, 800 - height, 900};
    EXPECT_EQ(hover_edgeSizeV(&r), depth) << height;
  }
  prefs.hoverVmax = 0;
  IRect tall{1000, 0, 100, 100};
  EXPECT_EQ(hover_edgeSizeV(&tall), 90);
}

// In the upper band the speed grows from 0 at the inner edge to hoverVspeed at the outer
// edge; the lower band runs the other way; reversal flips both.
TEST_F(HoverTest, TheSpeedFollowsTheDepthIntoTheBand) {
  IRect r{760, 100, 200, 900};  // 560 tall: 50 px zones
  const float full = prefs.hoverVspeed;
  const struct {
    double y;
    bool reverse;
    float speed;
  } cases[] = {
      {760, false, full},
      {735, false, static_cast<float>(full * std::pow(0.5, (double{0.4f + 0.5f}) * 5.0))},
      {711, false, static_cast<float>(full * std::pow(0.02, double{0.4f + 0.02f} * 5.0))},
      {200, false, -full},
      {760, true, -full},
  };
  for (const auto& c : cases) {
    prefs.hoverReverseYOn = c.reverse;
    EXPECT_FLOAT_EQ(calcHoverSpeedY_pty_rect(&r, c.y), c.speed) << c.y;
  }
  // A hover scroll eases in over 1.25 s: halfway through, at sin(-pi/4) + 1 of its speed.
  prefs.hoverReverseYOn = 0;
  hover.sTimeHoverScrollStarted = utils_now() - 0.625;
  EXPECT_NEAR(calcHoverSpeedY_pty_rect(&r, 760), full * (1 - std::sqrt(0.5)), 1e-4);
}

// Reversed, the bands swap bars: an area that can only scroll down (a bar down, none up) has
// its band at the top, and none at the bottom.
TEST_F(HoverTest, ReversedHoverPutsTheBandOfABarAtTheOtherEdge) {
  hover.sCurDownRect = {760, 100, 200, 900};
  hover.sHaveDownRect = true;
  hover.sHaveUpRect = false;
  for (bool reverse : {false, true}) {
    prefs.hoverReverseYOn = reverse;
    EXPECT_EQ(hover_isPoint_inZoneWithMargin(0, 400, 750), reverse) << reverse;
    EXPECT_EQ(hover_isPoint_inZoneWithMargin(0, 400, 210), !reverse) << reverse;
  }
}

// Over the last 0.3 s the cursor must have drifted 2 to 20 px on an axis.
TEST_F(HoverTest, OnlyASlowDriftStartsHoverScrolling) {
  const struct {
    float stepY;
    bool starts;
  } cases[] = {{0, false}, {0.5f, true}, {3, false}};
  for (const auto& c : cases) {
    double t = utils_now();
    for (int i = 0; i < kPanHistorySize; ++i) {
      hover.sPanXYhistory[i] = {0, c.stepY, t - 0.025 * (kPanHistorySize - i)};
    }
    hover.sPanXYindex = 0;
    EXPECT_EQ(isCursorSpeedInRange_timeNow(t), c.starts) << c.stepY;
  }
}

// The cursor rests at the bottom edge of the area after drifting into it: the area scrolls
// down, faster once eased in; a click there pauses hover (it lets the click through when
// slow), and leaving the zone ends it.
TEST_F(HoverTest, RestingInTheBottomZoneScrollsUntilTheCursorLeaves) {
  for (int i = 0; i <= 30; ++i) {
    agent.input().moveTo({400, 660.0 + i});  // into the zone at 1 px per tick
    runFor(0.025);
  }
  runFor(2);
  EXPECT_TRUE(state_doingHover());
  EXPECT_EQ(hover.hoverTimerFreq, double{0.025f});
  EXPECT_GT(offset(), 2100);
  EXPECT_EQ(agent.session().power().held().size(), 1u);  // the display stays awake
  // A press in the zone at speed ends the scroll there and goes to the agent's zone window:
  // the agent becomes the active application.
  agent.input().button(0, true);
  runFor(0.01);
  EXPECT_EQ(agent.session().activations(), 1);
  EXPECT_EQ(VAevent_statics().sIsLastMdownInHoverZone, 1);
  agent.input().button(0, false);
  runFor(0.5);
  agent.input().moveTo({400, 400});
  runFor(1);
  EXPECT_FALSE(state_doingHover());
  double stopped = offset();
  runFor(1);
  EXPECT_EQ(offset(), stopped);
  EXPECT_EQ(hover.hoverTimerFreq, 1.3f);  // the cursor rests outside the zones
  EXPECT_TRUE(agent.session().power().held().empty());
}

// Areas of 0, 1 and 100,000 px and a window that closes under a hover scroll: nothing
// crashes and no hover scroll outlives its zone.
TEST(HoverBadInput, DegenerateAreasAndAClosingWindowLeaveNothingRunning) {
  for (double height : {0.0, 1.0, 100000.0}) {
    vsession::SessionConfig config = testing_support::twoWindowConfig();
    config.windows[0].ui = {
        vsession::uiScrollArea({{100, 140}, {800, height}}, {800, 200000}, 2000, {})};
    AgentSession agent(config);
    prefs_bgprefs()->hoverOn = 1;
    for (int i = 0; i <= 60; ++i) {
      agent.input().moveTo({400, 130.0 + i});
      agent.runUntil(1 + 0.025 * i);
    }
    agent.runUntil(4);
    agent.session().world().windows.erase(agent.session().world().windows.begin());
    agent.session().accessibility().rebuild();
    agent.input().moveTo({50, 50});
    agent.runUntil(8);
    EXPECT_FALSE(state_doingHover()) << height;
    EXPECT_TRUE(agent.session().power().held().empty()) << height;
  }
}

TEST_F(HoverTest, AClickInAZonePausesHoverAndStopsItOnlyAtSpeed) {
  hover.sCurDownRect = {760, 100, 200, 900};
  hover.sHaveDownRect = true;
  state_setDoingHover(true);
  agent.input().moveTo({400, 652});  // Cocoa 248: 2 px into the 50 px down zone
  EXPECT_FALSE(hover_willEventStopHover());
  EXPECT_TRUE(hover.sPauseHoverUntilOutOfZone);
  agent.input().moveTo({400, 699});
  EXPECT_TRUE(hover_willEventStopHover());
  agent.input().moveTo({400, 400});
  EXPECT_TRUE(hover_willEventStopHover());
}

// Autoscroll puts the cursor into the zone at the depth autoScrollSpeed sets: 25 halfway,
// 0 just 2 px inside the inner edge.
TEST_F(HoverTest, AutoscrollWarpsTheCursorToTheDepthItsSpeedSets) {
  for (auto [speed, depth] : {std::pair{25, 25.0}, {0, 2.0}, {49, 49.0}}) {
    prefs.autoScrollSpeed = static_cast<uint8_t>(speed);
    stopAllScrolling();
    hover_startAutoScroll(kDirectionDown);
    EXPECT_TRUE(state_doingAutoScroll());
    CGPoint cocoa = platform().cocoa->mouseLocation();
    EXPECT_DOUBLE_EQ(cocoa.y, 200 + 50 - depth) << speed;
    runFor(0.1);
  }
  runFor(1);
  EXPECT_TRUE(state_doingHover());
  EXPECT_GT(offset(), 2000);
}

}  // namespace
