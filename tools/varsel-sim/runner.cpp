#include "runner.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <sstream>

#include "Commonprefs.h"
#include "bars_observer.h"
#include "main.h"
#include "platform/virtual/keyed_archive.h"
#include "platform/virtual/session.h"
#include "state_observer.h"

namespace sim {

using namespace port;
using vsession::VirtualSession;

vsession::SessionConfig sessionConfigFor(const Scenario& s, const RunOptions& options) {
  vsession::SessionConfig config;
  config.screens = s.screens;
  const CGRect& main = s.screens.front();
  config.cursor = s.cursor.value_or(
      CGPoint{main.origin.x + main.size.width / 2, main.origin.y + main.size.height / 2});
  config.systemVersion = s.systemVersion;
  config.scrollWheelScaling = s.scrollWheelScaling;
  config.accessibilityTrusted = s.accessibility;
  config.accessibilityGrantedAt = s.accessibilityGrantedAt;
  config.paneRunning = s.pane;
  if (s.home) config.home = *s.home;
  config.frontPid = s.front;
  config.recordWakes = options.wakes;
  // The front application's windows lie above the others; otherwise the listed order holds.
  for (bool front : {true, false}) {
    for (const ScenarioApp& app : s.apps) {
      if ((app.pid == s.front) != front) continue;
      for (const ScenarioWindow& w : app.windows) {
        config.windows.push_back({w.number, app.pid, w.frame, w.title, w.layer, false, w.ui});
      }
    }
  }
  // Higher layers (the Dock, menus) lie above every document window.
  std::stable_sort(config.windows.begin(), config.windows.end(),
                   [](const vsession::VirtualWindow& a, const vsession::VirtualWindow& b) {
                     return a.layer > b.layer;
                   });
  for (const ScenarioApp& app : s.apps) {
    vsession::VirtualApp v;
    v.pid = app.pid;
    v.bundleIdentifier = app.bundle;
    v.name = app.name;
    v.processName = app.process.empty() ? app.name.value_or("") : app.process;
    v.bundlePath = app.path;
    v.creator = app.creator;
    config.apps.push_back(v);
  }
  return config;
}

namespace {

void scheduleTrackpad(VirtualSession& session, double start,
                      const std::vector<vsession::TrackpadStep>& steps) {
  for (const vsession::TrackpadStep& s : steps) {
    session.at(start + s.t, [&session, s] { session.input().trackpad(s); });
  }
}

void scheduleReplay(VirtualSession& session, double start, const ReplayInput& replay) {
  double first = replay.events.front().t;
  if (replay.trackpad) {
    std::vector<vsession::RecordedDelta> recording;
    for (const ReplayInput::Event& e : replay.events) {
      double scale = e.lines ? 10 : 1;
      recording.push_back({e.t, e.x * scale, e.y * scale});
    }
    scheduleTrackpad(session, start, vsession::trackpadStepsFromRecording(recording));
    return;
  }
  for (const ReplayInput::Event& e : replay.events) {
    const ReplayInput::Event* event = &e;
    session.at(start + e.t - first, [&session, event] {
      if (event->lines) {
        session.input().wheel(event->x, event->y, std::nullopt);
      } else {
        session.input().wheel(event->x / 10, event->y / 10, CGPoint{event->x, event->y});
      }
    });
  }
}

// Each step becomes the device actions it stands for, at their virtual times.
void schedule(VirtualSession& session, const InputStep& step) {
  vsession::InputDevices& input = session.input();
  const InputStep* p = &step;
  if (auto* move = std::get_if<MoveInput>(&step.action); move && move->over > 0) {
    // The path starts wherever the cursor is when the move begins.
    session.at(step.t, [&session, p, move] {
      CGPoint from = session.world().cursor;
      int steps = std::max(1, static_cast<int>(std::ceil(move->over * move->rate)));
      for (int k = 1; k <= steps; ++k) {
        double f = static_cast<double>(k) / steps;
        CGPoint to{from.x + (move->to.x - from.x) * f, from.y + (move->to.y - from.y) * f};
        session.at(p->t + move->over * f, [&session, to] { session.input().moveTo(to); });
      }
    });
    return;
  }
  std::visit(
      [&](const auto& a) {
        using T = std::decay_t<decltype(a)>;
        const T* action = &a;
        if constexpr (std::is_same_v<T, WheelInput>) {
          session.at(p->t, [&input, action] { input.wheel(action->x, action->y, action->pixels); });
        } else if constexpr (std::is_same_v<T, MoveInput>) {
          session.at(p->t, [&input, action] { input.moveTo(action->to); });
        } else if constexpr (std::is_same_v<T, ModifiersInput>) {
          session.at(p->t, [&input, action] { input.setModifiers(action->flags); });
        } else if constexpr (std::is_same_v<T, ButtonInput>) {
          // Without "down" the step is a click: press now, release 0.08 s later.
          bool down = action->down.value_or(true);
          session.at(p->t, [&input, action, down] { input.button(action->number, down); });
          if (!action->down) {
            session.at(p->t + 0.08, [&input, action] { input.button(action->number, false); });
          }
        } else if constexpr (std::is_same_v<T, KeyInput>) {
          bool down = action->down.value_or(true);
          session.at(p->t,
                     [&input, action, down] { input.key(action->chars, action->code, down); });
          if (!action->down) {
            session.at(p->t + 0.08,
                       [&input, action] { input.key(action->chars, action->code, false); });
          }
        } else if constexpr (std::is_same_v<T, TrackpadInput>) {
          session.at(p->t, [&input, action] { input.trackpad(action->step); });
        } else if constexpr (std::is_same_v<T, SwipeInput>) {
          scheduleTrackpad(
              session, p->t,
              vsession::swipeSteps(action->x, action->y, action->over, action->momentum));
        } else if constexpr (std::is_same_v<T, ReplayInput>) {
          scheduleReplay(session, p->t, *action);
        } else if constexpr (std::is_same_v<T, PaneInput>) {
          session.at(p->t, [&session, action] {
            PlistDict message;
            message["m"] = PlistValue(action->m);
            if (action->s) message["s"] = PlistValue(*action->s);
            session.paneSend(message);
          });
        } else {
          session.at(p->t,
                     [&input, action] { input.raw(action->type, action->fields, action->flags); });
        }
      },
      step.action);
}

const char* typeName(int64_t type) {
  switch (type) {
    case kCGEventLeftMouseDown:
    case kCGEventRightMouseDown:
    case kCGEventOtherMouseDown:
      return "button down";
    case kCGEventLeftMouseUp:
    case kCGEventRightMouseUp:
    case kCGEventOtherMouseUp:
      return "button up";
    case kCGEventMouseMoved:
      return "mouse moved";
    case kCGEventLeftMouseDragged:
    case kCGEventRightMouseDragged:
    case kCGEventOtherMouseDragged:
      return "dragged";
    case kCGEventKeyDown:
      return "key down";
    case kCGEventKeyUp:
      return "key up";
    case kCGEventFlagsChanged:
      return "flags changed";
    case kCGEventScrollWheel:
      return "scroll wheel";
    case kNSEventTypeGesture:
      return "gesture";
    default:
      return "other";
  }
}

std::string summarize(const Scenario& s, const RunResult& result, VirtualSession& session) {
  std::map<std::string, int> delivered;
  int swallowed = 0, stateChanges = 0, total = 0;
  std::vector<std::string> logs;
  for (const auto& line : result.trace) {
    std::string kind = line["kind"];
    if (kind == "deliver") {
      ++delivered[typeName(line["type"].get<int64_t>())];
      ++total;
    } else if (kind == "swallow") {
      ++swallowed;
    } else if (kind == "state") {
      ++stateChanges;
    } else if (kind == "log") {
      logs.push_back(line["msg"]);
    }
  }
  std::ostringstream out;
  out << "Scenario \"" << s.name << "\": " << s.until << " s of virtual time"
      << (result.terminated ? ", ended by the agent's terminate request" : "") << "\n";
  out << "  delivered " << total << " events";
  const char* sep = ": ";
  for (const auto& [name, count] : delivered) {
    out << sep << count << " " << name;
    sep = ", ";
  }
  out << "\n  swallowed " << swallowed << "\n";
  for (const vsession::VirtualApp& app : session.world().apps) {
    out << "  " << app.displayName() << " (pid " << app.pid << ") received " << app.eventsReceived
        << "\n";
  }
  out << "  agent state changes: " << stateChanges << "\n";
  out << "  logged: " << (logs.empty() ? "nothing" : "") << "\n";
  for (const std::string& msg : logs) out << "    " << msg << "\n";
  return out.str();
}

}  // namespace

void writeScenarioPrefs(const ScenarioPrefs& prefs, VirtualSession& session) {
  vsession::VirtualPreferences& domain = session.preferences();
  if (prefs.domainFile) {
    if (auto bytes = vsession::readWholeFile(*prefs.domainFile)) {
      vsession::writeWholeFile(domain.domainFile(kPrefsDomain), *bytes);
    }
    domain.appSynchronize(kPrefsDomain);
    return;
  }
  PlistDict global = prefs.global;
  global.try_emplace("prefsVers", PlistValue(1));
  for (const auto& [key, value] : global) domain.setAppValue(key, value, kPrefsDomain);
  PlistArray appList;
  PlistDict all;
  all["data"] = PlistValue(vsession::archive(PlistValue(prefs.all)));
  appList.push_back(PlistValue(std::move(all)));
  for (const ScenarioAppSettings& app : prefs.apps) {
    PlistDict element;
    if (app.bid) {
      element["bid"] = PlistValue(*app.bid);
      element["hasBid"] = PlistValue(true);
    }
    if (app.creator) element["creator"] = PlistValue(static_cast<int64_t>(*app.creator));
    element["data"] = PlistValue(vsession::archive(PlistValue(app.settings)));
    appList.push_back(PlistValue(std::move(element)));
  }
  domain.setAppValue("appList", PlistValue(std::move(appList)), kPrefsDomain);
  domain.appSynchronize(kPrefsDomain);
}

RunResult runScenario(const Scenario& scenario, const RunOptions& options) {
  VirtualSession session(sessionConfigFor(scenario, options));
  port::setPlatform(&session.platform());
  agent_resetModules();
  if (scenario.prefs) writeScenarioPrefs(*scenario.prefs, session);

  StateObserver observer;
  BarsObserver bars;
  session.scheduler().setAfterWakeHook([&session, &observer, &bars] {
    double now = session.scheduler().now();
    for (auto& [name, value] : observer.changes()) {
      session.trace().add(now, "state", {{"name", name}, {"value", value}});
    }
    if (auto change = bars.change()) session.trace().add(now, "bars", std::move(*change));
  });

  if (options.startAgent) agent_main();
  for (const InputStep& step : scenario.input) schedule(session, step);
  session.runUntil(scenario.until);

  RunResult result;
  result.trace = session.trace().lines();
  result.terminated = session.terminated();
  result.summary = summarize(scenario, result, session);
  agent_resetModules();
  port::setPlatform(nullptr);
  return result;
}

std::string traceText(const std::vector<vsession::TraceLine>& trace) {
  std::string out;
  for (const auto& line : trace) out += line.dump() + "\n";
  return out;
}

}  // namespace sim
