// The clock, run loops, timers, dispatch queues and threads: the agent times coasts with
// timers and hands work between its threads with performed blocks and queues, so a timer
// early, late by more than a pass, fired twice or after invalidation, or a block out of order
// or on the wrong thread, changes what the user feels.
#include <array>
#include <atomic>
#include <memory>
#include <vector>

#include "contract.h"

namespace {

using namespace port;
using contract::runFor;
using contract::runUntil;

// How late a timer may fire on a loaded machine and still be on time for the agent.
constexpr double kLate = 0.05;

struct Firings {
  Clock* clock = nullptr;
  std::vector<double> at;
  static void record(CFRunLoopTimerRef, void* info) {
    auto* f = static_cast<Firings*>(info);
    f->at.push_back(f->clock->absoluteTimeGetCurrent());
  }
};

class RunLoopContract : public contract::PortContract {
 protected:
  RunLoops& loops() { return *ports().runLoops; }
  double now() { return ports().clock->absoluteTimeGetCurrent(); }
};

TEST_F(RunLoopContract, TheClockReadsTheDateAndNeverGoesBack) {
  double first = now();
  EXPECT_GT(first, 725846400.0);  // after 1 Jan 2024: a date, not an uptime
  runFor(0.1);
  EXPECT_GE(now(), first + 0.1);
}

TEST_F(RunLoopContract, AOneShotTimerFiresOnceAtItsDateAndIsThenDone) {
  Firings fired{ports().clock, {}};
  double start = now();
  CFRunLoopTimerRef timer = loops().timerCreate(start + 0.2, 0, Firings::record, &fired);
  ASSERT_NE(timer, nullptr);
  loops().addTimer(loops().getMain(), timer, RunLoopMode::kCommon);
  EXPECT_TRUE(loops().containsTimer(loops().getMain(), timer, RunLoopMode::kCommon));
  EXPECT_EQ(loops().timerGetNextFireDate(timer), start + 0.2);
  runFor(0.1);
  EXPECT_TRUE(fired.at.empty()) << "fired early";
  runFor(0.4);
  ASSERT_EQ(fired.at.size(), 1u);
  EXPECT_GE(fired.at[0], start + 0.2);
  EXPECT_LT(fired.at[0], start + 0.2 + kLate);
  EXPECT_FALSE(loops().timerIsValid(timer));
  loops().timerInvalidate(timer);
}

TEST_F(RunLoopContract, ARepeatingTimerKeepsItsIntervalUntilInvalidated) {
  Firings fired{ports().clock, {}};
  double start = now();
  CFRunLoopTimerRef timer = loops().timerCreate(start + 0.1, 0.1, Firings::record, &fired);
  ASSERT_NE(timer, nullptr);
  loops().addTimer(loops().getMain(), timer, RunLoopMode::kCommon);
  EXPECT_EQ(loops().timerGetInterval(timer), 0.1);
  runFor(0.35);
  ASSERT_EQ(fired.at.size(), 3u);
  for (size_t i = 0; i < fired.at.size(); ++i) {
    EXPECT_GE(fired.at[i], start + 0.1 * static_cast<double>(i + 1) - 1e-9) << i;
  }
  EXPECT_TRUE(loops().timerIsValid(timer));
  EXPECT_NEAR(loops().timerGetNextFireDate(timer), start + 0.4, 1e-6);
  loops().timerInvalidate(timer);
  runFor(0.3);
  EXPECT_EQ(fired.at.size(), 3u) << "fired after invalidation";
}

// The agent parks its timers far in the future and brings them forward when work comes.
TEST_F(RunLoopContract, ANewFireDateMovesATimerEvenIntoThePast) {
  Firings fired{ports().clock, {}};
  double start = now();
  CFRunLoopTimerRef timer = loops().timerCreate(start + 1000, 1000, Firings::record, &fired);
  ASSERT_NE(timer, nullptr);
  loops().addTimer(loops().getMain(), timer, RunLoopMode::kCommon);
  loops().timerSetNextFireDate(timer, start + 0.1);
  EXPECT_EQ(loops().timerGetNextFireDate(timer), start + 0.1);
  runFor(0.2);
  ASSERT_EQ(fired.at.size(), 1u);
  EXPECT_GE(fired.at[0], start + 0.1);
  loops().timerSetNextFireDate(timer, now() - 5);  // a date already past: the next pass
  runFor(0.05);
  EXPECT_EQ(fired.at.size(), 2u);
  loops().timerInvalidate(timer);
}

// A thread with a run loop of its own, as the agent's event thread: a timer keeps the loop
// running, and each block performed on it records its turn and the loop it ran on.
struct Worker {
  RunLoops* loops = nullptr;
  std::atomic<RunLoop*> loop{nullptr};
  std::array<int, 16> order{};
  std::array<bool, 16> onLoop{};
  std::atomic<int> ran{0};
  std::atomic<bool> mainRanOnMain{false};
  std::shared_ptr<int> token = std::make_shared<int>(0);

