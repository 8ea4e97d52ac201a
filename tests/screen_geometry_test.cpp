// Screen geometry and the small system services: the screen-frame cache and coordinate
// conversion, cursor warping, the system wheel scaling, rect helpers, the power assertion.
#include <gtest/gtest.h>

#include "VAutils.h"
#include "agent_session.h"

namespace {

using namespace port;
using testing_support::AgentSession;

TEST(ScreenGeometryTest, CocoaPointsConvertOnEveryScreenAgainstTheMainScreensHeight) {
  vsession::SessionConfig config = testing_support::twoWindowConfig();
  // A second screen right of the main one, lower by 100 points (Quartz coordinates).
  config.screens = {{{0, 0}, {1440, 900}}, {{1440, 100}, {1920, 1080}}};
  AgentSession agent(config);
  const VAutilsStatics& s = VAutils_statics();
  ASSERT_EQ(s.sNumScreens, 2);  // filled at launch
  EXPECT_EQ(utils_mainScreenFrame(), (CGRect{{0, 0}, {1440, 900}}));
  EXPECT_EQ(s.sScreenFrames[1], (CGRect{{1440, -280}, {1920, 1080}}));
  EXPECT_EQ(carbonScreenPointFromCocoaScreenPoint({100, 800}), (CGPoint{100, 100}));
  EXPECT_EQ(carbonScreenPointFromCocoaScreenPoint({2000, -100}), (CGPoint{2000, 1000}));
  // Edges: the top edge of a screen is on it, the bottom edge is not.
  EXPECT_EQ(carbonScreenPointFromCocoaScreenPoint({0, 900}), (CGPoint{0, 0}));
  EXPECT_EQ(carbonScreenPointFromCocoaScreenPoint({10, 0}), (CGPoint{0, 0}));  // no screen
}

TEST(ScreenGeometryTest, CacheRefreshesOnAMissKeepsAStaleSlotAndHoldsEightScreens) {
  AgentSession agent;  // one screen at launch
  auto& screens = agent.session().world().screens;
  EXPECT_EQ(carbonScreenPointFromCocoaScreenPoint({2000, 500}), (CGPoint{0, 0}));
  screens.push_back({{1440, 0}, {1000, 900}});  // a display arrives
  EXPECT_EQ(carbonScreenPointFromCocoaScreenPoint({2000, 500}), (CGPoint{2000, 400}));
  EXPECT_EQ(VAutils_statics().sNumScreens, 2);

  // When it goes away, its stale slot after the filled one is still tested: a deliberate
  // quirk.
  screens.pop_back();
  utils_cacheNSScreenFrames_force(false);
  EXPECT_EQ(VAutils_statics().sNumScreens, 1);
  EXPECT_EQ(carbonScreenPointFromCocoaScreenPoint({2000, 500}), (CGPoint{2000, 400}));

  // The cache holds eight screens.
  for (int i = 1; i < 12; ++i) screens.push_back({{1440.0 * i, 0}, {1440, 900}});
  utils_cacheNSScreenFrames_force(true);
  EXPECT_EQ(VAutils_statics().sNumScreens, kMaxCachedScreens);
  EXPECT_EQ(carbonScreenPointFromCocoaScreenPoint({1440.0 * 7 + 5, 10}),
            (CGPoint{1440.0 * 7 + 5, 890}));
  EXPECT_EQ(carbonScreenPointFromCocoaScreenPoint({1440.0 * 9 + 5, 10}), (CGPoint{0, 0}));
}

TEST(ScreenGeometryTest, WarpMovesTheCursorWithoutAnEvent) {
  AgentSession agent;
  warpCursorToCocoaPoint({300, 600});
  EXPECT_EQ(agent.session().world().cursor, (CGPoint{300, 300}));
  EXPECT_EQ(agent.linesOfKind("warp").size(), 1u);
  EXPECT_TRUE(agent.linesOfKind("deliver").empty());
}

// The read is handed to the main queue; until it runs, the last value stands. A value is
// clamped to 0...5 when it is next asked for after two seconds, not when it arrives.
TEST(ScreenGeometryTest, WheelScalingIsReadOnTheMainQueueAtMostEveryTwoSecondsAndClamped) {
  for (auto [scaling, clamped] : {std::pair{7.5f, 5.0f}, std::pair{-0.5f, 0.0f}}) {
    vsession::SessionConfig config = testing_support::twoWindowConfig();
    config.scrollWheelScaling = scaling;
    AgentSession agent(config);
    double t0 = agent.session().absolute(1);
    agent.runUntil(1);
    EXPECT_EQ(readAppleScrollWheelSpeed(t0), 0.0f) << scaling;
    agent.runUntil(1);
    EXPECT_EQ(readAppleScrollWheelSpeed(t0 + 1.9), scaling) << scaling;
    EXPECT_EQ(readAppleScrollWheelSpeed(t0 + 2.0), clamped) << scaling;
  }
}

TEST(ScreenGeometryTest, RectHelpers) {
  IRect r{700, 100, 200, 900};
  EXPECT_EQ(rectWith_rect_ofst_dir(r, 30, 1), (IRect{670, 100, 200, 900}));
  EXPECT_EQ(rectWith_rect_ofst_dir(r, 30, 2), (IRect{700, 100, 230, 900}));
  for (int dir : {0, 3}) EXPECT_EQ(rectWith_rect_ofst_dir(r, 30, dir), r) << dir;
  intersect_rectPtr_withRect(&r, IRect{650, 150, 250, 800});
  EXPECT_EQ(r, (IRect{700, 150, 200, 800}));
  intersect_rectPtr_withRect(&r, IRect{-5, 1000, 2000, 1100});  // empty: not detected
  EXPECT_EQ(r, (IRect{700, 1000, 200, 800}));
}

TEST(ScreenGeometryTest, PowerAssertionIsTakenAndDropped) {
  AgentSession agent;
  vsession::VirtualPower& power = agent.session().power();
  preventSleep_yesno(true);
  EXPECT_EQ(power.held(), std::set{VAutils_statics().assertionID});
  preventSleep_yesno(false);
  EXPECT_TRUE(power.held().empty());
  EXPECT_EQ(VAutils_statics().assertionID, 0u);
}

}  // namespace
