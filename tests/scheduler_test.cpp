// The virtual scheduler and the run loops, timers and queues built on it.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "platform/virtual/session.h"

namespace {

using namespace port;
using vsession::Scheduler;
using vsession::VirtualSession;

class SchedulerTest : public ::testing::Test {
 protected:
  VirtualSession session;
  Scheduler& scheduler = session.scheduler();
  vsession::Threading& threads = session.threading();
  std::vector<std::string> ran;

  double now() { return session.elapsed(); }
};

TEST_F(SchedulerTest, RunsTasksByDueTimeAndTiesInPostingOrder) {
  double start = scheduler.startTime();
  scheduler.schedule(start + 2, Scheduler::kMainLane, "t", [this] { ran.push_back("late"); });
  scheduler.schedule(start + 1, Scheduler::kMainLane, "t", [this] { ran.push_back("a"); });
  scheduler.schedule(start + 1, Scheduler::kMainLane, "t", [this] { ran.push_back("b"); });
  scheduler.schedule(start + 1, Scheduler::kMainLane, "t", [this] { ran.push_back("c"); });
  session.runUntil(1.5);
  EXPECT_EQ(ran, (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_DOUBLE_EQ(now(), 1.5);
  session.runUntil(2);
  EXPECT_EQ(ran.back(), "late");
}

TEST_F(SchedulerTest, TaskPostedForThePastRunsNowAfterEarlierPosts) {
  session.runUntil(5);
  double start = scheduler.startTime();
  scheduler.schedule(start + 5, Scheduler::kMainLane, "t", [this] { ran.push_back("first"); });
  scheduler.schedule(start + 1, Scheduler::kMainLane, "t", [this] { ran.push_back("second"); });
  session.runUntil(5);
  EXPECT_EQ(ran, (std::vector<std::string>{"first", "second"}));
}

TEST_F(SchedulerTest, CancelledTaskNeverRuns) {
  auto id = scheduler.schedule(scheduler.startTime() + 1, Scheduler::kMainLane, "t",
                               [this] { ran.push_back("x"); });
  scheduler.cancel(id);
  session.runUntil(2);
  EXPECT_TRUE(ran.empty());
}

struct TimerLog {
  VirtualSession* session;
  std::vector<double> fires;
  std::function<void(CFRunLoopTimerRef)> onFire;
  static void callout(CFRunLoopTimerRef timer, void* info) {
    auto* log = static_cast<TimerLog*>(info);
    log->fires.push_back(std::round(log->session->elapsed() * 1e6) / 1e6);
    if (log->onFire) log->onFire(timer);
  }
};

TEST_F(SchedulerTest, RepeatingTimerFiresAtFirstDateThenEachInterval) {
  TimerLog log{&session, {}, {}};
  CFRunLoopTimerRef timer = threads.timerCreate(session.absolute(3), 7, &TimerLog::callout, &log);
  threads.addTimer(threads.getMain(), timer, RunLoopMode::kDefault);
  session.runUntil(24.5);
  EXPECT_EQ(log.fires, (std::vector<double>{3, 10, 17, 24}));
}

TEST_F(SchedulerTest, OneShotTimerFiresOnceAndIsThenInvalid) {
  TimerLog log{&session, {}, {}};
  CFRunLoopTimerRef timer = threads.timerCreate(session.absolute(1), 0, &TimerLog::callout, &log);
  threads.addTimer(threads.getMain(), timer, RunLoopMode::kDefault);
  session.runUntil(10);
  EXPECT_EQ(log.fires, (std::vector<double>{1}));
  EXPECT_FALSE(threads.timerIsValid(timer));
}

TEST_F(SchedulerTest, NewFireDateReArmsTheTimerAndKeepsItsInterval) {
  TimerLog log{&session, {}, {}};
  CFRunLoopTimerRef timer = threads.timerCreate(session.absolute(1), 5, &TimerLog::callout, &log);
  threads.addTimer(threads.getMain(), timer, RunLoopMode::kDefault);
  session.runUntil(0.5);
  threads.timerSetNextFireDate(timer, session.absolute(2.5));
  session.runUntil(8);
  EXPECT_EQ(log.fires, (std::vector<double>{2.5, 7.5}));
  EXPECT_DOUBLE_EQ(threads.timerGetNextFireDate(timer), session.absolute(12.5));
}

TEST_F(SchedulerTest, OneShotTimerGivenANewDateInItsCalloutFiresAgain) {
  TimerLog log{&session, {}, {}};
  int left = 2;
  log.onFire = [&](CFRunLoopTimerRef timer) {
    if (left-- > 0) threads.timerSetNextFireDate(timer, session.absolute(session.elapsed() + 0.5));
  };
  CFRunLoopTimerRef timer = threads.timerCreate(session.absolute(1), 0, &TimerLog::callout, &log);
  threads.addTimer(threads.getMain(), timer, RunLoopMode::kDefault);
  session.runUntil(5);
  EXPECT_EQ(log.fires, (std::vector<double>{1, 1.5, 2}));
}

TEST_F(SchedulerTest, InvalidatedTimerStopsEvenFromItsOwnCallout) {
  TimerLog log{&session, {}, {}};
  log.onFire = [&](CFRunLoopTimerRef timer) {
    if (log.fires.size() == 2) threads.timerInvalidate(timer);
  };
  CFRunLoopTimerRef timer = threads.timerCreate(session.absolute(1), 1, &TimerLog::callout, &log);
  threads.addTimer(threads.getMain(), timer, RunLoopMode::kDefault);
  session.runUntil(10);
  EXPECT_EQ(log.fires.size(), 2u);
  EXPECT_FALSE(threads.timerIsValid(timer));
}

TEST_F(SchedulerTest, RepeatingTimerSkipsFiringsMissedWhileItsThreadSlept) {
  TimerLog log{&session, {}, {}};
  CFRunLoopTimerRef timer = threads.timerCreate(session.absolute(1), 1, &TimerLog::callout, &log);
  threads.addTimer(threads.getMain(), timer, RunLoopMode::kDefault);
  scheduler.schedule(session.absolute(1.5), Scheduler::kMainLane, "t",
                     [this] { threads.sleepForTimeInterval(3.2); });
  session.runUntil(7.5);
  // Fired at 1, slept 1.5 to 4.7, fired late once at 4.7, then back in phase.
  EXPECT_EQ(log.fires, (std::vector<double>{1, 4.7, 5, 6, 7}));
}

// Blocks queued for a run loop run on its thread's next pass, which only a wake-up or
// other work of that thread brings.
TEST_F(SchedulerTest, PerformedBlockWaitsForTheLoopToWake) {
  vsession::LaneId lane = 0;
  CFRunLoopRef loop = nullptr;
  threads.detachNewThread("worker", [&] {
    lane = scheduler.currentLane();
    loop = threads.getCurrent();
    threads.run();
  });
  session.runUntil(1);
  ASSERT_NE(loop, nullptr);
  threads.performBlock(loop, RunLoopMode::kDefault, [&] { ran.push_back("block"); });
  session.runUntil(2);
  EXPECT_TRUE(ran.empty());
  threads.wakeUp(loop);
  session.runUntil(2);
  ASSERT_EQ(ran, (std::vector<std::string>{"block"}));

  threads.performBlock(loop, RunLoopMode::kDefault, [&] {
    ran.push_back(scheduler.currentLane() == lane ? "on worker" : "elsewhere");
  });
  threads.performBlock(loop, RunLoopMode::kDefault, [&] { ran.push_back("second"); });
  threads.wakeUp(loop);
  threads.wakeUp(loop);
  session.runUntil(3);
  EXPECT_EQ(ran, (std::vector<std::string>{"block", "on worker", "second"}));
}

TEST_F(SchedulerTest, DispatchAfterRunsOnTheQueuesOwnLane) {
  dispatch_queue_t queue = threads.queueCreate("com.example.queue");
  std::string lane;
  threads.after(0.25, queue, [&] { lane = scheduler.laneName(scheduler.currentLane()); });
  session.runUntil(0.2);
  EXPECT_TRUE(lane.empty());
  session.runUntil(0.3);
  EXPECT_EQ(lane, "com.example.queue");
}

}  // namespace