  static void keepAlive(CFRunLoopTimerRef, void*) {}
  void start(Threads& threads) {
    threads.detachNewThread("contract worker", [this] {
      RunLoop* current = loops->getCurrent();
      CFRunLoopTimerRef timer = loops->timerCreate(1e12, 1e9, keepAlive, nullptr);
      loops->addTimer(current, timer, RunLoopMode::kDefault);
      // A block for the main thread from here, as the event thread hands work over.
      loops->performBlock(loops->getMain(), RunLoopMode::kCommon,
                          [this] { mainRanOnMain = loops->getCurrent() == loops->getMain(); });
      loops->wakeUp(loops->getMain());
      loop = current;
      loops->run();
    });
  }
};

TEST_F(RunLoopContract, BlocksPerformedOnAnotherThreadsLoopRunThereInOrderAndAreThenReleased) {
  Worker* worker = &contract::outliving<Worker>();
  worker->loops = &loops();
  worker->start(*ports().threads);
  ASSERT_TRUE(runUntil([&] { return worker->loop.load() != nullptr; }, 2));
  RunLoop* loop = worker->loop.load();
  EXPECT_NE(loop, loops().getMain());
  std::weak_ptr<int> watch = worker->token;
  for (int i = 0; i < 10; ++i) {
    Worker* w = worker;
    std::shared_ptr<int> token = w->token;
    loops().performBlock(loop, RunLoopMode::kDefault, [w, i, token] {
      int turn = w->ran.load();
      w->order[turn] = i;
      w->onLoop[turn] = w->loops->getCurrent() == w->loop.load();
      w->ran = turn + 1;
    });
  }
  loops().wakeUp(loop);
  ASSERT_TRUE(runUntil([&] { return worker->ran.load() == 10; }, 2));
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(worker->order[i], i);
    EXPECT_TRUE(worker->onLoop[i]) << "block " << i << " ran on another thread";
  }
  EXPECT_TRUE(runUntil([&] { return worker->mainRanOnMain.load(); }, 1));
  worker->token.reset();
  EXPECT_TRUE(runUntil([&] { return watch.expired(); }, 1)) << "a block's closure was kept";
}

TEST_F(RunLoopContract, ATimerOnAnotherThreadFiresOnThatThread) {
  struct State {
    RunLoops* loops = nullptr;
    std::atomic<RunLoop*> loop{nullptr};
    std::atomic<int> fired{0};
    std::atomic<bool> onLoop{false};
  };
  State* state = &contract::outliving<State>();
  state->loops = &loops();
  ports().threads->detachNewThread("contract timer", [state] {
    RunLoop* current = state->loops->getCurrent();
    double at = 0;  // a date already past: the first pass
    CFRunLoopTimerRef timer = state->loops->timerCreate(
        at, 1e9,
        [](CFRunLoopTimerRef, void* info) {
          auto* s = static_cast<State*>(info);
          s->onLoop = s->loops->getCurrent() == s->loop.load();
          ++s->fired;
        },
        state);
    state->loop = current;
    state->loops->addTimer(current, timer, RunLoopMode::kDefault);
    state->loops->run();
  });
  ASSERT_TRUE(runUntil([&] { return state->fired.load() == 1; }, 2));
  EXPECT_TRUE(state->onLoop.load());
}

