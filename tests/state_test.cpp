// The state flags' side effects and derived answers.
#include <gtest/gtest.h>

#include "VAstate.h"

namespace {

class StateTest : public ::testing::Test {
 protected:
  void SetUp() override { VAstate_reset(); }
  void TearDown() override { VAstate_reset(); }
};

// Starting grab, vector, hover or autoscroll ends wheel scrolling; stopping one does not,
// and the other flags are plain values. Hover needs a hoverable window and none of the
// modes that move the content or show the zones.
TEST_F(StateTest, StartingAModeEndsWheelScrollingAndSomeFlagsRuleOutHover) {
  const struct {
    const char* name;
    void (*set)(bool);
    bool endsWheel, blocksHover;
  } kFlags[] = {{"grab", state_setDoingGrab, true, true},
                {"vector", state_setDoingVector, true, true},
                {"vectorWurl", state_setDoingVectorWurl, true, false},
                {"hover", state_setDoingHover, true, false},
                {"autoScroll", state_setDoingAutoScroll, true, false},
                {"autoScrollWurl", state_setDoingAutoScrollWurl, true, false},
                {"coast", state_setDoingCoast, false, true},
                {"zonesVisible", state_forceZonesVisible, false, true},
                {"draggingHoverZone", state_setDraggingHoverZone, false, true},
                {"grabWToggle", state_setDoingGrabWToggle, false, false},
                {"grabWurl", state_setDoingGrabWurl, false, false}};
  EXPECT_FALSE(state_canHover());
  state_setCanHoverCurFrontWindow(true);
  for (const auto& flag : kFlags) {
    state_setDoingWheel(true);
    flag.set(false);
    EXPECT_TRUE(state_doingWheel()) << flag.name << " stopped";
    EXPECT_TRUE(state_canHover()) << flag.name << " stopped";
    flag.set(true);
    EXPECT_EQ(state_doingWheel(), !flag.endsWheel) << flag.name << " started";
    EXPECT_EQ(state_canHover(), !flag.blocksHover) << flag.name << " started";
    flag.set(false);
  }
}

TEST_F(StateTest, LastAutoscrollSpeedTweakSurvivesTheResetAtItsEnd) {
  state_setHoverSpeedTweak(3);  // not autoscrolling: not remembered
  EXPECT_EQ(state_lastAutoScrollSpeedTweak(), 0);
  state_setDoingAutoScroll(true);
  state_setHoverSpeedTweak(-2);
  state_setHoverSpeedTweak(0);
  EXPECT_EQ(state_hoverSpeedTweak(), 0);
  EXPECT_EQ(state_lastAutoScrollSpeedTweak(), -2);
}

TEST_F(StateTest, WindowRectIsCopiedOutEvenWhenNoWindowIsStored) {
  IRect out{1, 2, 3, 4};
  EXPECT_FALSE(state_haveCurWindow_rectPtr(&out));
  EXPECT_EQ(out, IRect{});
  state_setHaveCurWindow_rect(true, IRect{700, 100, 100, 900});
  EXPECT_TRUE(state_haveCurWindow_rectPtr(&out));
  EXPECT_EQ(out, (IRect{700, 100, 100, 900}));
  state_setHaveCurWindow_rect(false, IRect{5, 6, 7, 8});
  EXPECT_FALSE(state_haveCurWindow_rectPtr(&out));
  EXPECT_EQ(out, (IRect{5, 6, 7, 8}));
}

}  // namespace
