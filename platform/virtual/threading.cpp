#include "threading.h"

#include <algorithm>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace vsession {

using namespace port;

Threading::Threading(Scheduler& scheduler, const Faults& faults)
    : scheduler_(scheduler), faults_(faults) {
  loopFor(Scheduler::kMainLane)->running = true;  // NSApplication runs the main loop
  // Every tapped event pushes a pool: pushing must not touch the heap.
  poolStarts_.reserve(64);
}

RunLoop* Threading::loopFor(LaneId lane) {
  auto& loop = loops_[lane];
  if (!loop) {
    loop = std::make_unique<RunLoop>();
    loop->lane = lane;
    loop->pending.reserve(16);
  }
  return loop.get();
}

CFRunLoopRef Threading::getCurrent() {
  LaneId lane = scheduler_.currentLane();
  if (faults_.noRunLoopOnNewThreads && lane != Scheduler::kMainLane) return nullptr;
  return loopFor(lane);
}

void Threading::run() {
  RunLoop* loop = loopFor(scheduler_.currentLane());
  loop->running = true;
}

void Threading::addSource(CFRunLoopRef rl, CFRunLoopSourceRef source, RunLoopMode mode) {
  if (rl && source) {
    source->loop = rl;
    source->mode = mode;
  }
}

void Threading::addTimer(CFRunLoopRef rl, CFRunLoopTimerRef timer, RunLoopMode mode) {
  if (!rl || !timer || !timer->valid) return;
  timer->loop = rl;
  timer->mode = mode;
  scheduleTimer(timer);
}

bool Threading::containsTimer(CFRunLoopRef rl, CFRunLoopTimerRef timer, RunLoopMode) {
  return rl && timer && timer->valid && timer->loop == rl;
}

void Threading::performBlock(CFRunLoopRef rl, RunLoopMode mode, Block block) {
  if (rl) rl->pending.push_back({mode, std::move(block)});
}

void Threading::wakeUp(CFRunLoopRef rl) {
  if (!rl || rl->wakeScheduled) return;
  rl->wakeScheduled = true;
  scheduler_.schedule(scheduler_.now(), rl->lane, "block", [] {});
}

void Threading::drainBlocks(LaneId lane) {
  auto found = loops_.find(lane);
  if (found == loops_.end()) return;
  RunLoop* loop = found->second.get();
  loop->wakeScheduled = false;
  if (!loop->running) return;
  while (!loop->pending.empty()) {
    std::vector<RunLoop::Performed> batch;
    batch.swap(loop->pending);
    loop->pending.reserve(16);
    for (RunLoop::Performed& p : batch) {
      // A modal loop keeps the default mode's blocks, in order, for later.
      if (loop->modal && p.mode == RunLoopMode::kDefault) {
        loop->pending.push_back(std::move(p));
        continue;
      }
      p.block();
    }
    if (loop->modal) break;
  }
}

void Threading::enterModal(LaneId lane, double until) {
  RunLoop* loop = loopFor(lane);
  if (loop->modal++ == 0) loop->modalUntil = until;
}

void Threading::leaveModal(LaneId lane) {
  RunLoop* loop = loopFor(lane);
  if (loop->modal == 0 || --loop->modal > 0) return;
  std::vector<std::pair<RunLoopTimer*, uint64_t>> due;
  due.swap(waitingTimers_);
  for (auto [timer, generation] : due) {
    if (timer->generation != generation || !timer->valid) continue;  // moved on meanwhile
    if (timer->loop != loop) {
      waitingTimers_.emplace_back(timer, generation);
    } else {
      scheduleTimer(timer);  // its date is past: the loop's next pass
    }
  }
  if (!loop->pending.empty()) wakeUp(loop);
  if (modalEnded_) modalEnded_(lane);
}

CFRunLoopTimerRef Threading::timerCreate(CFAbsoluteTime fireDate, CFTimeInterval interval,
                                         CFRunLoopTimerCallBack callout, void* info) {
  if (faults_.failTimerCreate) return nullptr;
  // A released timer's storage is reused, as the allocator would; its generation goes on
  // counting, so a firing still queued for the old timer is dropped.
  RunLoopTimer* slot = nullptr;
  if (freeTimers_.empty()) {
    slot = &timers_.emplace_back();
  } else {
    slot = freeTimers_.back();
    freeTimers_.pop_back();
    uint64_t generation = slot->generation + 1;
    *slot = RunLoopTimer{};
    slot->generation = generation;
  }
  RunLoopTimer& timer = *slot;
  timer.nextFire = fireDate;
  timer.interval = interval;
  timer.callout = callout;
  timer.info = info;
  return &timer;
}

void Threading::scheduleTimer(RunLoopTimer* timer) {
  ++timer->generation;
  // A fire date already past fires on the loop's next pass.
  scheduler_.scheduleGuarded(std::max(timer->nextFire, scheduler_.now()), timer->loop->lane,
                             "timer", &timer->generation, [this, timer] { fireTimer(timer); });
}