// While an alert is up, the main thread runs the modal panel's mode: what was added for the
// common modes goes on (timers, blocks, the main queue); what was added for the default mode
// waits until the alert is answered. An event tap served there in the default mode keeps
// the window server waiting, which disables it after the tap timeout and tells it once the
// alert is gone.
TEST_F(RunLoopContract, AnAlertHoldsTheDefaultModeButNotTheCommonModes) {
  if (!contract::someoneAnswersAlerts()) GTEST_SKIP() << contract::kNeedsSomeoneToAnswer;
  struct Seen {
    Platform* p;
    double commonAt = 0, defaultAt = 0, commonBlockAt = 0, defaultBlockAt = 0, queueAt = 0;
    std::atomic<int> notices{0};
    double now() { return p->clock->absoluteTimeGetCurrent(); }
    static CGEventRef tap(CGEventTapProxy, CGEventType type, CGEventRef e, void* info) {
      if (type == kCGEventTapDisabledByTimeout) ++static_cast<Seen*>(info)->notices;
      return e;
    }
  };
  Seen& seen = contract::outliving<Seen>();
  seen.p = &ports();
  double start = now();
  CFRunLoopRef main = loops().getMain();
  auto timer = [&](double at, RunLoopMode mode, CFRunLoopTimerCallBack callout) {
    loops().addTimer(main, loops().timerCreate(start + at, 0, callout, &seen), mode);
  };
  timer(0.2, RunLoopMode::kCommon, [](CFRunLoopTimerRef, void* i) {
    auto* s = static_cast<Seen*>(i);
    s->commonAt = s->now();
    s->p->runLoops->performBlock(s->p->runLoops->getMain(), RunLoopMode::kCommon,
                                 [s] { s->commonBlockAt = s->now(); });
    s->p->runLoops->performBlock(s->p->runLoops->getMain(), RunLoopMode::kDefault,
                                 [s] { s->defaultBlockAt = s->now(); });
    s->p->runLoops->wakeUp(s->p->runLoops->getMain());
    s->p->dispatch->async(s->p->dispatch->getMainQueue(), [s] { s->queueAt = s->now(); });
    // An event for a tap whose source the alert's mode does not serve.
    QuartzEvents& q = *s->p->quartz;
    CGEventRef e = q.createScrollWheelEvent2(nullptr, kCGScrollEventUnitLine, 1, 0, 0, 0);
    q.post(kCGSessionEventTap, e);
    q.release(e);
  });
  timer(0.2, RunLoopMode::kDefault, [](CFRunLoopTimerRef, void* i) {
    static_cast<Seen*>(i)->defaultAt = static_cast<Seen*>(i)->now();
  });
  QuartzEvents& q = *ports().quartz;
  CFMachPortRef tap =
      contract::tapOnMain(ports(), kCGEventTapOptionDefault, CGEventMaskBit(kCGEventScrollWheel),
                          Seen::tap, &seen, RunLoopMode::kDefault);
  ports().userNotifications->runAlert("Varsel contract test", "An alert held open.", {"OK"});
  double answered = now();
  EXPECT_GT(answered, start + 0.5);
  EXPECT_GE(seen.commonAt, start + 0.2);
  EXPECT_LT(seen.commonAt, answered) << "a common-mode timer waited for the alert";
  EXPECT_LT(seen.commonBlockAt, answered);
  EXPECT_LT(seen.queueAt, answered) << "the main queue waited for the alert";
  EXPECT_EQ(seen.defaultAt, 0) << "a default-mode timer fired under the alert";
  EXPECT_EQ(seen.defaultBlockAt, 0) << "a default-mode block ran under the alert";
  runFor(0.1);
  EXPECT_GE(seen.defaultAt, answered);
  EXPECT_GE(seen.defaultBlockAt, answered);
  if (tap) {
    EXPECT_FALSE(q.tapIsEnabled(tap)) << "the unserved tap was not timed out";
    EXPECT_EQ(seen.notices.load(), 1);
  }
}

class DispatchContract : public contract::PortContract {};

TEST_F(DispatchContract, AQueueRunsItsBlocksInOrderOffTheMainThread) {
  struct State {
    RunLoops* loops = nullptr;
    std::array<int, 8> order{};
    std::array<bool, 8> offMain{};
    std::atomic<int> ran{0};
  };
  auto state = std::make_shared<State>();
  state->loops = ports().runLoops;
  dispatch_queue_t queue = ports().dispatch->queueCreate("com.tarnwick.varsel.contract");
  ASSERT_NE(queue, nullptr);
  for (int i = 0; i < 8; ++i) {
    ports().dispatch->async(queue, [state, i] {
      int turn = state->ran.load();
      state->order[turn] = i;
      state->offMain[turn] = state->loops->getCurrent() != state->loops->getMain();
      state->ran = turn + 1;
    });
  }
  ASSERT_TRUE(runUntil([&] { return state->ran.load() == 8; }, 2));
  for (int i = 0; i < 8; ++i) {
    EXPECT_EQ(state->order[i], i);
    EXPECT_TRUE(state->offMain[i]) << i;
  }
}

