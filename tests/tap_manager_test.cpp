// The tap manager: its four taps, the event thread, the timeout and re-enable rules,
// VA event hand-over and the failures that end start-up.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "VAevent.h"
#include "VAstate.h"
#include "acc/TWptrSet.h"
#include "acc/blockAtomic.h"
#include "agent_session.h"

namespace {

using namespace port;
using testing_support::AgentSession;

class TapManagerTest : public ::testing::Test {
 protected:
  AgentSession agent;
  QuartzEvents& quartz = agent.events();
  const VAtapMgrStatics& taps = VAtapMgr_statics();

  std::string laneOf(CFMachPortRef tap) {
    auto& s = agent.session().scheduler();
    return s.laneName(tap->source->loop->lane);
  }
  void allEnabled(bool on) {
    for (CFMachPortRef t : {taps.sTap, taps.sTapMMoved, taps.sTapWatch, taps.sTapKeys}) {
      quartz.tapEnable(t, on);
    }
  }
};

TEST_F(TapManagerTest, InstallsFourSessionTapsWithTheirMasksThreadsAndOptions) {
  ASSERT_NE(taps.sTap, nullptr);
  ASSERT_NE(taps.sTapMMoved, nullptr);
  ASSERT_NE(taps.sTapWatch, nullptr);
  ASSERT_NE(taps.sTapKeys, nullptr);
  EXPECT_EQ(taps.sTapKeys->mask, 0xC00u);
  EXPECT_EQ(taps.sTap->mask, 0xE4010DEu);
  EXPECT_EQ(taps.sTapMMoved->mask, 0x20u);
  EXPECT_EQ(taps.sTapWatch->mask, 0x20000000u);
  EXPECT_EQ(taps.sTapWatch->options, kCGEventTapOptionListenOnly);
  EXPECT_EQ(taps.sTap->options, kCGEventTapOptionDefault);
  EXPECT_EQ(laneOf(taps.sTapKeys), "main");
  EXPECT_EQ(laneOf(taps.sTap), "event");
  EXPECT_EQ(laneOf(taps.sTapMMoved), "event");
  EXPECT_EQ(laneOf(taps.sTapWatch), "event");
  // Each was inserted at the head: the last made is the first passed.
  EXPECT_EQ(agent.events().taps(),
            (std::vector<MachPort*>{taps.sTapWatch, taps.sTapMMoved, taps.sTap, taps.sTapKeys}));
  EXPECT_EQ(taps.sEnableEvTapMMoved, 1);
}

TEST_F(TapManagerTest, TimeoutOnTheMainTapReEnablesOneTapAtATime) {
  // Main tap disabled: it alone comes back, even with the moved tap off too.
  quartz.tapEnable(taps.sTapMMoved, false);
  agent.events().disableTap(taps.sTap, kCGEventTapDisabledByTimeout);
  EXPECT_TRUE(quartz.tapIsEnabled(taps.sTap));
  EXPECT_FALSE(quartz.tapIsEnabled(taps.sTapMMoved));
  // Main tap fine: the next notification restores the wanted moved tap.
  MyEventTapCallBack(nullptr, kCGEventTapDisabledByTimeout, nullptr, nullptr);
  EXPECT_TRUE(quartz.tapIsEnabled(taps.sTapMMoved));
}

TEST_F(TapManagerTest, TimeoutLeavesAnUnwantedMovedTapOff) {
  evtapMMoved_setEnabled(false);
  CGEventRef notice = agent.events().newEvent(kCGEventNull);
  EXPECT_EQ(MyEventTapCallBack(nullptr, kCGEventTapDisabledByTimeout, notice, nullptr), notice);
  EXPECT_FALSE(quartz.tapIsEnabled(taps.sTapMMoved));
  EXPECT_TRUE(quartz.tapIsEnabled(taps.sTap));
  // The gesture tap follows the same flag.
  MyWatchEventTapCallBack(nullptr, kCGEventTapDisabledByTimeout, notice, nullptr);
  EXPECT_FALSE(quartz.tapIsEnabled(taps.sTapWatch));
  evtapMMoved_setEnabled(true);
  quartz.tapEnable(taps.sTapWatch, false);
  MyWatchEventTapCallBack(nullptr, kCGEventTapDisabledByTimeout, notice, nullptr);
  EXPECT_TRUE(quartz.tapIsEnabled(taps.sTapWatch));
  agent.events().release(notice);
}

TEST_F(TapManagerTest, KeyTapComesBackOnTimeoutButNotOnUserInput) {
  agent.events().disableTap(taps.sTapKeys, kCGEventTapDisabledByUserInput);
  agent.events().disableTap(taps.sTap, kCGEventTapDisabledByUserInput);
  EXPECT_FALSE(quartz.tapIsEnabled(taps.sTapKeys));
  EXPECT_FALSE(quartz.tapIsEnabled(taps.sTap));
  agent.events().disableTap(taps.sTapKeys, kCGEventTapDisabledByTimeout);
  EXPECT_TRUE(quartz.tapIsEnabled(taps.sTapKeys));
}

// With the coast-stop ignore window open the dispatcher swallows whatever reaches it, so a
// null answer shows that the event got there.
TEST_F(TapManagerTest, OnlyEventTypesOneTo2000ReachTheDispatcher) {
  event_ignoreCoastStopEventsForDelay(100);
  CGEventRef event = agent.events().newEvent(kCGEventMouseMoved);
  EXPECT_EQ(MyEventTapCallBack(nullptr, 1, event, nullptr), nullptr);
  EXPECT_EQ(MyEventTapCallBack(nullptr, 2000, event, nullptr), nullptr);
  EXPECT_EQ(MyEventTapCallBack(nullptr, 0, event, nullptr), event);
  EXPECT_EQ(MyEventTapCallBack(nullptr, 2001, event, nullptr), event);
  EXPECT_EQ(MyEventTapCallBack(nullptr, kCGEventTapDisabledByUserInput, event, nullptr), event);
  EXPECT_EQ(keyEventTapCallBack(nullptr, 10, event, nullptr), nullptr);
  EXPECT_EQ(keyEventTapCallBack(nullptr, 0, event, nullptr), event);
  EXPECT_EQ(keyEventTapCallBack(nullptr, 2001, event, nullptr), event);
  agent.events().release(event);
}

TEST_F(TapManagerTest, GesturePassesEvenWhenTheDispatcherWouldSwallowIt) {
  event_ignoreCoastStopEventsForDelay(100);
  CGEventRef gesture = agent.events().newEvent(kNSEventTypeGesture);
  EXPECT_EQ(MyWatchEventTapCallBack(nullptr, kNSEventTypeGesture, gesture, nullptr), gesture);
  agent.events().release(gesture);
  // End to end: the gesture reaches the application while the wheel is swallowed.
  agent.input().raw(kNSEventTypeGesture, {}, 0);
  agent.input().wheel(0, 1, std::nullopt);
  ASSERT_EQ(agent.linesOfKind("deliver").size(), 1u);
  EXPECT_EQ(agent.linesOfKind("deliver")[0]["type"], 29);
  EXPECT_EQ(agent.linesOfKind("swallow").size(), 1u);
}

TEST_F(TapManagerTest, ReEnableTimerRestoresTapsAfterThreeSecondsThenEverySeven) {
  allEnabled(false);
  agent.runUntil(2.9);
  EXPECT_FALSE(quartz.tapIsEnabled(taps.sTap));
  agent.runUntil(3.0);
  for (CFMachPortRef t : {taps.sTap, taps.sTapMMoved, taps.sTapWatch, taps.sTapKeys}) {
    EXPECT_TRUE(quartz.tapIsEnabled(t));
  }
  allEnabled(false);
  agent.runUntil(9.9);
  EXPECT_FALSE(quartz.tapIsEnabled(taps.sTapKeys));
  agent.runUntil(10.0);
  EXPECT_TRUE(quartz.tapIsEnabled(taps.sTapKeys));
}

TEST_F(TapManagerTest, ReEnableTimerLeavesMovedAndGestureTapsOffWhenNotWanted) {
  evtapMMoved_setEnabled(false);
  EXPECT_FALSE(quartz.tapIsEnabled(taps.sTapMMoved));
  EXPECT_FALSE(quartz.tapIsEnabled(taps.sTapWatch));
  quartz.tapEnable(taps.sTap, false);
  agent.runUntil(3.0);
  EXPECT_TRUE(quartz.tapIsEnabled(taps.sTap));
  EXPECT_FALSE(quartz.tapIsEnabled(taps.sTapMMoved));
  EXPECT_FALSE(quartz.tapIsEnabled(taps.sTapWatch));
}

TEST_F(TapManagerTest, MovedTapOffKeepsMouseMovesAwayFromTheEventThread) {
  vsession::VirtualSession& session = agent.session();
  int eventWakes = 0;
  session.scheduler().setWakeObserver([&](vsession::LaneId lane, const char*) {
    if (session.scheduler().laneName(lane) == "event") ++eventWakes;
  });
  agent.input().moveTo({410, 410});
  EXPECT_EQ(eventWakes, 1);
  evtapMMoved_setEnabled(false);
  agent.input().moveTo({420, 420});
  agent.input().moveTo({430, 430});
  EXPECT_EQ(eventWakes, 1);
  EXPECT_EQ(agent.linesOfKind("deliver").size(), 3u);
}

TEST_F(TapManagerTest, VAEventsRunOnTheEventThreadInOrderInAnAutoreleasePool) {
  vsession::VirtualSession& session = agent.session();
  std::vector<std::string> lanes;
  session.scheduler().setWakeObserver([&](vsession::LaneId lane, const char* what) {
    lanes.push_back(session.scheduler().laneName(lane) + "/" + what);
  });
  state_setDoingWheel(true);
  bgDelegate::postVAEvent(15);      // grab by URL
  bgDelegate::postVAEvent(12);      // stop everything
  EXPECT_TRUE(state_doingWheel());  // nothing runs before the event thread wakes
  agent.runUntil(session.elapsed());
  EXPECT_EQ(lanes, (std::vector<std::string>{"event/block"}));
  EXPECT_FALSE(state_doingWheel());
  EXPECT_FALSE(state_doingGrabWurl());  // 15 then 12, in that order

  int depth = -1;
  port::Block block =
      BlockWithAutoreleasePool([&] { depth = agent.session().threading().autoreleasePoolDepth(); });
  block();
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
  AgentSession agent;
  int a = 0, b = 0;
  for (bool locked : {false, true}) {
    TWptrSet set(locked);
    EXPECT_FALSE(set.contains(&a));
    set.remove(&a);  // a fresh set: nothing to do
    set.add(&a);
    set.add(&a);
    EXPECT_TRUE(set.contains(&a));
    EXPECT_FALSE(set.contains(&b));
    set.remove(&a);
    EXPECT_FALSE(set.contains(&a));
  }
}

struct StartupFailure {
  const char* message;
  void (*inject)(vsession::Faults&);
};

void PrintTo(const StartupFailure& f, std::ostream* os) {
  *os << '"' << f.message << '"';
}

class StartupFailureTest : public ::testing::TestWithParam<StartupFailure> {};

// Taps are made in the order: keys, main, moved, watch.
const StartupFailure kFailures[] = {
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

TEST_P(StartupFailureTest, LogsItsMessageAndEndsTheAgent) {
  AgentSession agent(testing_support::twoWindowConfig(), false);
  GetParam().inject(agent.session().faults());
  agent.startAgent();
  agent.runUntil(1);
  const auto& logs = agent.session().logLines();
  ASSERT_FALSE(logs.empty());
  EXPECT_EQ(logs.front(), GetParam().message);
  EXPECT_TRUE(agent.session().terminationRequested());
  EXPECT_TRUE(agent.session().terminated());
  EXPECT_EQ(agent.linesOfKind("terminate").size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(EveryStep, StartupFailureTest, ::testing::ValuesIn(kFailures),
                         [](const auto& info) {
                           std::string name = info.param.message;
                           name.erase(std::remove(name.begin(), name.end(), ' '), name.end());
                           return name;
                         });

}  // namespace
