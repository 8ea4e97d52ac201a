// Keyboard scroll: the chord state machines driven by real modifier presses, the grab chord,
// and the repeat's starting speeds, ramp, clamp and catch-up by direct calls.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "VAevent.h"
#include "VAkeys.h"
#include "VAremote.h"
#include "VAscroll.h"
#include "VAstate.h"
#include "VAutils.h"
#include "agent_session.h"

namespace {

using namespace port;
using namespace testing_support;  // AgentSession and the modifier masks

class KeyboardScrollTest : public ::testing::Test {
 protected:
  KeyboardScrollTest() : agent(testing_support::readerPageConfig()) { agent.runUntil(1); }

  double now() { return agent.session().elapsed(); }
  void runFor(double seconds) { agent.runUntil(now() + seconds); }
  // Sets the held modifiers and answers whether the agent swallowed that change.
  bool modifiers(uint64_t masks) {
    size_t before = agent.linesOfKind("swallow").size();
    agent.input().setModifiers(masks);
    runFor(0.05);
    return agent.linesOfKind("swallow").size() > before;
  }
  // The last posted vertical scroll of the agent (positive scrolls toward the top).
  double contentOffset() {
    auto scrolls = agent.linesOfKind("scroll");
    return scrolls.empty() ? 2000 : scrolls.back()["y"].get<double>();
  }

