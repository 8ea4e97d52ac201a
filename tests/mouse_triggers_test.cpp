// The mouse buttons as triggers of grab and vector scrolling, end to end: what reaches the
// application of each press, drag and release, and which mode runs afterwards.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "VAevent.h"
#include "VAgrab.h"
#include "VAstate.h"
#include "VAutils.h"
#include "VAvector.h"
#include "agent_session.h"

namespace {

using namespace port;
using testing_support::AgentSession;

// A window whose scroll area takes the whole content, with a link near its middle that
// shows a hand cursor.
vsession::SessionConfig pageConfig() {
  vsession::SessionConfig config = testing_support::twoWindowConfig();
  vsession::UiSpec area;
  area.role = "AXScrollArea";
  area.frame = {{100, 140}, {800, 560}};
  area.content = CGSize{800, 5000};
  area.verticalBar = true;
  vsession::UiSpec link;
  link.role = "AXLink";
  link.frame = {{500, 500}, {100, 20}};
  link.handCursor = true;
  area.children.push_back(link);
  config.windows[0].ui = {area};
  return config;
}

// The agent in a fresh session, one second after start-up, with the hands of a user.
class Mouse {
 public:
  Mouse() : agent(pageConfig()) { agent.runUntil(1); }

  double now() { return agent.session().elapsed(); }
  void runFor(double seconds) { agent.runUntil(now() + seconds); }
  void press(int button, uint64_t stylus = 0) { agent.input().button(button, true, stylus); }
  void release(int button) { agent.input().button(button, false); }
  void drag(CGPoint to, int steps = 1) {
    CGPoint from = agent.session().world().cursor;
    for (int i = 1; i <= steps; ++i) {
      double f = static_cast<double>(i) / steps;
      agent.input().moveTo({from.x + (to.x - from.x) * f, from.y + (to.y - from.y) * f});
      runFor(0.008);
    }
  }
  // The button events the application received, as "type@x,y".
  std::vector<std::string> buttonsDelivered() {
    std::vector<std::string> out;
    for (const auto& l : agent.linesOfKind("deliver")) {
      int type = l["type"];
      if (type == kCGEventMouseMoved || type == kCGEventScrollWheel ||
          type == kNSEventTypeGesture) {
        continue;
      }
      out.push_back(std::to_string(type) + "@" + std::to_string(l["x"].get<int>()) + "," +
                    std::to_string(l["y"].get<int>()));
    }
    return out;
  }
  size_t agentScrolls() {
    size_t n = 0;
    for (const auto& l : agent.linesOfKind("deliver")) n += l["user"] == kAgentEventTag;
    return n;
  }
  bool shown(const char* kind) {
    const OverlayWindow* w = agent.session().overlayWindows().windowShowing(kind);
    return w && w->visible;
  }

