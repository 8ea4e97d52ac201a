// The state flags' side effects and derived answers.
#include <gtest/gtest.h>

#include "VAstate.h"

namespace {

class StateTest : public ::testing::Test {
 protected:
  void SetUp() override { VAstate_reset(); }
  void TearDown() override { VAstate_reset(); }
};

TEST_F(StateTest, StartingAModeEndsWheelScrollingButStoppingOneDoesNot) {
  void (*const modeSetters[])(bool) = {state_setDoingGrab,       state_setDoingVector,
                                       state_setDoingVectorWurl, state_setDoingHover,
                                       state_setDoingAutoScroll, state_setDoingAutoScrollWurl};
  for (auto set : modeSetters) {
    state_setDoingWheel(true);
    set(false);
    EXPECT_TRUE(state_doingWheel());
    set(true);
    EXPECT_FALSE(state_doingWheel());
    set(false);
  }
  // The other flags are plain values.
  state_setDoingWheel(true);
  state_setDoingCoast(true);
  state_setDoingGrabWToggle(true);
  state_setDoingGrabWurl(true);
  EXPECT_TRUE(state_doingWheel());
}

TEST_F(StateTest, LastAutoscrollSpeedTweakSurvivesTheResetAtItsEnd) {
  state_setHoverSpeedTweak(3);  // not autoscrolling: not remembered
  EXPECT_EQ(state_lastAutoScrollSpeedTweak(), 0);
  state_setDoingAutoScroll(true);
  state_setHoverSpeedTweak(-2);
  EXPECT_EQ(state_lastAutoScrollSpeedTweak(), -2);
  state_setHoverSpeedTweak(0);
  EXPECT_EQ(state_hoverSpeedTweak(), 0);
  EXPECT_EQ(state_lastAutoScrollSpeedTweak(), -2);
}

TEST_F(StateTest, HoverNeedsAHoverableWindowAndNoOtherMode) {
  EXPECT_FALSE(state_canHover());
  state_setCanHoverCurFrontWindow(true);
  EXPECT_TRUE(state_canHover());

  void (*const blockers[])(bool) = {state_forceZonesVisible, state_setDraggingHoverZone,
                                    state_setDoingVector, state_setDoingGrab, state_setDoingCoast};
  for (auto block : blockers) {
    block(true);
    EXPECT_FALSE(state_canHover());
    block(false);
    EXPECT_TRUE(state_canHover());
  }
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
