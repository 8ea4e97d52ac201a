// Screens, the window list, the window at a point, the cursor's position and shape: the agent
// finds the window under the cursor, converts between Cocoa's and Quartz's coordinates on the
// main screen's height, and warps the cursor back where a grab began.
#include "contract.h"

namespace {

using namespace port;

class WindowServerContract : public contract::PortContract {
 protected:
  WindowServer& ws() { return *ports().windowServer; }
  double mainHeight() { return ws().screenFrames().at(0).size.height; }
};

TEST_F(WindowServerContract, TheMainScreenComesFirstAtTheOrigin) {
  std::vector<CGRect> screens = ws().screenFrames();
  ASSERT_FALSE(screens.empty());
  EXPECT_EQ(screens[0].origin, (CGPoint{0, 0}));
  for (size_t i = 0; i < screens.size(); ++i) {
    EXPECT_GT(screens[i].size.width, 0) << i;
    EXPECT_GT(screens[i].size.height, 0) << i;
    EXPECT_NE(ws().screenNumber(i), 0u) << i;
  }
}

TEST_F(WindowServerContract, AWarpMovesTheCursorWhereCocoaAndNewEventsSeeIt) {
  CocoaEvents& cocoa = *ports().cocoa;
  CGPoint before = cocoa.mouseLocation();
  CGPoint target{100, 200};
  ws().warpMouseCursorPosition(target);
  EXPECT_EQ(cocoa.mouseLocation(), (CGPoint{100, mainHeight() - 200}));
  CGEventRef here = ports().quartz->create(nullptr);
  ASSERT_NE(here, nullptr);
  EXPECT_EQ(ports().quartz->getLocation(here), target);
  ports().quartz->release(here);
  ws().warpMouseCursorPosition({before.x, mainHeight() - before.y});
}

// The list runs front to back; the window at a point inside the frontmost ordinary window,
// where nothing is above it, is that window.
TEST_F(WindowServerContract, TheWindowAtAPointIsTheFrontmostThere) {
  for (const WindowInfo& w : ws().copyOnScreenWindowList()) EXPECT_GT(w.number, 0);
  std::optional<WindowInfo> front = contract::frontWindow(ports());
  if (!front) GTEST_SKIP() << "no ordinary window on screen";
  CGPoint quartz = contract::centreOf(front->bounds);
  CGPoint centre{quartz.x, mainHeight() - quartz.y};
  EXPECT_EQ(ws().windowNumberAtPoint(centre, 0), front->number);
  // Below that window, the point finds some other window or none.
  EXPECT_NE(ws().windowNumberAtPoint(centre, front->number), front->number);
}

TEST_F(WindowServerContract, CursorShapesHaveTheirHotSpotsInside) {
  std::vector<CGPoint> hands = ws().handCursorHotSpots();
  EXPECT_EQ(hands.size(), 3u);
  CursorShape shape;
  if (ws().currentSystemCursor(&shape)) {
    EXPECT_GT(shape.size.width, 0);
    EXPECT_LE(shape.hotSpot.x, shape.size.width);
    EXPECT_LE(shape.hotSpot.y, shape.size.height);
  }
  CursorShape framebuffer;
  if (ws().readFramebufferCursor(ws().screenNumber(0), &framebuffer)) {
    EXPECT_GT(framebuffer.size.width, 0);
    EXPECT_LE(framebuffer.hotSpot.x, framebuffer.size.width);
  }
}

}  // namespace
