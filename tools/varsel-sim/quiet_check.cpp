#include "quiet_check.h"

#include <cmath>
#include <optional>

#include "VAevent.h"
#include "VAhover.h"
#include "VAkeys.h"
#include "VAremote.h"
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

// What the agent keeps for its whole life: the system-wide accessibility element and the
// element last found under the cursor, kept until the next question.
constexpr size_t kLifelongElements = 2;
// The run timer's pace while the pointer moves, and its slowest at rest.
constexpr double kRunTimerMoving = 0.7;
constexpr double kRunTimerRest = 20;
// How long the user is away before letting go: a tap that timed out in a sleep at the very
// end is back by then, so the release reaches the agent.
constexpr double kReEnablePeriod = 7.5;
// A parked timer waits years; anything due sooner is still ticking.
constexpr double kParked = 1e6;

// A point on a screen, away from every window (by 20 px), if there is one.
std::optional<CGPoint> offEveryWindow(const vsession::World& world) {
  for (const CGRect& screen : world.screens) {
    for (double y = screen.origin.y + 10; y < screen.origin.y + screen.size.height; y += 20) {
      for (double x = screen.origin.x + 10; x < screen.origin.x + screen.size.width; x += 20) {
        bool clear = true;
        for (const vsession::VirtualWindow& w : world.windows) {
          CGRect margin{{w.frame.origin.x - 20, w.frame.origin.y - 20},
                        {w.frame.size.width + 40, w.frame.size.height + 40}};
          if (vsession::rectContains(margin, {x, y})) clear = false;
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
  session.runUntil(session.elapsed() + kReEnablePeriod);
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
  const VAstateStatics& state = VAstate_statics();
  const struct {
    bool on;
    const char* what;
  } modes[] = {
      {state_doingGrab(), "a grab is on"},
      {state.sDoingGrabWToggle || state.sDoingGrabWurl || state.sDoingGrabWHotKeyOnly ||
           state.sDoingGrabWHotKeyAndButton || state.sDoingGrabWScrollKey,
       "a grab trigger is still marked"},
      {state_doingVector() || state.sDoingVectorWurl, "vector scrolling is on"},
      {state_doingHover(), "hover scrolling is on"},
      {state_doingAutoScroll() || state.sDoingAutoScrollWurl, "autoscroll is on"},
      {state_doingCoast(), "a coast is running"},
      {state_postingMomentum(), "momentum is still being marked"},
      {keys_repeatStarted() || VAkeys_statics().sTimer, "the key repeat runs"},
      {state_interceptNextKeypress(), "the next key press would be taken for the pane"},
      {VAevent_statics().sCopiedMdownToDelay != nullptr, "a press is still held back"},
      {!session.power().held().empty(), "the display is kept awake"},
  };
  for (const auto& mode : modes) check(!mode.on, mode.what);
  for (const port::OverlayWindow& w : session.overlayWindows().windows()) {
    check(!w.visible || w.alpha == 0, "the agent's window \"" + w.identifier + "\" is shown");
  }

  port::RunLoops& loops = *session.platform().runLoops;
  double now = session.platform().clock->absoluteTimeGetCurrent();
  check(!VAvector_statics().sVectorTimer, "the vector timer runs");
  const VAhoverStatics& hover = VAhover_statics();
  if (hover.hoverTimer) {
    double interval = loops.timerGetInterval(hover.hoverTimer);
    check(interval >= 0.5, "the hover timer ticks every " + std::to_string(interval) + " s");
  }
  if (port::CFRunLoopTimerRef coast = VAremote_statics().sCoastTimer) {
    check(loops.timerGetNextFireDate(coast) - now > kParked, "the coast timer still ticks");
  }
  if (port::CFRunLoopTimerRef run = bgDelegate_statics().sRunTimer) {
    double next = loops.timerGetNextFireDate(run) - now;
    check(next > kRunTimerMoving && next <= kRunTimerRest + 1e-6,
          "the run timer fires in " + std::to_string(next) + " s");
  }
  const VAtapMgrStatics& taps = VAtapMgr_statics();
  check(session.events().tapIsEnabled(taps.sTap) && session.events().tapIsEnabled(taps.sTapKeys),
        "a tap the agent keeps on is off");

  // The timers the agent knows of, the tap re-enable timer, and while the permission is
  // missing the retry of its wait; each has one firing queued.
  size_t timers = 1 + (bgDelegate_statics().sRunTimer != nullptr) +
                  (VAremote_statics().sCoastTimer != nullptr) + (hover.hoverTimer != nullptr) +
                  !session.accessibility().trusted();
  auto atMost = [&check](size_t count, size_t limit, const std::string& what) {
    check(count <= limit,
          std::to_string(count) + " " + what + " alive (at most " + std::to_string(limit) + ")");
  };
  atMost(session.events().liveEvents(), 0, "event records");
  atMost(session.accessibility().liveElements(), kLifelongElements, "accessibility handles");
  atMost(session.threading().liveTimers(), timers, "timers");
  size_t tasks = 0;
  std::string which;
  for (const auto& [what, count] : session.scheduler().pending()) {
    tasks += count;
    which += " " + what + " x" + std::to_string(count) + ";";
  }
  atMost(tasks, timers, "queued tasks" + which);
  for (port::CFRunLoopRef loop : {loops.getMain(), VAtapMgr_statics().sEventThreadRunLoop.load()}) {
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

std::vector<std::string> runToRest(const Scenario& scenario, bool mayEnd) {
  TraceWatch watch;
  std::vector<std::string> violations;
  RunOptions options;
  options.keepTrace = false;
  options.traceSink = [&watch](const vsession::TraceLine& line) { watch.line(line); };
  options.atEnd = [&violations](vsession::VirtualSession& session) {
    letGoAndStop(session);
    violations = restViolations(session);
  };
  if (runScenario(scenario, options).terminated && !mayEnd) {
    violations.push_back("the agent ended");
  }
  if (!watch.violation().empty()) violations.push_back(watch.violation());
  return violations;
}

}  // namespace sim
