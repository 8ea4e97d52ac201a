// What real machines do to a scroll under way: the accessibility permission taken away and
// given back, a tap switched off by the user's input, the pane quitting, a screen going.
// Each time the agent tells the pane what it can, leaves no mode stuck, and recovers.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "VAevent.h"
#include "VAhover.h"
#include "VAstate.h"
#include "VAtapMgr.h"
#include "agent_session.h"
#include "tools/varsel-sim/quiet_check.h"

namespace {

using namespace port;
using testing_support::AgentSession;

// The pointer drifts 1 px a tick from 60 px above (400, y) down to it, slowly enough to
// start a hover scroll in the zone there.
void driftTo(AgentSession& a, double y) {
  for (double at = y - 60; at <= y; ++at) {
    a.input().moveTo({400, at});
    a.runUntil(a.session().elapsed() + 0.025);
  }
}

// Scroll events the agent posted from `t` on.
size_t postedSince(const AgentSession& a, double t) {
  size_t n = 0;
  for (const auto& l : a.linesOfKind("deliver")) n += l["t"] >= t && l["user"] == kAgentEventTag;
  return n;
}

size_t count(const std::vector<std::string>& messages, const std::string& m) {
  size_t n = 0;
  for (const std::string& message : messages) n += message.starts_with(m + "@");
  return n;
}

// The permission goes while a grab, a hover scroll or an autoscroll runs, with the pane
// open. Within a resting run-timer pass the pane hears "AXd" and the hover engine (hover
// and autoscroll) stops scrolling, while a grab, which needs no permission, goes on. Letting go and
// "varsel://stop" leave nothing behind, and once the permission is back the pane hears
// "AXe" and hover scrolling works again.
TEST(MidModeFaults, AccessibilityRevokedDuringEachModeAndGivenBack) {
  const struct {
    const char* mode;
    std::function<void(AgentSession&)> start;
    std::function<bool()> running;
    bool survives;
  } cases[] = {
      {"grab",
       [](AgentSession& a) {
         a.input().button(2, true);
         a.input().moveTo({400, 380});
       },
       [] { return state_doingGrab(); }, true},
      {"hover", [](AgentSession& a) { driftTo(a, 690); }, [] { return state_doingHover(); }, false},
      {"autoscroll",
       [](AgentSession& a) {
         a.session().urlEvents().open("varsel://autoscroll");
         a.runUntil(a.session().elapsed() + 0.5);
       },
       [] { return state_doingAutoScroll(); }, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.mode);
    vsession::SessionConfig config = testing_support::readerPageConfig();
    config.paneRunning = true;
    AgentSession a(config);
    prefs_bgprefs()->hoverOn = 1;
    a.runUntil(12);  // past the first permission report
    c.start(a);
    a.runUntil(a.session().elapsed() + 0.3);
    ASSERT_TRUE(c.running());

    size_t disabledBefore = count(a.paneMessages(), "AXd");
    a.session().accessibility().setTrusted(false);
    a.runUntil(a.session().elapsed() + 21);
    EXPECT_GT(count(a.paneMessages(), "AXd"), disabledBefore);
    EXPECT_TRUE(state_AXdisabled());
    if (c.survives) {
      EXPECT_TRUE(c.running());
    } else {
      // The settings reread for the lost permission stopped the hover engine's timer; the
      // mode's flag stays until the stop below, but nothing scrolls.
      EXPECT_EQ(VAhover_statics().hoverTimer, nullptr);
      EXPECT_EQ(postedSince(a, a.session().elapsed() - 1), 0u);
    }
    sim::letGoAndStop(a.session());
    EXPECT_EQ(sim::restViolations(a.session()), std::vector<std::string>{});

    a.session().accessibility().setTrusted(true);
    a.input().moveTo({400, 400});
    a.runUntil(a.session().elapsed() + 21);
    EXPECT_FALSE(state_AXdisabled());
    EXPECT_GE(count(a.paneMessages(), "AXe"), 1u);
    driftTo(a, 185);  // the top zone: a hover scroll may have reached the page's end
    a.runUntil(a.session().elapsed() + 1);
    EXPECT_TRUE(state_doingHover());
  }
}

// The user's input switched the main tap off in the middle of a grab: the release passes
// the dead tap, so the grab cannot see it. The re-enable timer brings the tap back within
// 7 s, and the next click ends the stranded grab.
TEST(MidModeFaults, ATapSwitchedOffByUserInputMidGrabIsBackAndTheNextClickEndsTheGrab) {
  AgentSession a(testing_support::readerPageConfig());
  a.runUntil(1);
  a.input().button(2, true);
  a.input().moveTo({400, 380});
  a.runUntil(1.3);
  ASSERT_TRUE(state_doingGrab());
  const VAtapMgrStatics& taps = VAtapMgr_statics();
  a.events().disableTap(taps.sTap, kCGEventTapDisabledByUserInput);
  a.input().button(2, false);
  a.runUntil(1.4);
  EXPECT_FALSE(a.events().tapIsEnabled(taps.sTap));
  a.runUntil(8.5);
  EXPECT_TRUE(a.events().tapIsEnabled(taps.sTap));
  EXPECT_TRUE(state_doingGrab());  // it never saw the release
  a.input().button(2, true);
  a.runUntil(8.55);
  a.input().button(2, false);
  a.runUntil(9.5);
  EXPECT_FALSE(state_doingGrab());
  sim::letGoAndStop(a.session());
  EXPECT_EQ(sim::restViolations(a.session()), std::vector<std::string>{});
}

// The pane quits between two messages: what the agent would tell it is dropped, not
// queued, and when the pane opens again it hears the permission's state within 10 s.
TEST(MidModeFaults, ThePaneQuittingLosesOnlyWhatItWouldHaveHeard) {
  vsession::SessionConfig config = testing_support::readerPageConfig();
  config.paneRunning = true;
  AgentSession a(config);
  a.runUntil(12);
  a.session().setPaneRunning(false);
  size_t before = a.paneMessages().size();
  a.session().accessibility().setTrusted(false);
  a.input().moveTo({300, 300});
  a.runUntil(40);
  EXPECT_TRUE(state_AXdisabled());
  EXPECT_EQ(a.paneMessages().size(), before);
  a.session().setPaneRunning(true);
  a.input().moveTo({320, 300});
  a.runUntil(61);
  EXPECT_GE(count(a.paneMessages(), "AXd"), 1u);
}

// The second screen, where a grab shows its hand, is unplugged: the pointer lands on the
// remaining screen, the next click ends the grab, and the hand goes.
TEST(MidModeFaults, AScreenRemovedWhileTheHandShows) {
  vsession::SessionConfig config = testing_support::readerPageConfig();
  config.screens.push_back({{1440, 0}, {1920, 1080}});
  config.cursor = {2000, 500};
  AgentSession a(config);
  a.runUntil(1);
  a.session().urlEvents().open("varsel://grabscroll");
  a.runUntil(1.2);
  a.input().moveTo({2000, 480});
  a.runUntil(1.3);
  ASSERT_TRUE(state_doingGrab());
  const OverlayWindow* hand = a.session().overlayWindows().windowShowing("hand");
  ASSERT_TRUE(hand && hand->visible);

  a.session().world().screens.pop_back();
  a.session().world().moveCursor(a.session().world().cursor);  // back onto a screen
  a.input().moveTo({1000, 480});
  a.input().button(0, true);
  a.input().button(0, false);
  a.runUntil(2);
  EXPECT_FALSE(state_doingGrab());
  EXPECT_FALSE(hand->visible);
  sim::letGoAndStop(a.session());
  EXPECT_EQ(sim::restViolations(a.session()), std::vector<std::string>{});
}

}  // namespace
