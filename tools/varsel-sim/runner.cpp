#include "runner.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>

#include "Commonprefs.h"
#include "bars_observer.h"
#include "main.h"
#include "platform/virtual/keyed_archive.h"
#include "platform/virtual/plist_codec.h"
#include "platform/virtual/session.h"
#include "platform/virtual/web_server.h"
#include "state_observer.h"
#include "summary.h"
#include "tarnwickCkUpdate.h"

namespace sim {

using namespace port;
using vsession::TaskId;
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
  config.accessibilityRevokedAt = s.accessibilityRevokedAt;
  config.paneRunning = s.pane;
  if (s.home) config.home = *s.home;
  config.frontPid = s.front;
  config.recordWakes = options.wakes;
  if (s.agentVersion) config.agentVersion = *s.agentVersion;
  if (s.agentPath) config.agentBundlePath = *s.agentPath;
  config.authorizationRefused = s.authorizationRefused;
  config.loginItems = s.loginItems;
  if (s.date) config.startTime = *s.date;
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
    v.hang = app.hang;
    config.apps.push_back(v);
  }
  return config;
}

namespace {

// Where a step's tasks go: into the session's queue, each in the next place of posting order
// set aside for them; or, while the places are being counted, nowhere.
struct Places {
  VirtualSession& session;
  TaskId next = 0;
  bool counting = false;
  void at(double t, Block task) {
    if (!counting) session.at(next, t, std::move(task));
    ++next;
  }
};

void scheduleTrackpad(Places& places, double start,
                      const std::vector<vsession::TrackpadStep>& steps) {
  VirtualSession& session = places.session;
  for (const vsession::TrackpadStep& s : steps) {
    places.at(start + s.t, [&session, s] { session.input().trackpad(s); });
  }
}

void scheduleReplay(Places& places, double start, const ReplayInput& replay) {
  VirtualSession& session = places.session;
  double first = replay.events.front().t;
  if (replay.trackpad) {
    std::vector<vsession::RecordedDelta> recording;
    for (const ReplayInput::Event& e : replay.events) {
      double scale = e.lines ? 10 : 1;
      recording.push_back({e.t, e.x * scale, e.y * scale});
    }
    scheduleTrackpad(places, start, vsession::trackpadStepsFromRecording(recording));
    return;
  }
  // A browser on a Mac reports a notchy wheel's Cocoa delta as 40 px a unit (Safari, Chrome)
  // or rounds it up to whole lines (Firefox).
  constexpr double kBrowserPixelsPerUnit = 40;
  for (const ReplayInput::Event& e : replay.events) {
    double scale = e.lines ? 1 : 1 / kBrowserPixelsPerUnit;
    CGPoint cocoa{e.x * scale, e.y * scale};
    places.at(start + e.t - first,
              [&session, cocoa] { session.input().recordedWheel(cocoa.x, cocoa.y); });
  }
}

// Each step becomes the device actions it stands for, at their virtual times.
void schedule(Places& places, const InputStep& step) {
  VirtualSession& session = places.session;
  vsession::InputDevices& input = session.input();
  const InputStep* p = &step;
  if (auto* move = std::get_if<MoveInput>(&step.action); move && move->over > 0) {
    // The hand's path starts where the hand is when the move begins; the mouse reports each
    // stretch of it as movement, which lands wherever the cursor is by then.
    places.at(step.t, [&session, p, move] {
      CGPoint from = session.input().hand();
      int steps = std::max(1, static_cast<int>(std::ceil(move->over * move->rate)));
      for (int k = 1; k <= steps; ++k) {
        double f = static_cast<double>(k) / steps;
        CGPoint to{from.x + (move->to.x - from.x) * f, from.y + (move->to.y - from.y) * f};
        session.at(p->t + move->over * f, [&session, to] { session.input().moveHand(to); });
      }
    });
    return;
  }
  std::visit(
      [&](const auto& a) {
        using T = std::decay_t<decltype(a)>;
        const T* action = &a;
        if constexpr (std::is_same_v<T, WheelInput>) {
          places.at(p->t, [&input, action] { input.wheel(action->x, action->y, action->pixels); });
        } else if constexpr (std::is_same_v<T, MoveInput>) {
          places.at(p->t, [&input, action] { input.moveHand(action->to); });
        } else if constexpr (std::is_same_v<T, ModifiersInput>) {
          places.at(p->t, [&input, action] { input.setModifierKeys(action->keys); });
        } else if constexpr (std::is_same_v<T, ButtonInput>) {
          // Without "down" the step is a click: press now, release 0.08 s later.
          bool down = action->down.value_or(true);
          places.at(p->t,
                    [&input, action, down] { input.button(action->number, down, action->stylus); });
          if (!action->down) {
            places.at(p->t + 0.08,
                      [&input, action] { input.button(action->number, false, action->stylus); });
          }
        } else if constexpr (std::is_same_v<T, KeyInput>) {
          bool down = action->down.value_or(true);
          places.at(p->t, [&input, action, down] {
            input.key(action->code, down, action->chars, action->ignoring);
          });
          if (!action->down) {
            places.at(p->t + 0.08, [&input, action] {
              input.key(action->code, false, action->chars, action->ignoring);
            });
          }
        } else if constexpr (std::is_same_v<T, TrackpadInput>) {
          places.at(p->t, [&input, action] { input.trackpad(action->step); });
        } else if constexpr (std::is_same_v<T, SwipeInput>) {
          scheduleTrackpad(
              places, p->t,
              vsession::swipeSteps(action->x, action->y, action->over, action->momentum));
        } else if constexpr (std::is_same_v<T, ReplayInput>) {
          scheduleReplay(places, p->t, *action);
        } else if constexpr (std::is_same_v<T, PaneInput>) {
          places.at(p->t, [&session, action] {
            PlistDict message;
            message["m"] = PlistValue(action->m);
            if (action->s) message["s"] = PlistValue(*action->s);
            session.paneSend(message);
          });
        } else if constexpr (std::is_same_v<T, UrlInput>) {
          // Before the agent installs its handler the system has nobody to give it to.
          places.at(p->t, [&session, action] { session.urlEvents().open(action->url); });
        } else if constexpr (std::is_same_v<T, NotificationInput>) {
          places.at(p->t, [&session] { session.userNotifications().clickNotification(); });
        } else if constexpr (std::is_same_v<T, HelperInput>) {
          places.at(p->t, [&session, action] {
            session.notifications().postNotification("com.tarnwick.vxs", action->reply, false);
          });
        } else if constexpr (std::is_same_v<T, SleepInput>) {
          // A sleep that begins while the machine already sleeps makes it sleep on until
          // its own wake, if that is later.
          places.at(p->t, [&session, p, action] {
            session.sleepMachine(p->t + action->seconds - session.elapsed());
          });
        } else if constexpr (std::is_same_v<T, DialogInput>) {
          places.at(p->t, [&session, action] {
            session.userNotifications().pressDialogButton(action->button);
          });
        } else {
          places.at(p->t,
                    [&input, action] { input.raw(action->type, action->fields, action->flags); });
        }
      },
      step.action);
}

// Plays the input into the session as the run goes: every second of virtual time the steps
// due in the second after next are queued, so the queue holds a few seconds of input however
// long the run. Their places in posting order are set aside at the start, so they run
// exactly as if the whole input had been queued then.
class InputFeeder {
 public:
  static constexpr double kWindow = 1.0;

