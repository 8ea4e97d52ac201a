// Grab and vector scrolling as engines: the grab's axis decision, residues, multipliers and
// release coast, the vector speed law and how each stop treats the event that ended it,
// and the overlay windows (the hand and the anchor) with their show and hide race.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "VAcursor.h"
#include "VAevent.h"
#include "VAgrab.h"
#include "VAremote.h"
#include "VAstate.h"
#include "VAutils.h"
#include "VAvector.h"
#include "agent_session.h"

namespace {

using namespace port;
using testing_support::AgentSession;

class ScrollModeTest : public ::testing::Test {
 protected:
  ScrollModeTest() { agent.runUntil(1); }

  double now() { return agent.session().elapsed(); }
  void runFor(double seconds) { agent.runUntil(now() + seconds); }
  // One movement of the pointer to (x, y) in Cocoa coordinates, handed to the grab.
  void grabMove(double x, double y, uint64_t flags = 0) {
    CGEventRef e = agent.events().newEvent(kCGEventMouseMoved);
    e->location = {x, 900 - y};
    e->flags = flags;
    grabContinue_event_cgEvent(agent.events().eventWithCGEvent(e), e);
    agent.events().release(e);
    runFor(0.008);
  }
  // The agent's posted scrolls, summed per axis as the application received them.
  CGPoint posted() {
    CGPoint sum{0, 0};
    for (const auto& l : agent.linesOfKind("deliver")) {
      if (l["type"] != kCGEventScrollWheel || l["user"] != kAgentEventTag) continue;
      sum.x += l["px2"].get<double>();
      sum.y += l["px1"].get<double>();
    }
    return sum;
  }
  const OverlayWindow* window(const char* kind) {
    return agent.session().overlayWindows().windowShowing(kind);
  }

