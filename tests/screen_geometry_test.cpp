// Screen geometry and the small system services: the screen-frame cache and coordinate
// conversion, cursor warping, the system wheel scaling, rect helpers, the power assertion.
#include <gtest/gtest.h>

#include "VAutils.h"
#include "agent_session.h"

namespace {

using namespace port;
using testing_support::AgentSession;

// A main screen and a second one to its right, lower by 100 points (Quartz coordinates).
vsession::SessionConfig twoScreens() {
  vsession::SessionConfig config = testing_support::twoWindowConfig();
  config.screens = {{{0, 0}, {1440, 900}}, {{1440, 100}, {1920, 1080}}};
  return config;
}

TEST(ScreenGeometryTest, CocoaPointsConvertOnEveryScreenAgainstTheMainScreensHeight) {
  AgentSession agent(twoScreens());
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

TEST(ScreenGeometryTest, PointOnNoCachedScreenRefreshesOnceThenConverts) {
  AgentSession agent;  // one screen at launch
  EXPECT_EQ(carbonScreenPointFromCocoaScreenPoint({2000, 500}), (CGPoint{0, 0}));
  agent.session().world().screens.push_back({{1440, 0}, {1000, 900}});  // a display arrives
  EXPECT_EQ(carbonScreenPointFromCocoaScreenPoint({2000, 500}), (CGPoint{2000, 400}));
  EXPECT_EQ(VAutils_statics().sNumScreens, 2);
}

TEST(ScreenGeometryTest, SlotBeyondTheLastStillCountsAndTheCacheHoldsEightScreens) {
  AgentSession agent(twoScreens());
  agent.session().world().screens.pop_back();  // the second display goes away
  utils_cacheNSScreenFrames_force(false);
  EXPECT_EQ(VAutils_statics().sNumScreens, 1);
  // The stale slot after the filled one is still tested: a deliberate quirk.
  EXPECT_EQ(carbonScreenPointFromCocoaScreenPoint({2000, -100}), (CGPoint{2000, 1000}));

  auto& screens = agent.session().world().screens;
  for (int i = 1; i < 12; ++i) screens.push_back({{1440.0 * i, 0}, {1440, 900}});
  utils_cacheNSScreenFrames_force(true);
  EXPECT_EQ(VAutils_statics().sNumScreens, kMaxCachedScreens);
  EXPECT_EQ(carbonScreenPointFromCocoaScreenPoint({1440.0 * 7 + 5, 10}),
            (CGPoint{1440.0 * 7 + 5, 890}));
  EXPECT_EQ(carbonScreenPointFromCocoaScreenPoint({1440.0 * 9 + 5, 10}), (CGPoint{0, 0}));
}

TEST(ScreenGeometryTest, WarpMovesTheCursorWithoutAnEventAndEventsUnflip) {
  AgentSession agent;
  warpCursorToCocoaPoint({300, 600});
  EXPECT_EQ(agent.session().world().cursor, (CGPoint{300, 300}));
  auto warps = agent.linesOfKind("warp");
  ASSERT_EQ(warps.size(), 1u);
  EXPECT_EQ(warps[0]["y"], 300.0);
  EXPECT_TRUE(agent.linesOfKind("deliver").empty());

  CGEventRef e = agent.events().newEvent(kCGEventMouseMoved);
  agent.events().setLocation(e, {50, 880});
  EXPECT_EQ(unflippedPointfor_cgevent(e), (CGPoint{50, 20}));
  agent.events().release(e);
}

TEST(ScreenGeometryTest, WheelScalingIsReadOnTheMainQueueAtMostEveryTwoSecondsAndClamped) {
  vsession::SessionConfig config = testing_support::twoWindowConfig();
  config.scrollWheelScaling = 7.5;
  AgentSession agent(config);
  double t0 = agent.session().absolute(1);
  agent.runUntil(1);
  EXPECT_EQ(readAppleScrollWheelSpeed(t0), 0.0f);  // the read is under way, not done
  agent.runUntil(1);
  EXPECT_EQ(VAutils_statics().scrollWheelSpeed, 7.5f);
  EXPECT_EQ(readAppleScrollWheelSpeed(t0 + 1.9), 7.5f);  // cached, not clamped in between
  EXPECT_EQ(readAppleScrollWheelSpeed(t0 + 2.0), 5.0f);

  vsession::SessionConfig negative = testing_support::twoWindowConfig();
  negative.scrollWheelScaling = -0.5;
  AgentSession other(negative);
  double t = other.session().absolute(0);
  readAppleScrollWheelSpeed(t);
  other.runUntil(0);
  EXPECT_EQ(readAppleScrollWheelSpeed(t + 2), 0.0f);
}

TEST(ScreenGeometryTest, RectHelpers) {
  IRect r{700, 100, 200, 900};
  EXPECT_EQ(rectWith_rect_ofst_dir(r, 30, 1), (IRect{670, 100, 200, 900}));
  EXPECT_EQ(rectWith_rect_ofst_dir(r, 30, 2), (IRect{700, 100, 230, 900}));
  EXPECT_EQ(rectWith_rect_ofst_dir(r, 30, 0), r);
  EXPECT_EQ(rectWith_rect_ofst_dir(r, 30, 3), r);
  IRect clipped = r;
  intersect_rectPtr_withRect(&clipped, IRect{650, 150, 250, 800});
  EXPECT_EQ(clipped, (IRect{700, 150, 200, 800}));
  intersect_rectPtr_withRect(&clipped, IRect{-5, 1000, 2000, 1100});  // empty: not detected
  EXPECT_EQ(clipped, (IRect{700, 1000, 200, 800}));
}

TEST(ScreenGeometryTest, PowerAssertionIsTakenAndDropped) {
  AgentSession agent;
  vsession::VirtualPower& power = agent.session().power();
  preventSleep_yesno(true);
  EXPECT_EQ(power.held().size(), 1u);
  preventSleep_yesno(false);
  EXPECT_TRUE(power.held().empty());
  EXPECT_EQ(VAutils_statics().assertionID, 0u);
  preventSleep_yesno(false);  // nothing held: nothing to drop
  power.failNext = true;
  preventSleep_yesno(true);
  EXPECT_EQ(VAutils_statics().assertionID, 0u);
}

}  // namespace
