// The keyboard's triggers end to end: the modifier tap that starts autoscroll, hot keys
// for grab, vector and keyboard scrolling, capture of a key for the pane, the arrow keys'
// hover tuning, keys ending modes, the hover modifier showing the zones, and bad input.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "VAcursor.h"
#include "VAevent.h"
#include "VAgrab.h"
#include "VAhover.h"
#include "VAkeys.h"
#include "VAremote.h"
#include "VAstate.h"
#include "VAtapMgr.h"
#include "VAutils.h"
#include "VAvector.h"
#include "acc/blockAtomic.h"
#include "agent_session.h"
#include "platform/virtual/threading.h"

namespace {

using namespace port;
using namespace testing_support;  // AgentSession and the modifier masks

constexpr uint16_t kKeyJ = 38;
constexpr uint16_t kKeyG = 5;
constexpr uint16_t kKeyV = 9;

class KeyboardTriggersTest : public ::testing::Test {
 protected:
  KeyboardTriggersTest() : agent(testing_support::readerPageConfig()) { agent.runUntil(1); }

  double now() { return agent.session().elapsed(); }
  void runFor(double seconds) { agent.runUntil(now() + seconds); }
  void modifiers(uint64_t masks) { agent.input().setModifiers(masks); }
  void key(uint16_t code, bool down) { agent.input().key(code, down); }
  void press(uint16_t code) {
    key(code, true);
    runFor(0.05);
    key(code, false);
  }
  // Key events of this type the applications received.
  size_t keysDelivered(CGEventType type) {
    size_t n = 0;
    for (const auto& l : agent.linesOfKind("deliver")) n += l["type"] == type;
    return n;
  }

  bool visible(const char* kind) {
    const OverlayWindow* w = agent.session().overlayWindows().windowShowing(kind);
    return w && w->visible;
  }