void Threading::fireTimer(RunLoopTimer* timer) {
  if (!timer->valid) return;
  if (timer->loop->modal && timer->mode == RunLoopMode::kDefault) {
    waitingTimers_.emplace_back(timer, timer->generation);
    return;
  }
  uint64_t firing = timer->generation;
  timer->callout(timer, timer->info);
  // The callout may have invalidated the timer or given it a new fire date itself.
  if (!timer->valid || timer->generation != firing) return;
  if (timer->interval <= 0) {
    // A one-shot timer is done after its firing, but its maker still holds it until it
    // lets go.
    timer->valid = false;
    return;
  }
  // A repeating timer keeps its phase; firings missed while the thread was busy are skipped.
  double next = timer->nextFire + timer->interval;
  while (next <= scheduler_.now()) next += timer->interval;
  timer->nextFire = next;
  scheduleTimer(timer);
}

void Threading::timerSetNextFireDate(CFRunLoopTimerRef timer, CFAbsoluteTime fireDate) {
  if (!timer || !timer->valid) return;
  timer->nextFire = fireDate;
  if (timer->loop) scheduleTimer(timer);
}

void Threading::machineSlept(double seconds) {
  for (RunLoopTimer& timer : timers_) {
    if (timer.valid && timer.loop) timer.nextFire += seconds;
  }
}

CFAbsoluteTime Threading::timerGetNextFireDate(CFRunLoopTimerRef timer) {
  return timer ? timer->nextFire : 0;
}

void Threading::timerInvalidate(CFRunLoopTimerRef timer) {
  if (!timer || timer->released) return;
  timer->valid = false;
  timer->released = true;
  ++timer->generation;
  // Invalidating stands for the agent's invalidate-and-release: nobody holds it after.
  freeTimers_.push_back(timer);
}

size_t Threading::liveTimers() const {
  return timers_.size() - freeTimers_.size();
}

bool Threading::timerIsValid(CFRunLoopTimerRef timer) {
  return timer && timer->valid;
}

RunLoopSource* Threading::createSource() {
  return &sources_.emplace_back();
}

dispatch_queue_t Threading::queueCreate(const char* label) {
  return &queues_.emplace_back(DispatchQueue{scheduler_.createLane(label)});
}

void Threading::async(dispatch_queue_t queue, Block block) {
  scheduler_.schedule(scheduler_.now(), queue->lane, "dispatch", std::move(block));
}

void Threading::after(CFTimeInterval delay, dispatch_queue_t queue, Block block) {
  // A delay already past, as GCD reads it, means now.
  scheduler_.schedule(scheduler_.now() + std::max(0.0, delay), queue->lane, "dispatch",
                      std::move(block));
}

void Threading::detachNewThread(const char* name, Block body) {
  LaneId lane = scheduler_.createLane(name);
  scheduler_.schedule(scheduler_.now(), lane, "thread", std::move(body));
}

void Threading::sleepForTimeInterval(CFTimeInterval seconds) {
  if (seconds > 0) scheduler_.advance(seconds);
}

NSLockRef Threading::lockCreate() {
  return &locks_.emplace_back();
}

// NSLock is not recursive: a second lock on one thread is a deadlock on the real system.
void Threading::lock(NSLockRef lock) {
  if (!lock) return;
  if (lock->held) {
    std::fprintf(stderr, "virtual session: NSLock locked twice (deadlock)\n");
    std::abort();
  }
  lock->held = 1;
}

void Threading::unlock(NSLockRef lock) {
  if (lock) lock->held = 0;
}

void* Threading::autoreleasePoolPush() {
  ++poolDepth_;
  poolStarts_.push_back(autoreleased_.size());
  return reinterpret_cast<void*>(static_cast<uintptr_t>(poolDepth_));
}

// Pools nest strictly: popping any but the innermost is a crash on the real system. The
// pool's objects are released newest first.
void Threading::autoreleasePoolPop(void* pool) {
  if (reinterpret_cast<uintptr_t>(pool) != static_cast<uintptr_t>(poolDepth_)) {
    std::fprintf(stderr, "virtual session: autorelease pools popped out of order\n");
    std::abort();
  }
  --poolDepth_;
  size_t start = poolStarts_.back();
  poolStarts_.pop_back();
  while (autoreleased_.size() > start) {
    Autoreleased last = autoreleased_.back();
    autoreleased_.pop_back();
    last.release(last.owner, last.object);
  }
}

void Threading::autorelease(void (*release)(void*, void*), void* owner, void* object) {
  if (poolStarts_.empty()) {
    std::fprintf(stderr, "virtual session: an object was autoreleased with no pool in place\n");
    std::abort();
  }
  autoreleased_.push_back({release, owner, object});
}

}  // namespace vsession
