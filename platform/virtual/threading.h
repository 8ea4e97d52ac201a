// Run loops, run-loop timers, dispatch queues, threads, locks and autorelease pools of the
// virtual session, as lanes and tasks of the scheduler.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "faults.h"
#include "platform/api/run_loop.h"
#include "scheduler.h"

namespace port {

struct RunLoop {
  vsession::LaneId lane = 0;
  bool running = false;
  bool wakeScheduled = false;
  // Running a mode of its own (a modal panel's, or event tracking): only what was added for
  // the common modes is served meanwhile.
  int modal = 0;
  double modalUntil = 0;  // when the outermost modal mode ends
  struct Performed {
    RunLoopMode mode;
    Block block;
  };
  std::vector<Performed> pending;  // CFRunLoopPerformBlock: run on the loop's next pass
};

struct RunLoopTimer {
  RunLoop* loop = nullptr;
  double nextFire = 0;
  double interval = 0;
  CFRunLoopTimerCallBack callout = nullptr;
  void* info = nullptr;
  RunLoopMode mode = RunLoopMode::kDefault;
  bool valid = true;
  // The agent gave up its reference (invalidate-and-release): the storage may be reused.
  bool released = false;
  // Moves with every reschedule and invalidation; a firing scheduled before is dropped.
  uint64_t generation = 0;
};

// A run-loop source of a mach port; the event tap it serves, once added to a loop, is
// serviced on that loop's thread.
struct RunLoopSource {
  RunLoop* loop = nullptr;
  RunLoopMode mode = RunLoopMode::kDefault;
  // Whether its loop serves it now.
  bool served() const { return loop && (!loop->modal || mode == RunLoopMode::kCommon); }
};

struct DispatchQueue {
  vsession::LaneId lane = 0;
};

struct Lock {
  int held = 0;
};

}  // namespace port

namespace vsession {

class Threading final : public port::Clock,
                        public port::RunLoops,
                        public port::Dispatch,
                        public port::Threads {
 public:
  Threading(Scheduler& scheduler, const Faults& faults);

  // Clock
  port::CFAbsoluteTime absoluteTimeGetCurrent() override { return scheduler_.now(); }

  // RunLoops
  port::CFRunLoopRef getCurrent() override;
  port::CFRunLoopRef getMain() override { return loopFor(Scheduler::kMainLane); }
  void run() override;
  void addSource(port::CFRunLoopRef rl, port::CFRunLoopSourceRef source,
                 port::RunLoopMode mode) override;
  void addTimer(port::CFRunLoopRef rl, port::CFRunLoopTimerRef timer,
                port::RunLoopMode mode) override;
  bool containsTimer(port::CFRunLoopRef rl, port::CFRunLoopTimerRef timer,
                     port::RunLoopMode mode) override;
  void performBlock(port::CFRunLoopRef rl, port::RunLoopMode mode, port::Block block) override;
  void wakeUp(port::CFRunLoopRef rl) override;
  port::CFRunLoopTimerRef timerCreate(port::CFAbsoluteTime fireDate, port::CFTimeInterval interval,
                                      port::CFRunLoopTimerCallBack callout, void* info) override;
  void timerSetNextFireDate(port::CFRunLoopTimerRef timer, port::CFAbsoluteTime fireDate) override;
  port::CFAbsoluteTime timerGetNextFireDate(port::CFRunLoopTimerRef timer) override;
  port::CFTimeInterval timerGetInterval(port::CFRunLoopTimerRef timer) override {
    return timer ? timer->interval : 0;
  }
  void timerInvalidate(port::CFRunLoopTimerRef timer) override;
  bool timerIsValid(port::CFRunLoopTimerRef timer) override;

  // Dispatch
  port::dispatch_queue_t getMainQueue() override { return &mainQueue_; }
  port::dispatch_queue_t queueCreate(const char* label) override;
  void async(port::dispatch_queue_t queue, port::Block block) override;
  void after(port::CFTimeInterval delay, port::dispatch_queue_t queue, port::Block block) override;

  // Threads
  void detachNewThread(const char* name, port::Block body) override;
  // A sleeping thread holds its lane: the clock moves on and what fell due meanwhile runs
  // late.
  void sleepForTimeInterval(port::CFTimeInterval seconds) override;
  port::NSLockRef lockCreate() override;
  void lock(port::NSLockRef lock) override;
  void unlock(port::NSLockRef lock) override;
  void lockRelease(port::NSLockRef) override {}
  void* autoreleasePoolPush() override;
  void autoreleasePoolPop(void* pool) override;

  // CFAutorelease's half in the pools: `release(owner, object)` runs when the innermost pool
  // in place is popped. With no pool in place the object would leak on a real system; here
  // that is a crash, so the agent's mistake cannot go unseen.
  void autorelease(void (*release)(void* owner, void* object), void* owner, void* object);

  // The thread of `lane` runs its loop in a mode of its own (an alert's) until the matching
  // leave: timers, blocks and sources added for the default mode wait; those of the common
  // modes go on. Leaving, what waited is served.
  void enterModal(LaneId lane, double until);
  void leaveModal(LaneId lane);
  // Told when a loop leaves its modal mode, so that sources that waited are served.
  void setModalEndObserver(std::function<void(LaneId)> observer) {
    modalEnded_ = std::move(observer);
  }
  // The machine slept: the timers' fire dates (machine time) move with the wall clock.
  void machineSlept(double seconds);
  // Timers made and not invalidated (a one-shot timer is done once it fired).
  size_t liveTimers() const;

  port::RunLoop* loopFor(LaneId lane);
  // The run loop of `lane` finished a pass: run the blocks queued for it.
  void drainBlocks(LaneId lane);
  port::RunLoopSource* createSource();
  int autoreleasePoolDepth() const { return poolDepth_; }

 private:
  void scheduleTimer(port::RunLoopTimer* timer);
  void fireTimer(port::RunLoopTimer* timer);

  Scheduler& scheduler_;
  const Faults& faults_;
  port::DispatchQueue mainQueue_{Scheduler::kMainLane};
  std::map<LaneId, std::unique_ptr<port::RunLoop>> loops_;
  std::deque<port::RunLoopTimer> timers_;
  std::vector<port::RunLoopTimer*> freeTimers_;  // invalid ones, their storage free again
  std::deque<port::RunLoopSource> sources_;
  std::deque<port::DispatchQueue> queues_;
  std::deque<port::Lock> locks_;
  // Default-mode timers due while their loop was modal, with the generation they had.
  std::vector<std::pair<port::RunLoopTimer*, uint64_t>> waitingTimers_;
  std::function<void(LaneId)> modalEnded_;
  struct Autoreleased {
    void (*release)(void*, void*);
    void* owner;
    void* object;
  };
  std::vector<Autoreleased> autoreleased_;
  std::vector<size_t> poolStarts_;  // where each pool's objects begin in autoreleased_
  int poolDepth_ = 0;
};

}  // namespace vsession
