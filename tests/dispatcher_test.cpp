// The dispatcher: the coast-stop ignore window, the mouse-moved handler, the mouse-moved
// tap rule, the VA events and the mode starters.
#include <gtest/gtest.h>

#include <cmath>

#include "VAevent.h"
#include "VAgrab.h"
#include "VAhover.h"
#include "VAkeys.h"
#include "VAremote.h"
#include "VAstate.h"
#include "VAtapMgr.h"
#include "VAvector.h"
#include "agent_session.h"

namespace {

using namespace port;
using testing_support::AgentSession;

class DispatcherTest : public ::testing::Test {
 protected:
  AgentSession agent;
  VAeventStatics& event = VAevent_statics();
  bgDelegateStatics& delegate = bgDelegate_statics();
};

TEST_F(DispatcherTest, IgnoreWindowSwallowsEveryEventThenTheFirstAfterItPassesAndClosesIt) {
  agent.runUntil(1);
  prefs_bgprefs()->wheel.wheelCoastVOn = 0;  // the wheel tick after the window passes as it is
  event_ignoreCoastStopEventsForDelay(0.2);
  auto& input = agent.input();
  agent.at(1.05, [&input] { input.moveTo({420, 420}); });
  agent.at(1.10, [&input] { input.key(38, true); });
  agent.at(1.15, [&input] { input.wheel(0, -1, std::nullopt); });
  agent.at(1.19, [&input] { input.button(0, true); });
  agent.at(1.25, [&input] { input.wheel(0, -1, std::nullopt); });
  agent.at(1.30, [&input] { input.key(38, false); });
  agent.runUntil(1.2);
  EXPECT_EQ(agent.linesOfKind("swallow").size(), 4u);
  EXPECT_TRUE(agent.linesOfKind("deliver").empty());
  EXPECT_NE(event.sCoastStopEventsIgnoredUntil, 0);
  agent.runUntil(2);
  EXPECT_EQ(event.sCoastStopEventsIgnoredUntil, 0);
  auto delivered = agent.linesOfKind("deliver");
  ASSERT_EQ(delivered.size(), 2u);
  EXPECT_EQ(delivered[0]["type"], 22);
  EXPECT_EQ(delivered[1]["type"], 11);
}

TEST_F(DispatcherTest, MouseMoveRecordsItsUnflippedLocationAndReportsTheMove) {
  delegate.sWaitUntilMouseMoves = true;
  agent.runUntil(2);
  agent.input().moveTo({300, 200});
  EXPECT_EQ(event.sLastUnflippedEventLocation, (CGPoint{300, 700}));  // 900-point-high screen
  EXPECT_FALSE(delegate.sWaitUntilMouseMoves);
  EXPECT_DOUBLE_EQ(delegate.sLastMouseMovedTime, agent.session().absolute(2));
  ASSERT_EQ(agent.linesOfKind("deliver").size(), 1u);
}

TEST_F(DispatcherTest, NudgingTheMouseStopsAWheelCoastAndCancelsItsEventsForAMoment) {
  prefs_bgprefs()->wheel.wheelNudgeCursorToStop = 1;
  agent.runUntil(1);
  evtapMMoved_setEnabled(true);
  scroll_setCoastFactorForGrab();  // a grab's coast goes on
  coast_atPoint_withX_y_stopTime(400, 400, 0, 600, 0);
  agent.runUntil(agent.session().elapsed() + 0.001);  // the start's VA event 10 has run
  agent.input().moveTo({402, 400});
  EXPECT_TRUE(state_doingCoast());
  EXPECT_EQ(event.sCoastEventsCancelledUntil, 0);

  scroll_setCoastFactorForWheel();
  coast_atPoint_withX_y_stopTime(400, 400, 0, 600, 0);
  agent.runUntil(agent.session().elapsed() + 0.001);  // the start's VA event 10 has run
  agent.input().moveTo({404, 400});
  EXPECT_FALSE(state_doingCoast());
  EXPECT_DOUBLE_EQ(event.sCoastEventsCancelledUntil,
                   agent.session().absolute(agent.session().elapsed() + 0.3));
}

// The area is the one the last wheel or trackpad coast started in; it outlives that coast,
// and a grab's or the keys' coast stops when the cursor leaves it too.
TEST_F(DispatcherTest, LeavingTheLastWheelCoastsAreaStopsAnyCoastAndCancelsItsEvents) {
  agent.runUntil(1);
  evtapMMoved_setEnabled(true);
  bgDelegate::setCoastRect();  // as a trackpad coast's start does: the zones of the reader
  IRect area = delegate.sCoastRect.load();
  ASSERT_EQ(area, (IRect{680, 100, 225, 900}));
  scroll_setCoastFactorForWheel();
  coast_atPoint_withX_y_stopTime(400, 400, 0, 600, 0);
  stopCoast();
  EXPECT_EQ(delegate.sCoastRect.load(), area);

  double x = 400;
  for (void (*setFactor)() : {scroll_setCoastFactorForGrab, scroll_setCoastFactorForKeys}) {
    setFactor();
    coast_atPoint_withX_y_stopTime(400, 400, 0, 600, 0);
    agent.runUntil(agent.session().elapsed() + 0.001);  // the start's VA event 10 has run
    delegate.sLastMousePoint.store({450, 400});
    agent.input().moveTo({x += 2, 400});
    EXPECT_TRUE(state_doingCoast());
    delegate.sLastMousePoint.store({950, 400});
    agent.input().moveTo({x += 2, 400});
    EXPECT_FALSE(state_doingCoast());
    EXPECT_DOUBLE_EQ(event.sCoastEventsCancelledUntil,
                     agent.session().absolute(agent.session().elapsed() + 0.3));
  }
}

TEST_F(DispatcherTest, OwnMouseMoveWhileGrabbingWithoutMovingIsReturnedBeforeAnythingElse) {
  agent.input().moveTo({300, 200});
  CGPoint before = event.sLastUnflippedEventLocation;
  double movedAt = delegate.sLastMouseMovedTime;
  agent.runUntil(1);

  CGEventSourceRef source = agent.events().sourceCreate(kCGEventSourceStatePrivate);
  agent.events().sourceSetUserData(source, 0xA9FF1231);  // the tag, with bits outside the mask
  CGEventRef own =
      agent.events().createMouseEvent(source, kCGEventMouseMoved, {500, 500}, kCGMouseButtonLeft);
  state_setDoingGrabWOMoving(true);
  EXPECT_EQ(MyEventTapCallBack(nullptr, kCGEventMouseMoved, own, nullptr), own);
  EXPECT_EQ(event.sLastUnflippedEventLocation, before);
  EXPECT_EQ(delegate.sLastMouseMovedTime, movedAt);

  // Not grabbing without moving: the agent's own move counts like any other.
  state_setDoingGrabWOMoving(false);
  MyEventTapCallBack(nullptr, kCGEventMouseMoved, own, nullptr);
  EXPECT_EQ(event.sLastUnflippedEventLocation, (CGPoint{500, 400}));
  // Another source's move while grabbing without moving is recorded.
  state_setDoingGrabWOMoving(true);
  agent.events().setIntegerValueField(own, kCGEventSourceUserData, 0xA9FF0002);
  agent.events().setLocation(own, {600, 600});
  MyEventTapCallBack(nullptr, kCGEventMouseMoved, own, nullptr);
  EXPECT_EQ(event.sLastUnflippedEventLocation, (CGPoint{600, 300}));
  agent.events().release(own);
}

TEST_F(DispatcherTest, MouseMovedTapIsNeededOnlyByModesThatFollowTheMouse) {
  EXPECT_FALSE(event_needMmovedTap());
  struct Case {
    void (*set)(bool);
    bool needed;
  };
  const Case cases[] = {{state_setDoingGrabWOMoving, true}, {state_setDoingGrabWHotKeyOnly, true},
                        {state_setDoingGrabWToggle, true},  {state_setDoingGrabWurl, true},
                        {state_setDoingCoast, true},        {state_setDoingGrab, false},
                        {state_setDoingHover, false},       {state_setDoingWheel, false}};
  for (const Case& c : cases) {
    c.set(true);
    EXPECT_EQ(event_needMmovedTap(), c.needed);
    c.set(false);
  }
  // Vector scrolling follows the mouse for click and hot-key triggers and URL starts,
  // not while the button is held and dragged.
  state_setDoingVector(true);
  for (uint8_t kind : {0, 1}) {
    event.prefs->vectorTriggerKind = kind;
    EXPECT_TRUE(event_needMmovedTap());
  }
  event.prefs->vectorTriggerKind = 2;
  EXPECT_FALSE(event_needMmovedTap());
  state_setDoingVectorWurl(true);
  EXPECT_TRUE(event_needMmovedTap());
}

TEST_F(DispatcherTest, HeldMouseDownIsLetGoByVAEventSix) {
  CGEventRef mdown = agent.events().createMouseEvent(nullptr, kCGEventLeftMouseDown, {300, 300},
                                                     kCGMouseButtonLeft);
  event.sCopiedMdownToDelay = mdown;
  agent.runUntil(1);
  bgDelegate::postVAEvent(6);
  agent.runUntil(1);
  EXPECT_EQ(event.sCopiedMdownToDelay, nullptr);
  EXPECT_DOUBLE_EQ(event.sSuppressDelayMdownTime, agent.session().absolute(1.08));
  auto delivered = agent.linesOfKind("deliver");
  ASSERT_EQ(delivered.size(), 1u);
  EXPECT_EQ(delivered[0]["type"], 1);
  EXPECT_EQ(agent.events().liveEvents(), 0u);

  // Nothing held: nothing happens.
  bgDelegate::postVAEvent(6);
  agent.runUntil(2);
  EXPECT_EQ(agent.linesOfKind("deliver").size(), 1u);
  EXPECT_DOUBLE_EQ(event.sSuppressDelayMdownTime, agent.session().absolute(1.08));
}

TEST_F(DispatcherTest, EachVAEventDoesItsOwnWorkAndKindsWithoutWorkNone) {
  auto runKind = [this](int kind) {
    bgDelegate::postVAEvent(kind);
    agent.runUntil(agent.session().elapsed() + 0.001);
  };
  coast_atPoint_withX_y_stopTime(400, 400, 0, 600, 0);
  agent.runUntil(0.1);
  event.sCoastEventsCancelledUntil = agent.session().absolute(5);
  state_setDoingGrabWurl(true);
  for (int kind : {0, 1, 2, 3, 4, 5, 25, 99, -1}) runKind(kind);
  EXPECT_TRUE(state_doingCoast());
  EXPECT_TRUE(state_doingGrabWurl());
  EXPECT_DOUBLE_EQ(event.sCoastEventsCancelledUntil, agent.session().absolute(5));

  runKind(10);
  EXPECT_EQ(event.sCoastEventsCancelledUntil, 0);
  EXPECT_TRUE(state_doingCoast());
  for (int kind : {8, 9}) {
    coast_atPoint_withX_y_stopTime(400, 400, 0, 600, 0);
    runKind(kind);
    EXPECT_FALSE(state_doingCoast()) << kind;
  }
  // The cursor went to another window: a running vector scroll ends too.
  vectorStart_point(400, 400);
  runKind(8);
  EXPECT_FALSE(state_doingVector());
  EXPECT_EQ(VAvector_statics().sVectorTimer, nullptr);

  // 17 to 20 stop every mode and flick once (up, down, left, right); 21 to 24 then repeat
  // that action. The coast's speeds: up +y, down -y, left +x, right -x.
  const CGPoint flick[] = {{0, 1}, {0, -1}, {1, 0}, {-1, 0}};
  VAkeysStatics& keys = VAkeys_statics();
  for (int action = 0; action < 4; ++action) {
    stopCoast();
    state_setDoingGrabWurl(true);
    runKind(17 + action);
    agent.runUntil(agent.session().elapsed() + 0.01);
    EXPECT_FALSE(state_doingGrabWurl()) << action;
    const VAremoteStatics& coast = VAremote_statics();
    EXPECT_EQ((CGPoint{std::copysign(1.0, coast.sCoastX) * (coast.sCoastX != 0),
                       std::copysign(1.0, coast.sCoastY) * (coast.sCoastY != 0)}),
              flick[action])
        << action;
    runKind(21 + action);
    EXPECT_NE(keys.sTimer, nullptr) << action;
    EXPECT_EQ(keys.sActionToRepeat, action);
    stopScrollKeysRepeat();
    runKind(21 + action);  // a repeat follows an action, never starts alone
    EXPECT_EQ(keys.sTimer, nullptr) << action;
  }
}

TEST_F(DispatcherTest, KeysAndModifierChangesThatTriggerNothingPass) {
  agent.runUntil(1);
  auto& input = agent.input();
  input.key(38, true);
  input.key(38, false);
  input.setModifiers(kCGEventFlagMaskAlternate);
  agent.runUntil(2);
  EXPECT_EQ(agent.linesOfKind("deliver").size(), 3u);
  EXPECT_TRUE(agent.linesOfKind("swallow").empty());
}

TEST_F(DispatcherTest, StopAllScrollingEndsEveryModeButACoastAndEachStarterThenBeginsItsOwn) {
  grabStart_unflippedPoint(400, 400);
  vectorStart_point(400, 400);
  state_setDoingHover(true);
  void (*const started[])(bool) = {state_setDoingAutoScrollWurl,
                                   state_setDoingVectorWurl,
                                   state_setDoingGrabWToggle,
                                   state_setDoingGrabWScrollKey,
                                   state_setDoingGrabWHotKeyOnly,
                                   state_setDoingGrabWHotKeyAndButton,
                                   state_setDoingGrabWurl,
                                   state_setDraggingHoverZone,
                                   state_setInterceptNextKeypress,
                                   state_setDoingWheel,
                                   state_setDoingCoast};
  for (auto set : started) set(true);
  event.sIsLastMdownInHoverZone = 1;
  keys_doAction(kKeyActionDown);
  keys_doRepeat(kKeyActionDown);
  VAkeys_statics().stateList[kKeyActionDown] = kChordRepeating;
  stopAllScrolling();
  const VAstateStatics& s = VAstate_statics();
  EXPECT_FALSE(s.sDoingWheel || s.sDoingAutoScrollWurl || s.sDoingVectorWurl ||
               s.sDoingGrabWToggle || s.sDoingGrabWScrollKey || s.sDoingGrabWHotKeyOnly ||
               s.sDoingGrabWHotKeyAndButton || s.sDoingGrabWurl || s.sDraggingHoverZone ||
               s.sInterceptNextKeypress || event.sIsLastMdownInHoverZone);
  EXPECT_TRUE(s.sDoingCoast);
  EXPECT_FALSE(s.sDoingGrab || s.sDoingVector);
  // Hover scrolling ends with its timer back at a second; the chords and the key repeat end.
  EXPECT_FALSE(s.sDoingHover);
  EXPECT_EQ(VAhover_statics().hoverTimerFreq, 1.0);
  EXPECT_EQ(VAkeys_statics().sTimer, nullptr);
  for (uint16_t chord : VAkeys_statics().stateList) EXPECT_EQ(chord, 0);

  // The URL commands' starters stop everything first, then begin their mode.
  const struct {
    int kind;
    const Relaxed<bool>& flag;
    const Relaxed<bool>& running;
  } starters[] = {{13, s.sDoingAutoScrollWurl, s.sDoingAutoScrollWurl},
                  {14, s.sDoingAutoScrollWurl, s.sDoingAutoScrollWurl},
                  {15, s.sDoingGrabWurl, s.sDoingGrab},
                  {16, s.sDoingVectorWurl, s.sDoingVector}};
  for (const auto& c : starters) {
    state_setDoingGrabWToggle(true);
    bgDelegate::postVAEvent(c.kind);
    agent.runUntil(agent.session().elapsed() + 0.001);
    EXPECT_TRUE(c.flag && c.running) << c.kind;
    EXPECT_FALSE(state_doingGrabWToggle()) << c.kind;
    // The grab's hand shows while the grab runs; the next starter takes it away.
    agent.runUntil(agent.session().elapsed() + 0.1);
    const port::OverlayWindow* hand = agent.session().overlayWindows().windowShowing("hand");
    EXPECT_EQ(hand && hand->visible, c.kind == 15) << c.kind;
  }
}

}  // namespace
