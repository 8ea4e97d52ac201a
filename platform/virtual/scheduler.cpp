#include "scheduler.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace vsession {

Scheduler::Scheduler(double startTime) : start_(startTime), now_(startTime) {
  lanes_ = {"system", "main"};
}

LaneId Scheduler::createLane(std::string name) {
  lanes_.push_back(std::move(name));
  return static_cast<LaneId>(lanes_.size() - 1);
}

TaskId Scheduler::schedule(double due, LaneId lane, const char* what, port::Block task) {
  TaskId id = nextSeq_++;
  scheduleAt(id, due, lane, what, std::move(task));
  return id;
}

TaskId Scheduler::scheduleGuarded(double due, LaneId lane, const char* what,
                                  const uint64_t* generation, port::Block task) {
  TaskId id = nextSeq_++;
  push(Task{notPast(due), id, lane, what, std::move(task), generation, *generation});
  return id;
}

void Scheduler::scheduleAt(TaskId reserved, double due, LaneId lane, const char* what,
                           port::Block task) {
  push(Task{notPast(due), reserved, lane, what, std::move(task)});
}

double Scheduler::notPast(double due) {
  if (due >= now_) return due;
  // Input meant for a moment the machine slept through comes at the wake; anything else
  // asked for in the past is a mistake of whoever asked.
  bool slept = std::any_of(sleeps_.begin(), sleeps_.end(),
                           [due](const Sleep& s) { return due >= s.start && due < s.wake; });
  if (!slept) ++schedulesInThePast_;
  return now_;
}

void Scheduler::push(Task task) {
  queue_.push_back(std::move(task));
  std::push_heap(queue_.begin(), queue_.end(), Later{});
  // A timer moved to a new date leaves its old firing behind, to be dropped when due; a
  // parked timer's lies years ahead. Clearing them out now and then keeps a long run's
  // queue as large as what is really pending.
  if (queue_.size() >= compactAt_) {
    std::erase_if(queue_, [this](const Task& t) {
      if (!dropped(t)) return false;
      cancelled_.erase(t.seq);
      return true;
    });
    std::make_heap(queue_.begin(), queue_.end(), Later{});
    compactAt_ = std::max<size_t>(kFirstCompaction, 2 * queue_.size());
  }
}

bool Scheduler::dropped(const Task& task) const {
  return (task.generation && *task.generation != task.expected) ||
         (!cancelled_.empty() && cancelled_.count(task.seq));
}

std::map<std::string, size_t> Scheduler::pending() const {
  std::map<std::string, size_t> out;
  for (const Task& t : queue_) {
    if (!dropped(t)) ++out[std::string(t.what) + " on " + lanes_[t.lane]];
  }
  return out;
}

void Scheduler::sleepMachine(double seconds) {
  if (!(seconds > 0)) return;
  double wake = now_ + seconds;
  for (Task& task : queue_) {
    if (task.lane != kSystemLane) {
      task.due += seconds;
    } else if (task.due < wake) {
      task.due = wake;
    }
  }
  std::make_heap(queue_.begin(), queue_.end(), Later{});
  sleeps_.push_back({now_, wake});
  now_ = wake;
}

void Scheduler::cancel(TaskId id) {
  cancelled_.insert(id);
}

void Scheduler::runOnLane(LaneId lane, const char* what, void (*work)(void*), void* context) {
  LaneId outer = current_;
  current_ = lane;
  if (lane != kSystemLane && wakeObserver_) wakeObserver_(lane, what);
  work(context);
  if (laneIdle_) laneIdle_(lane);
  current_ = outer;
  if (lane != kSystemLane && afterWake_) afterWake_();
}

void Scheduler::run(Task& task) {
  // A task that fell due while a thread slept runs late; the clock never goes back.
  if (task.due > now_) now_ = task.due;
  if (task.lane == kSystemLane) {
    LaneId outer = current_;
    current_ = kSystemLane;
    task.work();
    current_ = outer;
  } else {
    runOnLane(task.lane, task.what, [&task] { task.work(); });
  }
}

bool Scheduler::popDue(double until, Task* task) {
  while (!stopped_ && !queue_.empty() && queue_.front().due <= until) {
    std::pop_heap(queue_.begin(), queue_.end(), Later{});
    *task = std::move(queue_.back());
    queue_.pop_back();
    if (!dropped(*task)) return true;
    cancelled_.erase(task->seq);
  }
  return false;
}

double Scheduler::nextInputDue() const {
  double earliest = std::numeric_limits<double>::infinity();
  for (const Task& t : queue_) {
    if (t.lane == kSystemLane && !dropped(t)) earliest = std::min(earliest, t.due);
  }
  return earliest;
}

void Scheduler::runUntil(double until) {
  Task task;
  while (popDue(until, &task)) run(task);
  if (!stopped_ && until > now_) now_ = until;
}

void Scheduler::runAside(double seconds, bool holdSelf, bool holdInput) {
  if (!(seconds > 0)) return;
  LaneId self = current_;
  double until = now_ + seconds;
  if (holdSelf) heldLanes_.push_back(self);
  if (holdInput) ++inputHeld_;
  std::vector<Task> waiting;
  Task task;
  while (popDue(until, &task)) {
    bool held = std::find(heldLanes_.begin(), heldLanes_.end(), task.lane) != heldLanes_.end() ||
                (inputHeld_ > 0 && task.lane == kSystemLane);
    if (held) {
      waiting.push_back(std::move(task));
      continue;
    }
    run(task);
  }
  if (holdSelf) heldLanes_.pop_back();
  if (holdInput) --inputHeld_;
  // What waited runs once the thread is free, in the order it would have.
  for (Task& waited : waiting) push(std::move(waited));
  current_ = self;
  if (!stopped_ && until > now_) now_ = until;
}

}  // namespace vsession
