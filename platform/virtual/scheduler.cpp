#include "scheduler.h"

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
  queue_.push(Task{notPast(due), id, lane, what, std::move(task), generation, *generation});
  return id;
}

void Scheduler::scheduleAt(TaskId reserved, double due, LaneId lane, const char* what,
                           port::Block task) {
  queue_.push(Task{notPast(due), reserved, lane, what, std::move(task)});
}

double Scheduler::notPast(double due) {
  if (due >= now_) return due;
  ++schedulesInThePast_;
  return now_;
}

void Scheduler::sleepMachine(double seconds) {
  if (!(seconds > 0)) return;
  double wake = now_ + seconds;
  std::vector<Task> tasks;
  tasks.reserve(queue_.size());
  while (!queue_.empty()) {
    tasks.push_back(std::move(const_cast<Task&>(queue_.top())));
    queue_.pop();
  }
  for (Task& task : tasks) {
    if (task.lane != kSystemLane) {
      task.due += seconds;
    } else if (task.due < wake) {
      task.due = wake;
    }
    queue_.push(std::move(task));
  }
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

void Scheduler::runUntil(double until) {
  while (!stopped_ && !queue_.empty() && queue_.top().due <= until) {
    // priority_queue only hands out const access; the task is moved out before the pop.
    Task task = std::move(const_cast<Task&>(queue_.top()));
    queue_.pop();
    if (task.generation && *task.generation != task.expected) continue;
    if (!cancelled_.empty() && cancelled_.erase(task.seq)) continue;
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
  if (!stopped_ && until > now_) now_ = until;
}

}  // namespace vsession