  AgentSession agent;
  PrefsRecord& prefs = *prefs_bgprefs();
};

// Snapping: the first ten movements scroll vertically whatever their direction; the
// eleventh decides on the whole drag's ratio of vertical to horizontal squared.
TEST_F(ScrollModeTest, TheEleventhMovementDecidesTheAxesTheGrabMayScroll) {
  const struct {
    const char* name;
    double stepX, stepY;
    int32_t lock;
  } drags[] = {{"vertical", 1, 5, 1},
               {"horizontal", 5, 1, 2},
               {"diagonal", 4, 5, 0},
               {"purely vertical", 0, 5, 1}};
  for (const auto& d : drags) {
    AgentSession fresh;
    fresh.runUntil(1);
    prefs_bgprefs()->grabSpeedOn = 0;
    grabStart_unflippedPoint(400, 500);
    auto move = [&](int i) {
      CGEventRef e = fresh.events().newEvent(kCGEventMouseMoved);
      e->location = {400 - d.stepX * i, 400 + d.stepY * i};
      grabContinue_event_cgEvent(fresh.events().eventWithCGEvent(e), e);
      fresh.events().release(e);
    };
    // Whole pixels posted across and down by movements `from` to `to`.
    auto scrolled = [&](int from, int to) {
      size_t seen = fresh.linesOfKind("deliver").size();
      for (int i = from; i <= to; ++i) move(i);
      fresh.runUntil(fresh.session().elapsed() + 0.001);
      CGPoint sum{0, 0};
      auto lines = fresh.linesOfKind("deliver");
      for (size_t i = seen; i < lines.size(); ++i) {
        sum.x += std::fabs(lines[i]["px2"].get<double>());
        sum.y += std::fabs(lines[i]["px1"].get<double>());
      }
      return sum;
    };
    CGPoint first = scrolled(1, 10);
    EXPECT_EQ(VAgrab_statics().sAxesLockedX0Y1, 1) << d.name;
    EXPECT_EQ(first.x, 0) << d.name;  // nothing across yet
    EXPECT_EQ(first.y, d.stepY * 10) << d.name;
    CGPoint later = scrolled(11, 14);
    EXPECT_EQ(VAgrab_statics().sAxesLockedX0Y1, d.lock) << d.name;
    EXPECT_EQ(later.x, d.lock == 1 ? 0 : d.stepX * 4) << d.name;
    EXPECT_EQ(later.y, d.lock == 2 ? 0 : d.stepY * 4) << d.name;
    EXPECT_EQ(VAgrab_statics().sNumContinueCalls, -1) << d.name;
  }
}

// A drag of 0.4 px per movement posts one pixel every third movement; grabSpeed multiplies
// every amount and the grab modifier multiplies it further.
TEST_F(ScrollModeTest, ResiduesKeepSlowDragsAndMultipliersScaleFastOnes) {
  prefs.grabSpeedOn = 0;
  grabStart_unflippedPoint(400, 500);
  for (int i = 1; i <= 9; ++i) grabMove(400, 500 - 0.4 * i);
  EXPECT_EQ(agent.linesOfKind("deliver").size(), 3u);
  EXPECT_DOUBLE_EQ(posted().y, 3);  // the pointer went down, and so does the content

  const struct {
    bool modifier;
    double expected;
  } speeds[] = {{false, 3 * 10}, {true, 3 * 10 * 8.0}};  // grabModSpeed 8, Option
  for (const auto& c : speeds) {
    AgentSession fresh;
    fresh.runUntil(1);
    prefs_bgprefs()->grabSpeed = 3;
    grabStart_unflippedPoint(400, 500);
    CGEventRef e = fresh.events().newEvent(kCGEventMouseMoved);
    e->location = {400, 410};
    e->flags = c.modifier ? kCGEventFlagMaskAlternate : 0;
    grabContinue_event_cgEvent(fresh.events().eventWithCGEvent(e), e);
    fresh.events().release(e);
    fresh.runUntil(1.01);
    double sum = 0;
    for (const auto& l : fresh.linesOfKind("deliver")) sum += l["px1"].get<double>();
    EXPECT_DOUBLE_EQ(sum, c.expected) << c.modifier;
  }
}

// A release while the pointer moves starts a coast at the speed of about the last 0.1 s;
// a pointer that came to rest (movements summing under a pixel in the last 20 to 40 ms)
// starts none. The release itself goes on at (1, 1).
TEST_F(ScrollModeTest, TheReleaseCoastsOnlyWhenThePointerWasStillMoving) {
  for (bool rested : {false, true}) {
    AgentSession fresh;
    fresh.runUntil(1);
    grabStart_unflippedPoint(400, 500);
    for (int i = 1; i <= 24; ++i) {
      CGEventRef e = fresh.events().newEvent(kCGEventMouseMoved);
      int moved = rested ? std::min(i, 20) : i;  // the last four stay in place
      e->location = {400, 400.0 - 3 * moved};
      grabContinue_event_cgEvent(fresh.events().eventWithCGEvent(e), e);
      fresh.events().release(e);
      fresh.runUntil(fresh.session().elapsed() + 0.008);
    }
    CGEventRef up = fresh.events().newEvent(kCGEventLeftMouseUp);
    EXPECT_EQ(grabStop_event_cgEvent(fresh.events().eventWithCGEvent(up), up), up);
    EXPECT_EQ(up->location.x, 1);
    EXPECT_EQ(up->location.y, 1);
    fresh.events().release(up);
    fresh.runUntil(fresh.session().elapsed() + 0.01);
    EXPECT_EQ(state_doingCoast(), !rested) << rested;
    if (!rested) {
      EXPECT_EQ(state_coastStartedBy(), 1);
      // 3 px every 8 ms at grabSpeed 2, upward: 750 px/s into the page.
      EXPECT_NEAR(VAremote_statics().sCoastY, -750, 1);
    }
  }
}

// On the anchor nothing moves; half the radius away the speed is the factor times
// 0.5^4.5; at the radius and beyond it saturates. Up is positive, reversal flips, and the
// horizontal axis uses its own, smaller factor.
TEST_F(ScrollModeTest, TheVectorSpeedFollowsTheDistanceFromTheAnchor) {
  const float vertical = prefs.vectorVspeed, horizontal = prefs.vectorVspeedScaled;
  const struct {
    double dx, dy;
    bool reverseY;
    float speedX, speedY;
  } cases[] = {
      {0, 0, false, 0, 0},
      {0, 75, false, 0, static_cast<float>(vertical * std::pow(0.5, 4.5))},
      {0, 150, false, 0, vertical},
      {0, 900, false, 0, vertical},
      {0, -150, false, 0, -vertical},
      {0, 150, true, 0, -vertical},
      {-150, 0, false, -horizontal, 0},
  };
  for (const auto& c : cases) {
    prefs.vectorReverseYOn = c.reverseY;
    calcVectorSpeed_pt_startPoint(400 + c.dx, 500 + c.dy, 400, 500);
    EXPECT_FLOAT_EQ(VAvector_statics().sSpeedX, c.speedX) << c.dx << "," << c.dy;
    EXPECT_FLOAT_EQ(VAvector_statics().sSpeedY, c.speedY) << c.dx << "," << c.dy;
  }
  // The exponent's 0.4 is the single-precision one.
  prefs.vectorReverseYOn = 0;
  calcVectorSpeed_pt_startPoint(400, 575, 400, 500);
  EXPECT_EQ(VAvector_statics().sSpeedY,
            static_cast<float>(vertical * std::pow(0.5, (double{0.4f} + 0.5) * 5.0)));
  // A faster hover lifts a small speed to 0.8 of the factor: the single-precision 0.8
  // vertically, the double across. With a factor of 9 the two differ in the last bit.
  prefs.vectorVspeed = prefs.vectorVspeedScaled = 9;
  state_setHoverFaster(true);
  calcVectorSpeed_pt_startPoint(401, 501, 400, 500);
  EXPECT_EQ(VAvector_statics().sSpeedY, static_cast<float>(9 * double{0.8f}));
  EXPECT_EQ(VAvector_statics().sSpeedX, static_cast<float>(9 * 0.8));
  EXPECT_NE(VAvector_statics().sSpeedX, VAvector_statics().sSpeedY);
}

// A stop by a button release hands the release on at (1, 1); a stop by a key swallows it.
TEST_F(ScrollModeTest, StopsPassAButtonReleaseAwayFromThePageAndSwallowAnythingElse) {
  using Stop = CGEventRef (*)(NSEventRef, CGEventRef);
  auto start = [](bool grab) {
    grab ? grabStart_unflippedPoint(400, 500) : vectorStart_point(400, 500);
  };
  for (bool grab : {true, false}) {
    Stop stop = grab ? grabStop_event_cgEvent : vectorStop_event_cgEvent;
    for (CGEventType type : {kCGEventRightMouseUp, kCGEventKeyDown}) {
      start(grab);
      CGEventRef e = agent.events().newEvent(type);
      CGEventRef passed = stop(agent.events().eventWithCGEvent(e), e);
      EXPECT_EQ(passed, type == kCGEventKeyDown ? nullptr : e) << grab << type;
      if (passed) {
        EXPECT_EQ(e->location.x + e->location.y, 2) << grab;
      }
      EXPECT_FALSE(state_doingGrab() || state_doingVector());
      agent.events().release(e);
    }
  }
}

// The anchor sits centred under the anchor point at 0.8 alpha; a change of colour shows at
// the next start, not in the running one.
TEST_F(ScrollModeTest, TheAnchorShowsWhereTheScrollStartedAndTakesTheGrayAtTheNextShow) {
  vectorStart_point(400, 500);
  runFor(0.01);
  const OverlayWindow* anchor = window("anchor");
  ASSERT_NE(anchor, nullptr);
  EXPECT_EQ(anchor->frame.origin.x, 387);
  EXPECT_EQ(anchor->frame.origin.y, 489);
  EXPECT_EQ(anchor->frame.size.width, 26);
  EXPECT_EQ(anchor->alpha, 0.8);
  EXPECT_EQ(anchor->level, 8);
  EXPECT_TRUE(anchor->visible && anchor->ignoresMouseEvents);
  NSImageRef blue = anchor->image;
  prefs.vectorUseGray = 1;
  runFor(0.1);
  EXPECT_EQ(anchor->image, blue);
  stopAllScrolling();
  vectorStart_point(300, 300);
  runFor(0.01);
  EXPECT_NE(anchor->image, blue);
  EXPECT_EQ(agent.session().overlayWindows().liveImages(), 1u);  // the blue one was let go
}

// The hand follows the pointer every 50 ms on its own queue while it shows, and only then;
// a second show starts no second loop.
TEST_F(ScrollModeTest, TheHandFollowsThePointerTwentyTimesASecondAndStopsWhenHidden) {
  vsession::Scheduler& scheduler = agent.session().scheduler();
  int follows = 0;
  scheduler.setWakeObserver([&](vsession::LaneId lane, const char*) {
    follows += scheduler.laneName(lane) == "com.tarnwick.trackCursor";
  });
  cursor_showOpenHand();
  cursor_showOpenHand();
  agent.input().moveTo({600, 300});
  runFor(1.0);
  EXPECT_EQ(follows, 20);
  const OverlayWindow* hand = window("hand");
  ASSERT_NE(hand, nullptr);
  EXPECT_EQ(hand->frame.origin.x, 600);
  EXPECT_EQ(hand->frame.origin.y, 900 - 300 - 15);
  EXPECT_EQ(hand->alpha, 0.7);
  cursor_backToNormalOScursor();
  runFor(1.0);
  EXPECT_FALSE(hand->visible);
  EXPECT_LE(follows, 21);
}

// A hide asked for while a show is still queued loses to that show, which resets the
// counter and starts following: the hand is back at the loop's next step. The next hide
// wins. The anchor has no loop: the order-out queued after its show hides it for good.
TEST_F(ScrollModeTest, AShowStillQueuedOverridesAnEarlierHide) {
  cursor_showOpenHand();
  hide_overlayCursor();
  runFor(0.1);
  EXPECT_TRUE(window("hand")->visible);
  hide_overlayCursor();
  runFor(0.1);
  EXPECT_FALSE(window("hand")->visible);

  vectorAnchor_showAt(400, 500);
  vectorAnchor_hide();
  runFor(0.1);
  EXPECT_FALSE(window("anchor")->visible);
  // A show that reaches the window after a hide was asked for leaves it where it was.
  vectorAnchor_showAt(400, 500);
  runFor(0.1);
  vectorAnchor_hide();
  overlay_showAtPoint(100, 100);
  EXPECT_EQ(window("anchor")->frame.origin.x, 387);
  vectorAnchor_showAt(400, 500);
  runFor(0.01);
  EXPECT_TRUE(window("anchor")->visible);
}

// The hand test reads the framebuffer of the screen under the pointer: a hand (hot spot
// 13, 8) over a link, the arrow elsewhere. Where the display has no framebuffer cursor memory
// (Apple silicon) AppKit's current system cursor tells it, and with no screen under the
// pointer there is no hand. The main thread reads it; the tap only asks what was read.
TEST_F(ScrollModeTest, TheHandCursorIsToldByItsHotSpot) {
  vsession::UiSpec link;
  link.role = "AXLink";
  link.frame = {{100, 100}, {800, 600}};
  link.handCursor = true;
  agent.session().world().windows[0].ui = {link};
  // AppKit's answer is held against AppKit's own hand cursors, wherever it puts their hot
  // spot.
  agent.session().windowServer().appKitHandHotSpot = {5, 1};
  VAcursor_statics().sHandHotSpots.clear();  // read again from AppKit
  for (bool framebuffer : {true, false}) {
    agent.session().windowServer().failFramebuffer = !framebuffer;
    agent.input().moveTo({50, 50});
    cursor_noteSystemCursor();
    EXPECT_FALSE(isHandCursorCurrent()) << framebuffer;
    agent.input().moveTo({410, 410});
    EXPECT_FALSE(isHandCursorCurrent()) << "read on the tap path";
    cursor_noteSystemCursor();
    EXPECT_TRUE(isHandCursorCurrent()) << framebuffer;
  }
  VAutils_statics().sNumScreens = 0;
  cursor_noteSystemCursor();
  EXPECT_FALSE(isHandCursorCurrent());
}

}  // namespace