// Delayed blocks come in the order of their dates, those of one date in the order given,
// never before their delay and on the main thread when sent to the main queue.
TEST_F(DispatchContract, DelayedBlocksKeepTheirOrderAndNeverComeEarly) {
  struct Ran {
    int what;
    double at;
    bool onMain;
  };
  std::vector<Ran> ran;
  double start = ports().clock->absoluteTimeGetCurrent();
  Platform* p = &ports();
  auto after = [&](double delay, int what) {
    p->dispatch->after(delay, p->dispatch->getMainQueue(), [p, &ran, what] {
      ran.push_back({what, p->clock->absoluteTimeGetCurrent(),
                     p->runLoops->getCurrent() == p->runLoops->getMain()});
    });
  };
  after(0.3, 3);
  after(0.1, 1);
  after(0.2, 2);
  after(0.2, 22);
  after(-1, 0);  // a delay already past means now
  ports().dispatch->async(ports().dispatch->getMainQueue(), [p, &ran] {
    ran.push_back({-1, p->clock->absoluteTimeGetCurrent(), true});
  });
  runFor(0.5);
  ASSERT_EQ(ran.size(), 6u);
  std::vector<int> order;
  for (const Ran& r : ran) {
    order.push_back(r.what);
    EXPECT_TRUE(r.onMain) << r.what;
  }
  EXPECT_EQ(order, (std::vector<int>{0, -1, 1, 2, 22, 3}));
  EXPECT_GE(ran[2].at, start + 0.1);
  EXPECT_GE(ran[3].at, start + 0.2);
  EXPECT_GE(ran[5].at, start + 0.3);
}

class ThreadsContract : public contract::PortContract {};

TEST_F(ThreadsContract, ADetachedThreadRunsItsBodyOnItsOwnThreadAndSleepsTakeTime) {
  struct State {
    Platform* p;
    std::atomic<bool> done{false};
    std::atomic<bool> offMain{false};
    std::atomic<double> slept{0};
  };
  auto* state = new State{&ports()};
  ports().threads->detachNewThread("contract sleeper", [state] {
    Platform& p = *state->p;
    state->offMain = p.runLoops->getCurrent() != p.runLoops->getMain();
    void* pool = p.threads->autoreleasePoolPush();
    double before = p.clock->absoluteTimeGetCurrent();
    p.threads->sleepForTimeInterval(0.2);
    state->slept = p.clock->absoluteTimeGetCurrent() - before;
    p.threads->autoreleasePoolPop(pool);
    state->done = true;
  });
  ASSERT_TRUE(runUntil([&] { return state->done.load(); }, 2));
  EXPECT_TRUE(state->offMain.load());
  EXPECT_GE(state->slept.load(), 0.2);
  delete state;
}

// The agent's one lock guards the bars it copies between threads: taken and given back in
// turn by two threads, it is held by one at a time.
TEST_F(ThreadsContract, ALockIsHeldByOneThreadAtATime) {
  struct State {
    Platform* p;
    NSLockRef lock;
    std::atomic<int> inside{0};
    std::atomic<int> overlaps{0};
    std::atomic<int> finished{0};
  };
  auto* state = new State{&ports(), ports().threads->lockCreate()};
  ASSERT_NE(state->lock, nullptr);
  for (const char* name : {"contract locker 1", "contract locker 2"}) {
    ports().threads->detachNewThread(name, [state] {
      Threads& t = *state->p->threads;
      for (int i = 0; i < 50; ++i) {
        t.lock(state->lock);
        if (++state->inside > 1) ++state->overlaps;
        t.sleepForTimeInterval(0.001);
        --state->inside;
        t.unlock(state->lock);
      }
      ++state->finished;
    });
  }
  ASSERT_TRUE(runUntil([&] { return state->finished.load() == 2; }, 5));
  EXPECT_EQ(state->overlaps.load(), 0);
  ports().threads->lockRelease(state->lock);
  delete state;
}

}  // namespace
