// The agent's own windows: the hand that follows a grab, the vector anchor and the hover
// zones. Each must keep the frame, transparency, level and visibility the agent gives it, and
// appear in the window list as the system shows it to everyone.
#include "contract.h"

namespace {

using namespace port;

class OverlayWindowContract : public contract::PortContract {
 protected:
  OverlayWindows& windows() { return *ports().overlayWindows; }
};

TEST_F(OverlayWindowContract, AWindowKeepsItsFrameAlphaLevelAndVisibility) {
  CGRect frame{{200, 300}, {64, 48}};
  NSWindowRef w = windows().createBorderlessWindow(frame, false);
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(windows().frame(w), frame);
  EXPECT_FALSE(windows().isVisible(w));
  windows().setOpaque(w, false);
  windows().setBackgroundColor(w, 0, 0);
  windows().setHasShadow(w, false);
  windows().setIgnoresMouseEvents(w, true);
  windows().setImageViewAsContentView(w, {{0, 0}, frame.size});
  windows().setContentImage(w, windows().openHandCursorImage());

  CGRect moved{{240, 320}, {80, 60}};
  windows().setFrame(w, moved, false);
  EXPECT_EQ(windows().frame(w), moved);
  windows().setFrameOrigin(w, {250, 330});
  EXPECT_EQ(windows().frame(w), (CGRect{{250, 330}, {80, 60}}));
  windows().setAlphaValue(w, 0.25);
  EXPECT_EQ(windows().alphaValue(w), 0.25);
  constexpr int32_t kLevel = 101;  // above ordinary windows, the Dock and the menu bar
  windows().setLevel(w, kLevel);

  windows().orderFront(w);
  EXPECT_TRUE(windows().isVisible(w));
  contract::runFor(0.1);
  // The window list shows it where it is, in Quartz coordinates, at its level.
  double height = ports().windowServer->screenFrames().at(0).size.height;
  CGRect quartz{{250, height - 330 - 60}, {80, 60}};
  int32_t self = ports().application->processIdentifier();
  const WindowInfo* listed = nullptr;
  std::vector<WindowInfo> list = ports().windowServer->copyOnScreenWindowList();
  for (const WindowInfo& info : list) {
    if (info.ownerPid == self && info.bounds == quartz) listed = &info;
  }
  ASSERT_NE(listed, nullptr) << "the window is not in the window list";
  EXPECT_EQ(listed->layer, kLevel);
  EXPECT_EQ(listed->alpha, 0.25);

  windows().orderOut(w);
  EXPECT_FALSE(windows().isVisible(w));
  contract::runFor(0.1);
  for (const WindowInfo& info : ports().windowServer->copyOnScreenWindowList()) {
    EXPECT_FALSE(info.ownerPid == self && info.bounds == quartz) << "listed after ordering out";
  }
  // Ordered out, it keeps what it had.
  EXPECT_EQ(windows().frame(w), (CGRect{{250, 330}, {80, 60}}));
  EXPECT_EQ(windows().alphaValue(w), 0.25);
}

TEST_F(OverlayWindowContract, ImagesHaveASizeAndAMissingFileIsNone) {
  NSImageRef hand = windows().openHandCursorImage();
  ASSERT_NE(hand, nullptr);
  CGSize size = windows().imageSize(hand);
  EXPECT_GT(size.width, 0);
  EXPECT_GT(size.height, 0);
  EXPECT_EQ(windows().imageWithContentsOfFile("/nonexistent/varsel-contract.png"), nullptr);
  EXPECT_EQ(windows().imageSize(nullptr), (CGSize{0, 0}));
  EXPECT_EQ(windows().frame(nullptr), (CGRect{}));
}

}  // namespace
