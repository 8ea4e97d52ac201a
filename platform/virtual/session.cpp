#include "session.h"

#include <stdlib.h>
#include <time.h>

#include <cmath>
#include <ctime>

#include <system_error>

#include "plist_codec.h"
#include "plist_json.h"

namespace vsession {

namespace {
// A fresh folder that stands for "/": the folders of a Mac the agent looks into, and the
// user's home at Users/user.
std::filesystem::path freshRoot() {
  std::string pattern = (std::filesystem::temp_directory_path() / "varsel-root-XXXXXX").string();
  std::filesystem::path root = mkdtemp(pattern.data())
                                   ? std::filesystem::path(pattern)
                                   : std::filesystem::temp_directory_path() / "varsel-root";
  std::error_code ignored;
  for (const char* folder : {"Applications", "Library/PreferencePanes",
                             "Library/PrivilegedHelperTools", "Users/user/Library/Preferences"}) {
    std::filesystem::create_directories(root / folder, ignored);
  }
  return root;
}
}  // namespace

VirtualSession::VirtualSession(const SessionConfig& config)
    : config_(config),
      root_(freshRoot()),
      home_(config.home ? *config.home : root_ / "Users" / "user"),
      scheduler_(config.startTime),
      trace_(config.startTime),
      threading_(scheduler_, faults_),
      events_(scheduler_, threading_, world_, trace_, faults_),
      input_(world_, events_, scheduler_) {
  world_.screens = config.screens;
  world_.cursor = world_.clampToScreens(config.cursor);
  input_.placeHand();
  for (const VirtualApp& app : config.apps) {
    if (!app.hang) continue;
    double from = config.startTime + app.hang->first;
    accessibility_.hangApplication(app.pid, from, from + app.hang->second);
  }
  // An alert runs its modal loop on the calling thread until the user answers.
  userNotifications_.setModalRunner([this](double seconds) {
    LaneId lane = scheduler_.currentLane();
    threading_.enterModal(lane, scheduler_.now() + seconds);
    scheduler_.runNested(seconds);
    threading_.leaveModal(lane);
  });
  threading_.setModalEndObserver([this](LaneId lane) { events_.modalEnded(lane); });
  // A thread waiting for an application holds only itself, and the input if it serves a tap.
  accessibility_.setWaiter([this](double seconds) { events_.holdThread(seconds); });
  world_.apps = config.apps;
  world_.windows = config.windows;
  world_.frontPid = config.frontPid;

  if (config.recordWakes) {
    scheduler_.setWakeObserver([this](LaneId lane, const char* what) {
      trace_.add(scheduler_.now(), "wake", {{"lane", scheduler_.laneName(lane)}, {"what", what}});
    });
  }
  scheduler_.setLaneIdleHook([this](LaneId lane) {
    threading_.drainBlocks(lane);
    overlayWindows_.traceChanges();
  });
  world_.cursorMoved = [this] { windowServer_.cursorMoved(); };
  events_.setWindowMouseRouter([this](port::CGEventRef e) { return routeWindowMouse(e); });
  windowServer_.cursorMoved();
  windowServer_.listAgentWindows(&overlayWindows_, config_.agentPid, "Varsel");
  input_.setWheelScaling(config_.scrollWheelScaling);

  platform_.clock = &threading_;
  platform_.runLoops = &threading_;
  platform_.dispatch = &threading_;
  platform_.threads = &threading_;
  platform_.quartz = &events_;
  platform_.cocoa = &events_;
  platform_.application = &app_;
  platform_.preferences = &preferences_;
  platform_.keyedArchiver = &archiver_;
  platform_.files = &files_;
  platform_.systemFacts = &systemFacts_;
  platform_.workspace = &workspace_;
  platform_.windowServer = &windowServer_;
  platform_.overlayWindows = &overlayWindows_;
  platform_.power = &power_;
  platform_.accessibility = &accessibility_;
  accessibility_.rebuild();
  // Applications scroll the area under the event by its pixel deltas.
  events_.setScrollReceiver([this](port::CGEventRef e) {
    std::optional<ContentScroll> moved = accessibility_.scrollContentAt(
        e->location, e->doubleFields[port::kCGScrollWheelEventPointDeltaAxis2],
        e->doubleFields[port::kCGScrollWheelEventPointDeltaAxis1]);
    if (!moved) return;
    trace_.add(scheduler_.now(), "scroll",
               {{"pid", moved->pid},
                {"window", moved->window},
                {"area", moved->area},
                {"x", moved->offset.x},
                {"y", moved->offset.y}});
  });
  setAccessibilityTrusted(config.accessibilityTrusted);
  if (config.accessibilityRevokedAt) {
    at(*config.accessibilityRevokedAt, [this] { setAccessibilityTrusted(false); });
  }
  if (config.accessibilityGrantedAt) {
    at(*config.accessibilityGrantedAt, [this] { setAccessibilityTrusted(true); });
  }
  platform_.notifications = &notifications_;
  platform_.messagePorts = &messagePorts_;
  platform_.urlEvents = &urlEvents_;
  platform_.userNotifications = &userNotifications_;
  platform_.updateFetch = &updateFetch_;
  platform_.installation = &installation_;
  installation_.setLoginItems(config.loginItems);
  installation_.setAuthorizationRefused(config.authorizationRefused);
  installation_.setAppServiceEra(config.systemVersion.major >= 13, config.agentBundlePath);
  if (config.helperAnswers) {
    installation_.setHelperReplyPoster([this](const port::PlistDict& reply) {
      notifications_.postNotification("com.tarnwick.vxs", reply, false);
    });
  }
  platform_.propertyLists = &archiver_;

  // Every message the agent posts for the pane, whether a pane listens or not.
  notifications_.listen("com.tarnwick.v4bf", [this](const port::PlistDict& info) {
    TraceLine fields = TraceLine::object();
    auto m = info.find("m");
    fields["m"] = m == info.end() ? TraceLine() : TraceLine(toJson(m->second));
    auto d = info.find("d");
    fields["d"] = d == info.end() ? TraceLine() : TraceLine(toJson(d->second));
    trace_.add(scheduler_.now(), "pane", std::move(fields));
  });
  // Another copy of the agent answers on the agent's port until it ends.
  for (const VirtualApp& app : world_.apps) {
    if (app.bundleIdentifier == kAgentBundleIdentifier) {
      messagePorts_.claim("com.tarnwick.v4b" + std::to_string(config.userId), app.pid);
    }
  }
  workspace_.setTerminationObserver([this](int32_t pid) {
    messagePorts_.releaseAllOf(pid);
    trace_.add(scheduler_.now(), "terminate", {{"pid", pid}});
  });
  setPaneRunning(config.paneRunning);
  platform_.systemLog = &log_;
}

VirtualSession::~VirtualSession() {
  std::error_code ignored;
  std::filesystem::remove_all(root_, ignored);
}

VirtualApp VirtualSession::agentProcess() const {
  VirtualApp agent;
  agent.pid = config_.agentPid;
  agent.bundleIdentifier = kAgentBundleIdentifier;
  agent.name = "Varsel Agent";
  agent.processName = "Varsel Agent";
  agent.bundlePath = config_.agentBundlePath;
  return agent;
}

// A press on one of the agent's windows that takes the mouse goes to its view, and so do
// the drags and the release that follow it, wherever they are.
int32_t VirtualSession::routeWindowMouse(port::CGEventRef e) {
  using namespace port;
  CGEventType t = e->type;
  bool down =
      t == kCGEventLeftMouseDown || t == kCGEventRightMouseDown || t == kCGEventOtherMouseDown;
  bool up = t == kCGEventLeftMouseUp || t == kCGEventRightMouseUp || t == kCGEventOtherMouseUp;
  bool dragged = t == kCGEventLeftMouseDragged || t == kCGEventRightMouseDragged ||
                 t == kCGEventOtherMouseDragged;
  if (down) {
    mouseCapture_ = overlayWindows_.windowTakingMouseAt(world_.toCocoa(e->location));
    // A press in another application's window makes that one the active application.
    if (!mouseCapture_) notifications_.setAgentActive(false);
  }
  NSWindowRef window = mouseCapture_;
  if (!window || !(down || up || dragged)) return 0;
  if (up) mouseCapture_ = nullptr;
  void (*handler)(NSWindowRef, NSEventRef) = down      ? window->handlers.down
                                             : dragged ? window->handlers.dragged
                                                       : window->handlers.up;
  if (handler) {
    events_.setEventWindowOrigin(window->frame.origin);
    scheduler_.runOnLane(Scheduler::kMainLane, "window",
                         [&] { handler(window, events_.eventWithCGEvent(e)); });
    events_.setEventWindowOrigin({0, 0});
  }
  return config_.agentPid;
}

void VirtualSession::setPaneRunning(bool running) {
  std::string port = "com.tarnwick.v4" + std::to_string(config_.userId);
  if (running) {
    messagePorts_.claim(port, kPanePid);
  } else {
    messagePorts_.releaseAllOf(kPanePid);
  }
}

void VirtualSession::paneSend(const port::PlistDict& message) {
  // The pane is not part of this program: the agent may not count on its asking for
  // immediate delivery.
  notifications_.postNotification("com.tarnwick.v4fb", message, false);
}

void VirtualSession::sleepMachine(double seconds) {
  if (!(seconds > 0)) return;
  events_.timeOutTapsInSleep();
  threading_.machineSlept(seconds);
  scheduler_.sleepMachine(seconds);
}

void VirtualSession::at(double seconds, port::Block action) {
  scheduler_.schedule(absolute(seconds), Scheduler::kSystemLane, "input", std::move(action));
}

void VirtualSession::at(TaskId reserved, double seconds, port::Block action) {
  scheduler_.scheduleAt(reserved, absolute(seconds), Scheduler::kSystemLane, "input",
                        std::move(action));
}

// The framework finishes launching on the main thread's first pass.
void VirtualSession::AppPort::run(void (*applicationDidFinishLaunching)()) {
  // From here on what is written to the preferences is the agent's doing.
  s_.preferences_.setWriteObserver(
      [this](const std::string& key, const std::optional<port::PlistValue>& value) {
        s_.trace_.add(s_.scheduler_.now(), "prefs",
                      {{"key", key}, {"value", value ? toJson(*value) : nlohmann::json()}});
      });
  s_.scheduler_.schedule(s_.scheduler_.now(), Scheduler::kMainLane, "launch",
                         [applicationDidFinishLaunching] { applicationDidFinishLaunching(); });
}

// The request is handled on the main thread's next pass; then the process is gone.
void VirtualSession::AppPort::terminate() {
  // AppKit takes a terminate request on the main thread only; from another thread it is
  // counted as a fault and not honoured, so a test sees the agent go on running.
  if (s_.scheduler_.currentLane() != Scheduler::kMainLane) {
    ++s_.offMainTerminateRequests_;
    return;
  }
  if (s_.terminationRequested_) return;
  s_.terminationRequested_ = true;
  s_.trace_.add(s_.scheduler_.now(), "terminate");
  s_.scheduler_.schedule(s_.scheduler_.now(), Scheduler::kMainLane, "terminate",
                         [this] { s_.scheduler_.stop(); });
}

std::string VirtualSession::AppPort::bundlePath() {
  return s_.config_.agentBundlePath;
}

std::optional<std::string> VirtualSession::AppPort::bundlePathWithIdentifier(
    const std::string& identifier) {
  if (identifier == bundleIdentifier()) return bundlePath();
  if (identifier == "com.tarnwick.varsel4") return "/Library/PreferencePanes/Varsel.prefPane";
  return std::nullopt;
}

// The session's user is in the United States, on Greenwich time: "Nov 23, 2026 at 5:07 AM".
std::string VirtualSession::AppPort::mediumDateShortTime(double absoluteTime) {
  constexpr double kUnixOf2001 = 978307200;
  time_t seconds = static_cast<time_t>(std::floor(absoluteTime + kUnixOf2001));
  struct tm parts {};
  if (!gmtime_r(&seconds, &parts)) return "";
  char text[64];
  std::strftime(text, sizeof text, "%b %-d, %Y at %-I:%M %p", &parts);
  return text;
}

std::optional<std::string> VirtualSession::AppPort::bundleShortVersionString(
    const std::string& bundlePath) {
  if (bundlePath == this->bundlePath()) return s_.config_.agentVersion;
  std::optional<std::vector<uint8_t>> info =
      readWholeFile(s_.files_.real(bundlePath + "/Contents/Info.plist"));
  if (!info) return std::nullopt;
  std::optional<port::PlistValue> plist = readPlist(*info).value;
  const port::PlistDict* dict = plist ? plist->dict() : nullptr;
  auto version =
      dict ? dict->find("CFBundleShortVersionString") : port::PlistDict::const_iterator();
  if (!dict || version == dict->end() || !version->second.string()) return std::nullopt;
  return *version->second.string();
}

std::string VirtualSession::AppPort::localizedString(const std::string& bundlePath,
                                                     const std::string& key,
                                                     const std::string& value) {
  if (bundlePath == this->bundlePath()) {
    auto found = s_.config_.strings.find(key);
    if (found != s_.config_.strings.end()) return found->second;
  }
  return value.empty() ? key : value;
}

void VirtualSession::LogPort::log(std::string_view message) {
  s_.logLines_.emplace_back(message);
  s_.trace_.add(s_.scheduler_.now(), "log", {{"msg", message}});
}

}  // namespace vsession