  AgentSession agent;
  PrefsRecord& prefs = *prefs_bgprefs();
  VAkeysStatics& keys = VAkeys_statics();
};

// The defaults: Up is hold Control, tap Option. Release of the tap flicks; a second press
// flicks again and repeats, faster and faster, until the tap goes up; Control up resets.
TEST_F(KeyboardScrollTest, DefaultUpChordFlicksThenRepeatsUntilReleased) {
  EXPECT_FALSE(modifiers(kControl));
  EXPECT_FALSE(modifiers(kControl | kOption));
  EXPECT_EQ(keys.stateList[kKeyActionUp], kChordArmed);
  EXPECT_TRUE(modifiers(kControl));
  EXPECT_EQ(keys.stateList[kKeyActionUp], kChordFired);
  EXPECT_GT(VAremote_statics().sCoastY, 0);  // a coast toward the top
  EXPECT_FALSE(keys_repeatStarted());
  runFor(1);
  double flicked = contentOffset();
  EXPECT_LT(flicked, 2000);

  EXPECT_TRUE(modifiers(kControl | kOption));
  EXPECT_EQ(keys.stateList[kKeyActionUp], kChordRepeating);
  ASSERT_TRUE(keys_repeatStarted());
  EXPECT_EQ(keys.sActionToRepeat, kKeyActionUp);
  runFor(0.5);
  // 138 per second at the start, about 400 more each second.
  EXPECT_NEAR(keys.sSpeed, 138 + 0.55 * 400, 10);
  EXPECT_LT(contentOffset(), flicked - 50);

  EXPECT_TRUE(modifiers(kControl));
  EXPECT_FALSE(keys_repeatStarted());
  EXPECT_EQ(keys.stateList[kKeyActionUp], kChordFired);
  EXPECT_FALSE(modifiers(0));
  for (uint16_t state : keys.stateList) EXPECT_EQ(state, kChordIdle);
}

TEST(KeyboardChordTest, WhatFiresDependsOnTheOtherModifiersAndTheHotKeys) {
  const struct {
    const char* name;
    bool upHotKeyOn;
    std::vector<uint64_t> presses;
    int fired;  // the action repeating or fired last; -1 for none
  } chords[] = {
      {"Up", false, {kControl, kControl | kOption, kControl}, kKeyActionUp},
      {"Shift breaks it",
       false,
       {kControl, kControl | kOption, kControl | kOption | kShift, kControl | kShift},
       -1},
      {"Up hot key on", true, {kControl, kControl | kOption, kControl}, -1},
      {"Down beside it", true, {kControl, kControl | kCommand, kControl}, kKeyActionDown},
      // After Down fires, Up shares its hold: its first Option press fires and repeats.
      {"shared hold",
       false,
       {kControl, kControl | kCommand, kControl, kControl | kOption},
       kKeyActionUp},
  };
  for (const auto& c : chords) {
    AgentSession agent(testing_support::readerPageConfig());
    agent.runUntil(1);
    prefs_bgprefs()->keysHKUpOn = c.upHotKeyOn;
    for (uint64_t held : c.presses) {
      agent.input().setModifiers(held);
      agent.runUntil(agent.session().elapsed() + 0.05);
    }
    // The action repeating, else the one whose flick coasts.
    int fired = keys_repeatStarted() ? VAkeys_statics().sActionToRepeat.load()
                : state_doingCoast()
                    ? (VAremote_statics().sCoastY > 0 ? kKeyActionUp : kKeyActionDown)
                    : -1;
    EXPECT_EQ(fired, c.fired) << c.name;
  }
}

// With keyboard scrolling off and grab trigger kind 1, Shift held and Option tapped arm the
// grab; the modifier changes are swallowed until Shift goes up.
TEST_F(KeyboardScrollTest, GrabChordArmsTheGrabButtonWhileItsHoldIsDown) {
  prefs.keysOn = 0;
  prefs.grabTriggerKind = 1;
  auto handVisible = [this] {
    const OverlayWindow* w = agent.session().overlayWindows().windowShowing("hand");
    return w && w->visible;
  };
  EXPECT_FALSE(modifiers(kShift));
  EXPECT_FALSE(modifiers(kShift | kOption));
  EXPECT_TRUE(modifiers(kShift));
  EXPECT_TRUE(state_doingGrabWScrollKey());
  EXPECT_EQ(keys.stateList[kKeyActionGrabTrigger], kChordGrabbing);
  runFor(0.1);
  EXPECT_TRUE(handVisible());
  EXPECT_TRUE(modifiers(kShift | kOption));
  EXPECT_TRUE(modifiers(kShift));
  // The grab button drags the page while the chord holds.
  agent.input().button(prefs.grabButton, true);
  double before = contentOffset();
  for (int i = 1; i <= 5; ++i) {
    agent.input().moveTo({400, 400.0 + 10 * i});
    runFor(0.01);
  }
  agent.input().button(prefs.grabButton, false);
  runFor(0.3);
  EXPECT_NE(contentOffset(), before);
  EXPECT_FALSE(modifiers(0));
  EXPECT_FALSE(state_doingGrabWScrollKey());
  runFor(0.1);
  EXPECT_FALSE(handVisible());
}

// The repeat by direct ticks: each tick scrolls the time since the last one at the current
// speed, catching up in whole 1/60 s steps, and the ramp is clamped once per tick.
TEST_F(KeyboardScrollTest, RepeatTickScrollsElapsedTimeAtARampingSpeed) {
  constexpr double kTick = 0.01666666753590107;
  const struct {
    const char* name;
    int keysSpeed;
    bool progressive;
    double speedBefore;  // 0: the starting speed
    double dt;
    double startSpeed, speedAfter, distance;
  } ticks[] = {
      {"within a tick", 128, true, 0, 0.9 * kTick, 138, 144, 2.16},
      {"two and a half", 128, true, 0, 2.5 * kTick, 138, 154.6666667, 6.0},
      {"at the top", 128, true, 1290, 0.9 * kTick, 138, 1291.5657, 19.3735},
      {"steady", 128, false, 0, 2.5 * kTick, 1291.5657, 1291.5657, 53.8152},
      {"slowest", 0, true, 0, kTick, 10, 16.6666667, 0},  // under a pixel: nothing
      {"0.3 s late", 128, true, 0, 0.3, 138, 138, 0},
      {"1 ms after", 128, true, 0, 0.001, 138, 138, 0},
  };
  for (const auto& t : ticks) {
    prefs.keysSpeed = static_cast<uint8_t>(t.keysSpeed);
    prefs.keysProgressiveStartOn = t.progressive;
    keys_doAction(kKeyActionUp);
    keys_doRepeat(kKeyActionUp);
    EXPECT_NEAR(keys.sSpeed, t.startSpeed, 1e-3) << t.name;
    keys_stopRepeat();  // the timer goes; the ticks below are called by hand
    stopCoast();
    runFor(0.1);
    if (t.speedBefore) keys.sSpeed = t.speedBefore;

    const VAscrollStatics& scroll = VAscroll_statics();
    double residue = -scroll.sCoast_accumY;
    size_t delivered = agent.linesOfKind("deliver").size();
    double base = utils_now() - t.dt;
    keys.sRepeatLastTime = base;
    repeatProc(nullptr, nullptr);
    runFor(0.001);
    double posted = 0;
    auto lines = agent.linesOfKind("deliver");
    for (size_t i = delivered; i < lines.size(); ++i) {
      if (lines[i]["user"] == kAgentEventTag) posted += lines[i]["px1"].get<double>();
    }
    EXPECT_NEAR(posted - scroll.sCoast_accumY - residue, t.distance, 1e-3) << t.name;
    EXPECT_NEAR(keys.sSpeed, t.speedAfter, 1e-3) << t.name;
    // A tick too soon leaves the timing base; any other moves it to now.
    EXPECT_EQ(keys.sRepeatLastTime == base, t.dt < 0.0014) << t.name;
  }
}

}  // namespace
