// The virtual session's clock and its one discrete-event scheduler. Every thread, run
// loop and queue of the modelled system is a lane; every timer firing, block and tap
// callback is a task on a lane run at its due virtual time, ties in posting order, so the
// same scenario always gives the same run.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <type_traits>
#include <unordered_set>
#include <vector>

#include "platform/api/block.h"

namespace vsession {

using LaneId = uint32_t;
using TaskId = uint64_t;

class Scheduler {
 public:
  static constexpr LaneId kSystemLane = 0;  // the window server and input devices
  static constexpr LaneId kMainLane = 1;

  explicit Scheduler(double startTime);

  double now() const { return now_; }
  double startTime() const { return start_; }

  // Agent lanes are reported to the wake observer; the system lane is not.
  LaneId createLane(std::string name);
  const std::string& laneName(LaneId lane) const { return lanes_[lane]; }
  LaneId currentLane() const { return current_; }

  TaskId schedule(double due, LaneId lane, const char* what, port::Block task);
  // A task that is skipped, without waking its lane, unless `*generation` still holds the
  // value it had when the task was scheduled: how a timer drops its earlier firings without
  // touching the heap.
  TaskId scheduleGuarded(double due, LaneId lane, const char* what, const uint64_t* generation,
                         port::Block task);
  void cancel(TaskId id);
  // Sets aside `count` places in posting order for tasks posted later with scheduleAt: they
  // run, among tasks due at the same time, where posting them now would have put them. A
  // long run's input is fed in as it goes, yet runs exactly as if queued whole at the start.
  TaskId reserve(uint64_t count) {
    TaskId first = nextSeq_;
    nextSeq_ += count;
    return first;
  }
  void scheduleAt(TaskId reserved, double due, LaneId lane, const char* what, port::Block task);

  // Runs `work` on `lane` now, as one wake of that lane's thread.
  template <class F>
  void runOnLane(LaneId lane, const char* what, F&& work) {
    runOnLane(
        lane, what, [](void* w) { (*static_cast<std::remove_reference_t<F>*>(w))(); },
        static_cast<void*>(&work));
  }
  void runOnLane(LaneId lane, const char* what, void (*work)(void*), void* context);

  // Runs every task due at or before `until` (absolute), then sets the clock to `until`.
  void runUntil(double until);
  // The current task's thread sleeps: the clock moves on without running anything.
  void advance(double seconds) {
    if (seconds > 0) now_ += seconds;  // a sleep of no time, or less, takes none
  }
  // The current task's thread waits `seconds` for another process to answer: the other
  // threads run meanwhile, and this thread's own tasks that fall due wait for it, and so does
  // the input (the system lane's tasks) with `holdInput`, as it does for a thread that serves
  // an event tap.
  void block(double seconds, bool holdInput) { runAside(seconds, true, holdInput); }
  // When the earliest input task (the system lane's) falls due; infinity when none is queued.
  double nextInputDue() const;
  // The current task's thread runs a loop of its own for `seconds` (a modal alert's): every
  // thread, this one included, runs what falls due meanwhile.
  void runNested(double seconds) { runAside(seconds, false, false); }
  // The machine sleeps for `seconds`: the clock (wall time) jumps, but the agent's timers
  // and delayed blocks count machine time, which stood still, so each still has as long to
  // go after the wake as it had before. What the system itself had due meanwhile (input)
  // happens at the wake.
  void sleepMachine(double seconds);
  // Tasks asked for at a time already past (they run now), other than input meant for a
  // moment the machine slept through. Timers and delayed blocks dated in the past are
  // brought to now before they get here, so a count is a mistake of the session's own.
  uint64_t schedulesInThePast() const { return schedulesInThePast_; }
  // Tasks queued to run (neither dropped nor cancelled), by what they are and their lane.
  std::map<std::string, size_t> pending() const;
  // Stops the run after the current task: the process has ended.
  void stop() { stopped_ = true; }
  bool stopped() const { return stopped_; }

  void setWakeObserver(std::function<void(LaneId, const char*)> observer) {
    wakeObserver_ = std::move(observer);
  }
  // Runs after each task that ran on a lane, such as the agent's flag observer.
  void setAfterWakeHook(std::function<void()> hook) { afterWake_ = std::move(hook); }
  // Runs after every wake of a lane, before the hook: the lane's run loop drains its blocks.
  void setLaneIdleHook(std::function<void(LaneId)> hook) { laneIdle_ = std::move(hook); }

 private:
  struct Task {
    double due = 0;
    uint64_t seq = 0;
    LaneId lane = 0;
    const char* what = nullptr;
    port::Block work;
    const uint64_t* generation = nullptr;
    uint64_t expected = 0;
  };
  struct Later {
    bool operator()(const Task& a, const Task& b) const {
      return a.due != b.due ? a.due > b.due : a.seq > b.seq;
    }
  };

  static constexpr size_t kFirstCompaction = 4096;

  void run(Task& task);
  // The next task due by `until` that is not dropped, taken from the queue; false when none.
  bool popDue(double until, Task* task);
  void runAside(double seconds, bool holdSelf, bool holdInput);
  // `due`, or now for a time already past (counted).
  double notPast(double due);
  void push(Task task);
  // A task that will be skipped: its timer moved on, or it was cancelled.
  bool dropped(const Task& task) const;

  double start_;
  double now_;
  uint64_t nextSeq_ = 1;
  uint64_t schedulesInThePast_ = 0;
  LaneId current_ = kMainLane;
  bool stopped_ = false;
  std::vector<std::string> lanes_;
  std::vector<Task> queue_;  // a heap, the earliest task in front
  struct Sleep {
    double start;
    double wake;
  };
  std::vector<Sleep> sleeps_;
  size_t compactAt_ = kFirstCompaction;
  std::unordered_set<TaskId> cancelled_;
  // Threads held by the runs aside in progress, innermost last, and how many hold the input:
  // a run nested in another keeps what the outer one holds waiting too.
  std::vector<LaneId> heldLanes_;
  int inputHeld_ = 0;
  std::function<void(LaneId, const char*)> wakeObserver_;
  std::function<void()> afterWake_;
  std::function<void(LaneId)> laneIdle_;
};

}  // namespace vsession
