// The tap manager: its four taps, the event thread, the timeout and re-enable rules,
// VA event hand-over and the failures that end start-up.
#include <gtest/gtest.h>

#include <algorithm>

#include <string>
#include <tuple>
#include <vector>

#include "VAevent.h"
#include "VAstate.h"
#include "acc/TWptrSet.h"
#include "acc/blockAtomic.h"
#include "agent_session.h"

namespace {

using namespace port;
using testing_support::AgentSession;
using Bools = std::vector<bool>;

class TapManagerTest : public ::testing::Test {
 protected:
  AgentSession agent;
  vsession::EventSystem& quartz = agent.events();
  const VAtapMgrStatics& taps = VAtapMgr_statics();
  // The main, mouse-moved, gesture and key taps.
  const std::vector<CFMachPortRef> all{taps.sTap, taps.sTapMMoved, taps.sTapWatch, taps.sTapKeys};
  Bools enabled() {
    Bools out;
    for (CFMachPortRef t : all) out.push_back(quartz.tapIsEnabled(t));
    return out;
  }
};

TEST_F(TapManagerTest, InstallsFourSessionTapsWithTheirMasksCallbacksOptionsAndThreads) {
  for (CFMachPortRef t : all) ASSERT_NE(t, nullptr);
  // Mask, callback, listening only, thread.
  using Tap = std::tuple<CGEventMask, CGEventTapCallBack, bool, std::string>;
  auto made = [this](CFMachPortRef t) {
    return Tap(t->mask, t->callback, t->options == kCGEventTapOptionListenOnly,
               agent.session().scheduler().laneName(t->source->loop->lane));
  };
  EXPECT_EQ(made(taps.sTapKeys), Tap(0xC00, keyEventTapCallBack, false, "main"));
  EXPECT_EQ(made(taps.sTap), Tap(0xE4010DE, MyEventTapCallBack, false, "event"));
  EXPECT_EQ(made(taps.sTapMMoved), Tap(0x20, MyEventTapCallBack, false, "event"));
  EXPECT_EQ(made(taps.sTapWatch), Tap(0x20000000, MyWatchEventTapCallBack, true, "event"));
  // Each was inserted at the head: the last made is the first passed.
  EXPECT_EQ(quartz.taps(),
            (std::vector<MachPort*>{taps.sTapWatch, taps.sTapMMoved, taps.sTap, taps.sTapKeys}));
  EXPECT_EQ(taps.sEnableEvTapMMoved, 1);
}

TEST_F(TapManagerTest, TimeoutsBringBackOneWantedTapAtATimeAndUserInputNone) {
  // Main tap disabled: it alone comes back, even with the wanted moved tap off too.
  quartz.tapEnable(taps.sTapMMoved, false);
  quartz.disableTap(taps.sTap, kCGEventTapDisabledByTimeout);
  EXPECT_EQ(enabled(), (Bools{true, false, true, true}));
  // Main tap fine: the next notice restores the moved tap.
  quartz.disableTap(taps.sTapMMoved, kCGEventTapDisabledByTimeout);
  EXPECT_EQ(enabled(), (Bools{true, true, true, true}));
  // Unwanted, the moved and gesture taps stay off.
  evtapMMoved_setEnabled(false);
  quartz.disableTap(taps.sTapMMoved, kCGEventTapDisabledByTimeout);
  quartz.disableTap(taps.sTapWatch, kCGEventTapDisabledByTimeout);
  EXPECT_EQ(enabled(), (Bools{true, false, false, true}));
  evtapMMoved_setEnabled(true);
  quartz.disableTap(taps.sTapWatch, kCGEventTapDisabledByTimeout);
  EXPECT_EQ(enabled(), (Bools{true, true, true, true}));
  quartz.disableTap(taps.sTapKeys, kCGEventTapDisabledByUserInput);
  quartz.disableTap(taps.sTap, kCGEventTapDisabledByUserInput);
  EXPECT_EQ(enabled(), (Bools{false, true, true, false}));
  quartz.disableTap(taps.sTapKeys, kCGEventTapDisabledByTimeout);
  EXPECT_EQ(enabled(), (Bools{false, true, true, true}));
}

// With the coast-stop ignore window open the dispatcher swallows whatever reaches it, so a
// null answer shows that the event got there.
TEST_F(TapManagerTest, OnlyEventTypesOneTo2000ReachTheDispatcher) {
  event_ignoreCoastStopEventsForDelay(100);
  CGEventRef event = quartz.newEvent(kCGEventMouseMoved);
  for (CGEventType type : {1u, 10u, 2000u, 0u, 2001u, kCGEventTapDisabledByUserInput}) {
    CGEventRef expected = type >= 1 && type <= 2000 ? nullptr : event;
    EXPECT_EQ(MyEventTapCallBack(nullptr, type, event, nullptr), expected) << "main, " << type;
    EXPECT_EQ(keyEventTapCallBack(nullptr, type, event, nullptr), expected) << "keys, " << type;
  }
  quartz.release(
      event);  // From the hardware, a type beyond any tap's mask passes every tap and reaches the
  // application (the sanitizer build would catch a mask bit shifted out of range).
  agent.input().raw(2001, {}, 0);
  EXPECT_EQ(agent.linesOfKind("deliver").back()["type"], 2001);
}

TEST_F(TapManagerTest, GesturePassesEvenWhenTheDispatcherWouldSwallowIt) {
  event_ignoreCoastStopEventsForDelay(100);
  // The gesture reaches the application while the wheel is swallowed.
  agent.input().raw(kNSEventTypeGesture, {}, 0);
  agent.input().wheel(0, 1, std::nullopt);
  ASSERT_EQ(agent.linesOfKind("deliver").size(), 1u);
  EXPECT_EQ(agent.linesOfKind("deliver")[0]["type"], 29);
  EXPECT_EQ(agent.linesOfKind("swallow").size(), 1u);
}

TEST_F(TapManagerTest, ReEnableTimerRestoresWantedTapsAfterThreeSecondsThenEverySeven) {
  for (CFMachPortRef t : all) quartz.tapEnable(t, false);
  evtapMMoved_setEnabled(false);
  agent.runUntil(2.9);
  EXPECT_EQ(enabled(), (Bools{false, false, false, false}));
  agent.runUntil(3.0);
  EXPECT_EQ(enabled(), (Bools{true, false, false, true}));
  evtapMMoved_setEnabled(true);
  for (CFMachPortRef t : all) quartz.tapEnable(t, false);
  agent.runUntil(9.9);
  EXPECT_EQ(enabled(), (Bools{false, false, false, false}));
  agent.runUntil(10.0);
  EXPECT_EQ(enabled(), (Bools{true, true, true, true}));
}

TEST_F(TapManagerTest, TheEventThreadHearsMovesOnlyWithTheMovedTapOnAndRunsVAEventsInOrder) {
  vsession::Scheduler& scheduler = agent.session().scheduler();
  std::vector<std::string> wakes;
  scheduler.setWakeObserver([&](vsession::LaneId lane, const char* what) {
    wakes.push_back(scheduler.laneName(lane) + "/" + what);
  });
  agent.input().moveTo({410, 410});
  evtapMMoved_setEnabled(false);
  agent.input().moveTo({420, 420});
  agent.input().moveTo({430, 430});
  agent.runUntil(agent.session().elapsed());
  EXPECT_EQ(agent.linesOfKind("deliver").size(), 3u);
  // The first move also asks the main thread for a pass.
  EXPECT_EQ(wakes, (std::vector<std::string>{"event/tap", "main/dispatch"}));
  wakes.clear();
  state_setDoingWheel(true);
  bgDelegate::postVAEvent(15);      // grab by URL
  bgDelegate::postVAEvent(12);      // stop everything
  EXPECT_TRUE(state_doingWheel());  // nothing runs before the event thread wakes
  agent.runUntil(agent.session().elapsed());
  // Both run in one wake of the event thread; the main thread then hides the grab's hand.
  EXPECT_EQ(std::count(wakes.begin(), wakes.end(), "event/block"), 1);
  EXPECT_EQ(wakes.front(), "event/block");
  EXPECT_FALSE(state_doingWheel());
  EXPECT_FALSE(state_doingGrabWurl());  // 15 then 12, in that order
}

// What one thread hands another runs in a pool of its own, gone when the work is done.
TEST_F(TapManagerTest, AHandedOverBlockRunsInAnAutoreleasePoolOfItsOwn) {
  int depth = -1;
  BlockWithAutoreleasePool([&] { depth = agent.session().threading().autoreleasePoolDepth(); })();
  EXPECT_EQ(depth, 1);
  EXPECT_EQ(agent.session().threading().autoreleasePoolDepth(), 0);
}

TEST(TapManagerBeforeStartTest, VAEventPostedBeforeStartUpIsDropped) {
  AgentSession agent(testing_support::twoWindowConfig(), false);
  state_setDoingGrabWurl(true);
  bgDelegate::postVAEvent(12);
  agent.runUntil(1);
  EXPECT_TRUE(state_doingGrabWurl());
}

TEST(TWptrSetTest, HoldsPointersByIdentityWithOrWithoutItsLock) {
  AgentSession agent;  // the lock comes from the session
  int a = 0, b = 0;
  for (bool locked : {false, true}) {
    TWptrSet set(locked);
    EXPECT_FALSE(set.contains(&a)) << "locked: " << locked;
    set.remove(&a);  // a fresh set: nothing to do
    set.add(&a);
    set.add(&a);
    EXPECT_TRUE(set.contains(&a)) << "locked: " << locked;
    EXPECT_FALSE(set.contains(&b)) << "locked: " << locked;
    set.remove(&a);
    EXPECT_FALSE(set.contains(&a)) << "locked: " << locked;
  }
}

// Taps are made in the order: keys, main, moved, watch.
TEST(StartupFailureTest, EachStepThatFailsLogsItsMessageAndEndsTheAgent) {
  const std::pair<const char*, void (*)(vsession::Faults&)> kFailures[] = {
      {"Could not create ktap", [](vsession::Faults& f) { f.failTapCreate = {1}; }},
      {"Could not create ksource", [](vsession::Faults& f) { f.failTapSourceCreate = {1}; }},
      {"Could not create loop", [](vsession::Faults& f) { f.noRunLoopOnNewThreads = true; }},
      {"Could not create timer", [](vsession::Faults& f) { f.failTimerCreate = true; }},
      {"Could not create tap", [](vsession::Faults& f) { f.failTapCreate = {2}; }},
      {"Could not create source", [](vsession::Faults& f) { f.failTapSourceCreate = {2}; }},
      {"Could not create mtap", [](vsession::Faults& f) { f.failTapCreate = {3}; }},
      {"Could not create moved source", [](vsession::Faults& f) { f.failTapSourceCreate = {3}; }},
      {"Could not create wtap", [](vsession::Faults& f) { f.failTapCreate = {4}; }},
      {"Could not create wsource", [](vsession::Faults& f) { f.failTapSourceCreate = {4}; }},
  };
  for (const auto& [message, inject] : kFailures) {
    AgentSession agent(testing_support::twoWindowConfig(), false);
    inject(agent.session().faults());
    agent.startAgent();
    agent.runUntil(1);
    const auto& logs = agent.session().logLines();
    ASSERT_FALSE(logs.empty()) << message;
    EXPECT_EQ(logs.front(), message);
    // AppKit takes the request on the main thread only, whichever thread's step failed.
    EXPECT_EQ(agent.session().offMainTerminateRequests(), 0) << message;
    EXPECT_TRUE(agent.session().terminated()) << message;
  }
}

}  // namespace