  AgentSession agent;
  PrefsRecord& prefs = *prefs_bgprefs();
};

class MouseTriggerTest : public ::testing::Test, public Mouse {};

// The grab button (the middle one by default) held and dragged: the press waits 70 ms for a
// drag; a drag within the slop loses it, a longer one grabs and scrolls.
TEST(MouseTriggers, AGrabButtonPressIsHeldThenPassedDroppedOrEaten) {
  const struct {
    const char* name;
    bool eat;
    double holdFor;  // before the drag or release
    CGPoint dragTo;  // where the press is released, dragging there first if it moved
    std::vector<std::string> delivered;
    bool grabbed;
  } cases[] = {
      {"released at once", false, 0.05, {400, 400}, {"26@400,400"}, false},
      {"held past 70 ms", false, 0.1, {400, 400}, {"25@400,400", "26@400,400"}, false},
      {"dragged within the slop", false, 0.02, {404, 396}, {"26@404,396"}, false},
      {"dragged beyond it", false, 0.02, {400, 380}, {"26@1,1"}, true},
      {"eaten", true, 0.1, {400, 380}, {"26@1,1"}, true},
  };
  for (const auto& c : cases) {
    Mouse m;
    m.prefs.grabEatMDown = c.eat;
    m.press(2);
    m.runFor(c.holdFor);
    if (c.dragTo.x != 400 || c.dragTo.y != 400) m.drag(c.dragTo, 4);
    bool grabbed = state_doingGrab();
    m.release(2);
    m.runFor(0.2);
    EXPECT_EQ(m.buttonsDelivered(), c.delivered) << c.name;
    EXPECT_EQ(grabbed, c.grabbed) << c.name;
    EXPECT_EQ(m.agentScrolls() > 0, c.grabbed) << c.name;
    EXPECT_EQ(VAevent_statics().sCopiedMdownToDelay, nullptr) << c.name;
  }
}

// Lifting the fingers from the trackpad and clicking it comes as a touch then a press: a
// press within 0.4 s of the touch is the pad's click and passes at once.
TEST_F(MouseTriggerTest, APressRightAfterATrackpadTouchPassesUntouched) {
  agent.input().trackpad(vsession::TrackpadStep{0, true, 0, 0, 0, 0});
  runFor(0.3);
  press(2);
  EXPECT_EQ(buttonsDelivered(), (std::vector<std::string>{"25@400,400"}));
  release(2);
  runFor(0.2);
  press(2);  // 0.5 s after the touch: held back again
  EXPECT_EQ(buttonsDelivered().size(), 2u);
  EXPECT_NE(VAevent_statics().sCopiedMdownToDelay, nullptr);
}

// Kind 4: a click switches grabbing on (on the reposted press, with the hand shown), every
// movement then scrolls without a button held, and the next click switches it off.
TEST_F(MouseTriggerTest, AToggleGrabRunsFromOneClickToTheNext) {
  prefs.grabTriggerKind = 4;
  press(2);
  runFor(0.08);
  release(2);
  runFor(0.1);
  EXPECT_TRUE(state_doingGrabWToggle() && state_doingGrab());
  EXPECT_TRUE(shown("hand"));
  EXPECT_TRUE(buttonsDelivered().empty());  // the reposted press and its release are eaten
  for (int i = 1; i <= 5; ++i) agent.input().moveTo({400, 400 - 4.0 * i});
  runFor(0.1);
  EXPECT_GT(agentScrolls(), 0u);
  press(2);
  runFor(0.1);
  EXPECT_FALSE(state_doingGrabWToggle() || state_doingGrab());
  EXPECT_FALSE(shown("hand"));
  EXPECT_TRUE(buttonsDelivered().empty());
}

// With hover scrolling on, a click just under a window's top or on a link is the
// application's; elsewhere the vector button's click starts a vector scroll at once.
TEST(MouseTriggers, TheVectorClickPositionRuleLeavesTitleBarsAndLinksAlone) {
  const struct {
    const char* name;
    bool hoverOn;
    CGPoint click;
    bool starts;
    bool framebufferCursor = true;  // false: Apple silicon, where AppKit tells the cursor
  } cases[] = {
      {"page", true, {400, 400}, true},
      {"45 px under the top edge", true, {400, 145}, false},
      {"55 px under it", true, {400, 155}, true},
      {"link", true, {550, 510}, false},
      {"link, no framebuffer cursor memory", true, {550, 510}, false, false},
      {"link, hover and autoscroll off", false, {550, 510}, true},
  };
  for (const auto& c : cases) {
    Mouse m;
    m.agent.session().windowServer().failFramebuffer = !c.framebufferCursor;
    m.prefs.vectorOn = 1;
    m.prefs.vectorButton = 1;
    m.prefs.hoverOn = m.prefs.autoScrollOn = c.hoverOn;
    m.agent.input().moveTo(c.click);
    m.runFor(0.5);  // the run timer sees the window under the cursor
    m.press(1);
    m.runFor(0.1);  // a press left alone is held, then passed
    EXPECT_EQ(state_doingVector(), c.starts) << c.name;
    EXPECT_EQ(m.buttonsDelivered().empty(), c.starts) << c.name;
  }
}

// Vector kind 0 on the right button starts on the press; on another button the press
// waits and the release starts it, reaching the application at (1, 1). The next press
// stops it and its release passes where it was.
TEST(MouseTriggers, VectorClicksStartOnThePressOrTheReleaseAndTheNextClickStops) {
  for (int button : {1, 2}) {
    Mouse m;
    m.prefs.vectorOn = 1;
    m.prefs.vectorButton = static_cast<uint8_t>(button);
    m.prefs.grabOn = 0;
    m.press(button);
    EXPECT_EQ(state_doingVector(), button == 1);
    m.runFor(0.03);
    m.release(button);
    m.runFor(0.1);
    EXPECT_TRUE(state_doingVector()) << button;
    EXPECT_TRUE(m.shown("anchor")) << button;
    std::string up = std::to_string(button == 1 ? kCGEventRightMouseUp : kCGEventOtherMouseUp);
    EXPECT_EQ(m.buttonsDelivered(), (std::vector<std::string>{up + "@1,1"})) << button;
    m.press(button);
    m.release(button);
    m.runFor(0.1);
    EXPECT_FALSE(state_doingVector()) << button;
    EXPECT_FALSE(m.shown("anchor")) << button;
    EXPECT_EQ(m.buttonsDelivered().back(), up + "@400,400") << button;
  }
}

// Kind 2: hold the vector button and drag past the slop; the anchor is where it was
// pressed, and the release ends the scroll and passes at (1, 1).
TEST_F(MouseTriggerTest, AVectorDragScrollsFromThePressPointUntilTheRelease) {
  prefs.vectorOn = 1;
  prefs.vectorTriggerKind = 2;
  prefs.grabOn = 0;
  press(2);
  drag({400, 397}, 1);
  EXPECT_FALSE(state_doingVector());
  drag({400, 300}, 4);
  EXPECT_TRUE(state_doingVector());
  EXPECT_EQ(VAvector_statics().sStartPoint.y, 500);  // Cocoa: 900 - 400
  runFor(0.5);
  size_t scrolled = agentScrolls();
  EXPECT_GT(scrolled, 25u);  // every tick at 60 Hz
  release(2);
  runFor(0.2);
  EXPECT_FALSE(state_doingVector());
  EXPECT_LE(agentScrolls(), scrolled + 1);  // at most the tick under way at the release
  EXPECT_EQ(buttonsDelivered(), (std::vector<std::string>{"26@1,1"}));
}

// A stylus press arriving as the middle button: a drag that starts within 0.15 s keeps
// that button for its whole length and grabs; one that starts later uses the stylus
// button's flag (1, a right button) and passes.
TEST(MouseTriggers, AStylusDragKeepsThePressButtonOnlyIfItStartsWithin150Ms) {
  for (double start : {0.14, 0.16}) {
    Mouse m;
    m.prefs.grabEatMDown = 1;
    m.press(2, /*stylus upper button*/ 4);
    EXPECT_TRUE(VAevent_statics().buttonForWacomUpper);
    m.runFor(start);
    m.drag({400, 380}, 8);  // 64 ms of drags, past 0.15 s either way
    bool keeps = start < 0.15;
    EXPECT_EQ(state_doingGrab(), keeps) << start;
    size_t dragsPassed = 0;
    for (const std::string& b : m.buttonsDelivered()) dragsPassed += b.starts_with("27@");
    EXPECT_EQ(dragsPassed, keeps ? 0u : 8u) << start;
    m.release(2);
  }
}

// Nothing a mouse can send leaves a mode, a hand or a held press behind once everything
// is stopped, and no single drag scrolls further than the posting limit allows.
TEST_F(MouseTriggerTest, StrayButtonsHugeDragsAndFloodsLeaveNothingStuck) {
  size_t liveBefore = agent.events().liveEvents();
  prefs.vectorOn = 1;
  for (int b = 0; b < 32; ++b) release(b);  // releases without presses
  for (int b = 0; b < 32; ++b) press(b);    // and presses of every button at once
  for (int b = 0; b < 32; ++b) release(b);
  press(2);
  for (int i = 0; i < 400; ++i) {  // drags at 8 kHz
    agent.input().moveTo({400.0 + i % 7, 380.0 - i % 5});
    runFor(0.000125);
  }
  EXPECT_TRUE(state_doingGrab());
  // 10,000 px across in one event (the screen keeps the cursor); the jitter above locked
  // the grab to the horizontal axis.
  agent.input().moveTo({10400, 376});
  runFor(0.05);
  const std::vector<std::string>& log = agent.session().logLines();
  EXPECT_TRUE(std::any_of(log.begin(), log.end(),
                          [](const std::string& l) { return l.starts_with("rate limit 2078 0"); }));
  state_setDoingGrabWHotKeyOnly(true);  // a hot key's grab, then a button's release
  release(2);
  press(31);
  stopAllScrolling();
  runFor(2.5);
  EXPECT_FALSE(state_doingGrab() || state_doingVector() || state_doingGrabWOMoving() ||
               state_doingGrabWToggle() || state_doingGrabWHotKeyOnly());
  EXPECT_FALSE(shown("hand") || shown("anchor"));
  EXPECT_EQ(VAevent_statics().sCopiedMdownToDelay, nullptr);
  EXPECT_EQ(agent.events().liveEvents(), liveBefore);
  for (const auto& l : agent.linesOfKind("deliver")) {
    if (l["type"] == kCGEventScrollWheel) {
      EXPECT_LE(std::abs(l["px1"].get<double>()), 1000);
    }
  }
}

}  // namespace
