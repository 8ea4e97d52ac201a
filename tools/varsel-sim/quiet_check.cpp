#include "quiet_check.h"

#include <cmath>
#include <optional>

#include "VAevent.h"
#include "VAhover.h"
#include "VAkeys.h"
#include "VAstate.h"
#include "VAtapMgr.h"
#include "VAvector.h"
#include "bgDelegate.h"
#include "platform/virtual/keyboard_layout.h"
#include "runner.h"

namespace sim {

using port::CGPoint;
using port::CGRect;

namespace {

// What the agent keeps for its whole life. Timers: the run timer, the tap re-enable timer,
// the parked coast timer, the idle hover timer, and the one-shot retry of the permission
// wait while it waits. Accessibility handles: the system-wide element and the element last
// found under the cursor, kept until the next question. Tasks: the next firing of each of
// those timers.
constexpr size_t kLifelongTimers = 5;
constexpr size_t kLifelongElements = 2;
constexpr size_t kLifelongTasks = kLifelongTimers;
// The run timer's slowest idle pace.
constexpr double kRunTimerRest = 20;

bool inside(const CGRect& r, CGPoint p) {
  return p.x >= r.origin.x && p.x < r.origin.x + r.size.width && p.y >= r.origin.y &&
         p.y < r.origin.y + r.size.height;
}

// A point on a screen, away from every window (by 20 px), if there is one.
std::optional<CGPoint> offEveryWindow(const vsession::World& world) {
  for (const CGRect& screen : world.screens) {
    for (double y = screen.origin.y + 10; y < screen.origin.y + screen.size.height; y += 20) {
      for (double x = screen.origin.x + 10; x < screen.origin.x + screen.size.width; x += 20) {
        bool clear = true;
        for (const vsession::VirtualWindow& w : world.windows) {
          CGRect margin{{w.frame.origin.x - 20, w.frame.origin.y - 20},
                        {w.frame.size.width + 40, w.frame.size.height + 40}};
          if (inside(margin, {x, y})) clear = false;
        }
        if (clear) return CGPoint{x, y};
      }
    }
  }
  return std::nullopt;
}

}  // namespace

void letGoAndStop(vsession::VirtualSession& session) {
  if (session.terminated()) return;
  double t = session.elapsed();
  session.input().releaseAll();
  if (std::optional<CGPoint> away = offEveryWindow(session.world())) session.input().moveTo(*away);
  session.runUntil(t + 0.2);
  session.input().setModifierKeys(1u << vsession::findModifierKey("shift"));
  session.runUntil(t + 0.3);
  session.input().setModifierKeys(0);
  session.runUntil(t + 0.6);
  session.urlEvents().open("varsel://stop");
  session.runUntil(t + 0.6 + kQuietAfterStop);
}

std::vector<std::string> restViolations(vsession::VirtualSession& session) {
  std::vector<std::string> out;
  if (session.terminated()) return out;  // the process is gone, and all it held with it
  auto check = [&out](bool holds, const std::string& what) {
    if (!holds) out.push_back(what);
  };
  check(!state_doingGrab(), "a grab is on");
  check(!state_doingVector(), "vector scrolling is on");
  check(!state_doingHover(), "hover scrolling is on");
  check(!state_doingAutoScroll(), "autoscroll is on");
  check(!state_doingCoast(), "a coast is running");
  check(!keys_repeatStarted() && !VAkeys_statics().sTimer, "the key repeat runs");
  check(!VAevent_statics().sCopiedMdownToDelay, "a press is still held back");
  for (const port::OverlayWindow& w : session.overlayWindows().windows()) {
    check(!w.visible || w.alpha == 0, "the agent's window \"" + w.identifier + "\" is shown");
  }

  port::RunLoops& loops = *session.platform().runLoops;
  check(!VAvector_statics().sVectorTimer, "the vector timer runs");
  const VAhoverStatics& hover = VAhover_statics();
  check(!hover.hoverTimer || loops.timerGetInterval(hover.hoverTimer) >= 0.5,
        "the hover timer ticks at " + std::to_string(hover.hoverTimerFreq) + " s");
  double now = session.platform().clock->absoluteTimeGetCurrent();
  if (port::CFRunLoopTimerRef run = bgDelegate_statics().sRunTimer) {
    double next = loops.timerGetNextFireDate(run) - now;
    check(next > 0 && next <= kRunTimerRest + 1e-6,
          "the run timer fires in " + std::to_string(next) + " s");
  }

  auto atMost = [&check](size_t count, size_t limit, const std::string& what) {
    check(count <= limit,
          std::to_string(count) + " " + what + " alive (at most " + std::to_string(limit) + ")");
  };
  atMost(session.events().liveEvents(), 0, "event records");
  atMost(session.accessibility().liveElements(), kLifelongElements, "accessibility handles");
  atMost(session.threading().liveTimers(), kLifelongTimers, "timers");
  size_t tasks = 0;
  std::string which;
  for (const auto& [what, count] : session.scheduler().pending()) {
    tasks += count;
    which += " " + what + " x" + std::to_string(count) + ";";
  }
  atMost(tasks, kLifelongTasks, "queued tasks" + which);
  for (port::CFRunLoopRef loop : {loops.getMain(), VAtapMgr_statics().sEventThreadRunLoop}) {
    if (loop) atMost(loop->pending.size(), 0, "blocks queued on a run loop");
  }
  check(session.scheduler().schedulesInThePast() == 0,
        std::to_string(session.scheduler().schedulesInThePast()) +
            " tasks were scheduled in the past");
  return out;
}

void TraceWatch::line(const vsession::TraceLine& line) {
  if (!violation_.empty()) return;
  double t = line["t"];
  if (t < last_)
    violation_ = "the clock went back from " + std::to_string(last_) + " to " + line.dump();
  last_ = t;
  if (line["kind"] != "deliver" || line["type"] != port::kCGEventScrollWheel) return;
  if (line["user"] != kAgentEventTag) return;
  for (const char* axis : {"px1", "px2"}) {
    if (std::fabs(line[axis].get<double>()) > kLargestPostedScroll) {
      violation_ = "the agent posted a scroll too large: " + line.dump();
    }
  }
}

std::vector<std::string> runToRest(const Scenario& scenario) {
  TraceWatch watch;
  std::vector<std::string> violations;
  RunOptions options;
  options.keepTrace = false;
  options.traceSink = [&watch](const vsession::TraceLine& line) { watch.line(line); };
  options.atEnd = [&violations](vsession::VirtualSession& session) {
    letGoAndStop(session);
    violations = restViolations(session);
  };
  runScenario(scenario, options);
  if (!watch.violation().empty()) violations.push_back(watch.violation());
  return violations;
}

}  // namespace sim