  AgentSession agent;
  PrefsRecord& prefs = *prefs_bgprefs();
};

// A clean tap: Option alone, held 0.05 s to 0.18 s, no button down, no key in the last 0.7 s.
TEST(ModifierTapTest, OnlyACleanTapOfTheModifierStartsAutoscrollInItsDirection) {
  const struct {
    const char* name;
    uint64_t mod;
    double hold;
    double typedBefore;  // seconds before the tap; 0 for no key
    bool button;
    uint64_t alsoHeld;
    bool starts;
  } taps[] = {
      {"0.1 s", kOption, 0.1, 0, false, 0, true},
      {"0.03 s", kOption, 0.03, 0, false, 0, false},
      {"0.2 s", kOption, 0.2, 0, false, 0, false},
      {"button held", kOption, 0.1, 0, true, 0, false},
      {"typed 0.5 s before", kOption, 0.1, 0.5, false, 0, false},
      {"typed 0.8 s before", kOption, 0.1, 0.8, false, 0, true},
      {"with Control down", kOption, 0.1, 0, false, kControl, false},
      {"Control taps upward", kControl, 0.1, 0, false, 0, true},
  };
  for (const auto& c : taps) {
    AgentSession agent(testing_support::readerPageConfig());
    agent.runUntil(1);
    auto& input = agent.input();
    if (c.typedBefore) {
      agent.at(2 - c.typedBefore, [&input] { input.key(kKeyJ, true); });
      agent.at(2 - c.typedBefore + 0.02, [&input] { input.key(kKeyJ, false); });
    }
    if (c.button) agent.at(1.9, [&input] { input.button(2, true); });
    if (c.alsoHeld) agent.at(1.95, [&input, &c] { input.setModifiers(c.alsoHeld); });
    agent.at(2, [&input, &c] { input.setModifiers(c.alsoHeld | c.mod); });
    agent.at(2 + c.hold, [&input, &c] { input.setModifiers(c.alsoHeld); });
    agent.runUntil(2.5);
    EXPECT_EQ(state_doingAutoScroll(), c.starts) << c.name;
    EXPECT_EQ(VAevent_statics().sAutoScrollModWentDownTime, 0) << c.name;
    if (!c.starts) continue;
    // Started on the main thread: the hover timer runs on the main run loop.
    ASSERT_NE(VAhover_statics().hoverTimer, nullptr);
    EXPECT_EQ(VAhover_statics().hoverTimer->loop, platform().runLoops->getMain()) << c.name;
    // The cursor went into the zone of the tap's direction: the bottom band for Option.
    double y = agent.session().world().cursor.y;
    EXPECT_EQ(y > 420, c.mod == kOption) << c.name << " at " << y;
  }
}

TEST_F(KeyboardTriggersTest, KeyboardScrollHotKeyActsOncePerBounceAndStopsItsRepeatOnRelease) {
  prefs.keysHKDownOn = 1;
  prefs.keysHotKeyDownMods = 0;
  prefs.keysHotKeyDownChar = 'j';
  VAeventStatics& event = VAevent_statics();
  key(kKeyJ, true);
  runFor(0.01);
  double first = event.sLastKeysHotKeyDown;
  EXPECT_DOUBLE_EQ(first, agent.session().absolute(1));
  ASSERT_TRUE(keys_repeatStarted());
  // Asked on the main thread, where keys arrive, the repeat ticks on the event thread.
  EXPECT_EQ(VAkeys_statics().sTimer.load()->loop, VAtapMgr_statics().sEventThreadRunLoop.load());
  key(kKeyJ, false);
  EXPECT_FALSE(keys_repeatStarted());
  runFor(0.1);
  key(kKeyJ, true);  // 0.11 s after the first: a bounce
  key(kKeyJ, false);
  EXPECT_EQ(event.sLastKeysHotKeyDown, first);
  EXPECT_FALSE(keys_repeatStarted());
  // Held: the system's auto-repeat acts only where 0.15 s have passed since the last act.
  runFor(0.2);
  key(kKeyJ, true);
  runFor(0.5);  // the press, then repeats at 0.375 s and 0.465 s
  EXPECT_DOUBLE_EQ(event.sLastKeysHotKeyDown, agent.session().absolute(now() - 0.5 + 0.375));
  EXPECT_TRUE(keys_repeatStarted());
  key(kKeyJ, false);
  EXPECT_FALSE(keys_repeatStarted());
  EXPECT_EQ(keysDelivered(kCGEventKeyDown) + keysDelivered(kCGEventKeyUp), 0u);
}

// Kind 3: the grab runs while Command-G is held and ends on its release or on any other
// set of modifiers.
TEST_F(KeyboardTriggersTest, HotKeyOnlyGrabRunsWhileItsKeyIsHeld) {
  prefs.grabTriggerKind = 3;
  prefs.grabHotKeyMods = kCommand;
  prefs.grabHotKeyChar = 'g';
  const struct {
    const char* ending;
    bool byShift;
  } endings[] = {{"key up", false}, {"Shift added", true}};
  for (const auto& e : endings) {
    modifiers(kCommand);
    key(kKeyG, true);
    runFor(0.1);
    EXPECT_TRUE(state_doingGrab() && state_doingGrabWHotKeyOnly()) << e.ending;
    EXPECT_TRUE(visible("hand")) << e.ending;
    double before = agent.linesOfKind("scroll").size();
    agent.input().moveTo({420, 380.0 - 40 * e.byShift});
    runFor(0.05);
    EXPECT_GT(agent.linesOfKind("scroll").size(), before) << e.ending;
    if (e.byShift) {
      modifiers(kCommand | kShift);
    } else {
      key(kKeyG, false);
    }
    runFor(0.2);
    EXPECT_FALSE(state_doingGrab() || state_doingGrabWHotKeyOnly()) << e.ending;
    EXPECT_FALSE(visible("hand")) << e.ending;
    if (e.byShift) key(kKeyG, false);
    modifiers(0);
    runFor(0.5);
  }
  EXPECT_EQ(keysDelivered(kCGEventKeyDown), 0u);
}

TEST_F(KeyboardTriggersTest, GrabCoastOutlivesItsHotKeyModifiersButNotAnotherModifier) {
  prefs.grabTriggerKind = 3;
  prefs.grabHotKeyMods = kCommand;
  prefs.grabHotKeyChar = 'g';
  prefs.grabFreezeOn = 0;
  modifiers(kCommand);
  key(kKeyG, true);
  runFor(0.05);
  auto& input = agent.input();
  for (int i = 1; i <= 16; ++i) {  // 0.128 s: longer than the release coast looks back
    input.moveTo({400, 400.0 - 12 * i});
    runFor(0.008);
  }
  key(kKeyG, false);
  runFor(0.25);  // past the window in which the grab's coast ignores events
  ASSERT_TRUE(state_doingCoast());
  EXPECT_EQ(state_coastStartedBy(), 1);
  modifiers(0);
  runFor(0.02);
  EXPECT_TRUE(state_doingCoast());
  modifiers(kShift);
  runFor(0.02);
  EXPECT_FALSE(state_doingCoast());
}

// Kind 1 vector: started at the mouse by Control-V; a change within Control keeps it,
// anything else ends it.
TEST_F(KeyboardTriggersTest, HotKeyVectorEndsOnModifiersOutsideItsOwn) {
  prefs.vectorOn = 1;
  prefs.vectorTriggerKind = 1;
  prefs.vectorHotKeyMods = kControl;
  prefs.vectorHotKeyChar = 'v';
  const struct {
    uint64_t then;
    bool keeps;
  } changes[] = {{0, true}, {kShift, false}, {kControl | kShift, false}, {kControl, true}};
  for (const auto& c : changes) {
    modifiers(kControl);
    press(kKeyV);
    runFor(0.05);
    ASSERT_TRUE(state_doingVector());
    EXPECT_EQ(VAvector_statics().sStartPoint, agent.events().mouseLocation());
    modifiers(c.then);
    runFor(0.05);
    EXPECT_EQ(state_doingVector(), c.keeps) << c.then;
    stopAllScrolling();
    modifiers(0);
    runFor(0.3);
  }
  EXPECT_EQ(keysDelivered(kCGEventKeyDown) + keysDelivered(kCGEventKeyUp), 0u);
}

TEST_F(KeyboardTriggersTest, PaneCaptureTakesTheNextKeyEvenAHotKey) {
  prefs.vectorOn = 1;
  prefs.vectorTriggerKind = 1;
  prefs.vectorHotKeyMods = 0;
  prefs.vectorHotKeyChar = 'v';
  const struct {
    std::string ignoring;
    int64_t reported;
  } keys[] = {{"v", 'v'}, {"", 25}, {"\xF0\x9F\x98\x80", 0xD83D}, {"\xFF", 0xFFFD}};
  for (const auto& k : keys) {
    state_setInterceptNextKeypress(true);
    agent.input().key(kKeyV, true, k.ignoring, k.ignoring);
    agent.input().key(kKeyV, false, k.ignoring, k.ignoring);
    runFor(0.05);
    EXPECT_FALSE(state_interceptNextKeypress());
    EXPECT_FALSE(state_doingVector()) << k.reported;
    auto pane = agent.linesOfKind("pane");
    ASSERT_FALSE(pane.empty());
    EXPECT_EQ(pane.back()["m"], "k");
    EXPECT_EQ(pane.back()["d"]["c"], k.reported);
    EXPECT_EQ(pane.back()["d"]["md"], 0);
  }
  // Only the releases of the keys that match no hot key.
  EXPECT_EQ(keysDelivered(kCGEventKeyDown), 0u);
  EXPECT_EQ(keysDelivered(kCGEventKeyUp), 3u);
}

TEST_F(KeyboardTriggersTest, ArrowKeysTuneAutoscrollAndAreSwallowed) {
  dispatchMainWithAutoreleasePool([] { hover_startAutoScroll(kDirectionDown); });
  runFor(0.05);
  ASSERT_TRUE(state_doingAutoScroll());
  const struct {
    uint16_t code;
    int32_t tweak;
    bool faster, reverse;  // while held
  } arrows[] = {{123, 1, false, false},
                {124, -1, false, false},
                {125, 0, true, false},
                {126, 0, false, true}};
  for (const auto& a : arrows) {
    int32_t tweak = state_hoverSpeedTweak();
    key(a.code, true);
    EXPECT_EQ(state_hoverSpeedTweak() - tweak, a.tweak) << a.code;
    EXPECT_EQ(state_hoverFaster(), a.faster) << a.code;
    EXPECT_EQ(state_hoverReverse(), a.reverse) << a.code;
    key(a.code, false);
    EXPECT_FALSE(state_hoverFaster() || state_hoverReverse()) << a.code;
  }
  EXPECT_TRUE(state_doingAutoScroll());
  EXPECT_EQ(keysDelivered(kCGEventKeyDown) + keysDelivered(kCGEventKeyUp), 0u);
}

// A key that triggers nothing ends a vector or a grab and is swallowed; with nothing to end
// it reaches the application.
TEST_F(KeyboardTriggersTest, AnyOtherKeyPressEndsTheModeItInterrupts) {
  vectorStart_point(400, 500);
  press(kKeyJ);
  EXPECT_FALSE(state_doingVector());
  state_setDoingGrabWToggle(true);
  grabStart_unflippedPoint(400, 500);
  press(kKeyJ);
  EXPECT_FALSE(state_doingGrab() || state_doingGrabWToggle());
  press(kKeyJ);
  runFor(0.05);
  auto delivered = agent.linesOfKind("deliver");
  std::vector<int> types;
  for (const auto& l : delivered) {
    if (l["type"] == kCGEventKeyDown || l["type"] == kCGEventKeyUp) types.push_back(l["type"]);
  }
  EXPECT_EQ(types,
            (std::vector<int>{kCGEventKeyUp, kCGEventKeyUp, kCGEventKeyDown, kCGEventKeyUp}));
}

// Holding the hover modifier alone near a window's edge shows its zones, as long as no key
// went down in the last 0.5 s.
TEST_F(KeyboardTriggersTest, HoverModifierHeldAloneShowsTheZones) {
  prefs.hoverOn = 0;  // the zones are there for autoscroll; nothing scrolls by itself
  auto zoneUpVisible = [this] {
    return agent.session().overlayWindows().windowNamed("zoneUp")->visible;
  };
  // The pointer moves a little in the scroll area's upper zone, then rests a second.
  double x = 300;
  auto nudge = [&] {
    agent.input().moveTo({x += 10, 160});
    runFor(1);
  };
  nudge();
  EXPECT_FALSE(zoneUpVisible());
  const struct {
    uint64_t held;
    bool shows;
  } holds[] = {{kOption, true}, {kOption | kShift, false}, {0, false}, {kOption, true}};
  for (const auto& h : holds) {
    modifiers(h.held);
    runFor(0.1);
    nudge();  // the first move after a modifier change may find the mouse-moved tap off
    nudge();
    EXPECT_EQ(state_forcingZonesVisible(), h.shows) << h.held;
    EXPECT_EQ(zoneUpVisible(), h.shows) << h.held;
  }
}

// Nothing the keyboard sends leaves a repeat or a mode running once the modifiers are let
// go and everything is stopped.
TEST_F(KeyboardTriggersTest, BadKeyboardInputLeavesNothingRunning) {
  prefs.keysHKUpOn = 1;
  prefs.keysHotKeyUpMods = 0;
  prefs.keysHotKeyUpChar = 0;  // a hot key whose character is 0
  auto& input = agent.input();
  input.key(kKeyJ, false);  // a release without a press
  input.key(0, true, std::string(1, '\0'), std::string(1, '\0'));
  input.key(1, true, std::string(40, 'x'), std::string(40, 'x'));
  input.key(2, true, "\xC3", "\xE2\x82");
  input.key(3, true, "", "");
  for (int i = 0; i < 256; ++i) {
    input.setModifiers(i % 2 ? kControl : kControl | kOption);
  }
  for (int i = 0; i < 500; ++i) {
    input.raw(kCGEventKeyDown, {{kCGKeyboardEventKeycode, 0}, {kCGKeyboardEventAutorepeat, 1}}, 0);
  }
  input.setModifiers(kControl);  // the hold modifier, never let go
  runFor(2);
  bgDelegate::postVAEvent(12);
  runFor(2);
  EXPECT_FALSE(keys_repeatStarted());
  for (uint16_t chord : VAkeys_statics().stateList) EXPECT_EQ(chord, 0);
  EXPECT_FALSE(state_doingGrab() || state_doingVector() || state_doingAutoScroll() ||
               state_doingCoast() || state_doingGrabWScrollKey());
}

}  // namespace