  InputFeeder(VirtualSession& session, const std::vector<InputStep>& steps)
      : session_(session), steps_(steps) {
    TaskId count = 0;
    for (const InputStep& step : steps_) {
      Places counter{session_, 0, true};
      schedule(counter, step);
      first_.push_back(count);
      count += counter.next;
    }
    TaskId base = session_.scheduler().reserve(count);
    for (TaskId& first : first_) first += base;
  }

  void start() { feedAt(0); }

 private:
  void feedAt(double now) {
    for (; next_ < steps_.size() && steps_[next_].t < now + 2 * kWindow; ++next_) {
      Places places{session_, first_[next_]};
      schedule(places, steps_[next_]);
    }
    if (next_ == steps_.size()) return;
    double then = now + kWindow;
    session_.scheduler().schedule(session_.absolute(then), vsession::Scheduler::kSystemLane,
                                  "input", [this, then] { feedAt(then); });
  }

  VirtualSession& session_;
  const std::vector<InputStep>& steps_;
  std::vector<TaskId> first_;  // each step's first place in posting order
  size_t next_ = 0;
};

}  // namespace

void writeScenarioPrefs(const ScenarioPrefs& prefs, VirtualSession& session) {
  vsession::VirtualPreferences& domain = session.preferences();
  // Settings that cannot be put in place would make the run quietly about something else.
  auto written = [&](bool ok) {
    if (!ok) {
      throw std::runtime_error("the settings cannot be written into the session's home, " +
                               session.home().string());
    }
  };
  if (prefs.domainFile) {
    vsession::FileContents bytes = vsession::readFileOrWhy(*prefs.domainFile);
    if (!bytes.bytes) throw std::runtime_error(*prefs.domainFile + ": " + bytes.error);
    written(vsession::writeWholeFile(domain.domainFile(kPrefsDomain), *bytes.bytes));
    written(domain.appSynchronize(kPrefsDomain));
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
  written(domain.appSynchronize(kPrefsDomain));
}

// The scenario's files, laid out in the session's file system before the agent starts.
void layOutFiles(const std::vector<ScenarioFile>& files, VirtualSession& session) {
  vsession::VirtualFiles& fs = session.files();
  for (const ScenarioFile& f : files) {
    std::string path = f.path.starts_with("~") ? fs.homeDirectory() + f.path.substr(1) : f.path;
    std::filesystem::path real = fs.real(path);
    std::error_code ignored;
    if (f.version) {
      PlistDict info;
      info["CFBundleShortVersionString"] = PlistValue(*f.version);
      std::filesystem::create_directories(real / "Contents", ignored);
      vsession::writeWholeFile(real / "Contents" / "Info.plist",
                               vsession::writeBinaryPlist(PlistValue(info)));
    } else if (f.plist) {
      std::filesystem::create_directories(real.parent_path(), ignored);
      vsession::writeWholeFile(real, vsession::writeBinaryPlist(PlistValue(*f.plist)));
    } else {
      std::filesystem::create_directories(real.parent_path(), ignored);
      vsession::writeWholeFile(real, {});
    }
    if (f.quarantine) fs.markQuarantined(path);
  }
}

RunResult runScenario(const Scenario& scenario, const RunOptions& options) {
  vsession::SessionConfig config = sessionConfigFor(scenario, options);
  // The version list's host is a real server on the loopback interface, for this run.
  std::optional<vsession::LoopbackWebServer> web;
  if (!scenario.web.empty()) {
    std::map<std::string, vsession::WebAnswer> answers;
    for (const auto& [path, entry] : scenario.web) {
      vsession::WebAnswer answer;
      answer.status = entry.status;
      if (entry.plist) answer.body = vsession::writeXmlPlist(PlistValue(*entry.plist));
      answers[path] = std::move(answer);
    }
    web.emplace(std::move(answers));
    std::string url = kVersionListURL;
    std::string path = url.substr(url.find('/', url.find("//") + 2) + 1);
    config.strings[kVersionListURL] = web->baseURL() + path;
  }
  VirtualSession session(config);
  port::setPlatform(&session.platform());
  agent_resetModules();
  if (scenario.prefs) writeScenarioPrefs(*scenario.prefs, session);
  layOutFiles(scenario.files, session);

  RunResult result;
  std::vector<vsession::ContentScroll> areas = session.accessibility().scrollAreas();
  RunSummary summary(scenario, areas);
  if (options.plot) {
    result.plot.emplace(scenario, areas);
    session.events().setSwallowWatcher([&result](CGEventRef e) { result.plot->swallowed(e); });
  }
  session.trace().keepLines(options.keepTrace);
  session.trace().setSink([&](const vsession::TraceLine& line) {
    summary.line(line);
    if (result.plot) result.plot->line(line);
    if (options.traceSink) options.traceSink(line);
  });

  StateObserver observer;
  BarsObserver bars;
  session.scheduler().setAfterWakeHook([&session, &observer, &bars, &summary] {
    double now = session.scheduler().now();
    for (auto& [name, value] : observer.changes()) {
      session.trace().add(now, "state", {{"name", name}, {"value", value}});
    }
    if (auto change = bars.change()) session.trace().add(now, "bars", std::move(*change));
    summary.afterWake();
  });

  if (options.startAgent) agent_main();
  if (options.updateCheckAt) {
    session.scheduler().schedule(session.absolute(*options.updateCheckAt),
                                 vsession::Scheduler::kMainLane, "update check",
                                 [] { checkForUpdatesAndNotifyIfLatest(true); });
  }
  InputFeeder feeder(session, scenario.input);
  feeder.start();
  session.runUntil(scenario.until);
  if (options.atEnd) options.atEnd(session);

  result.trace = session.trace().lines();
  result.terminated = session.terminated();
  result.summary = summary.text(session.world().apps, result.terminated);
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
