// A virtual macOS login session: the scheduler and its threads, the screens and
// applications, the input devices and the event taps, behind the ports the agent uses.
// Everything runs in virtual time; the same inputs always give the same trace.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "accessibility_model.h"
#include "agent_windows.h"
#include "channels.h"
#include "display_services.h"
#include "event_system.h"
#include "faults.h"
#include "input_devices.h"
#include "installation_services.h"
#include "platform/api/platform.h"
#include "scheduler.h"
#include "system_services.h"
#include "threading.h"
#include "trace.h"
#include "web_fetch.h"
#include "world.h"

namespace vsession {

inline constexpr const char* kAgentBundleIdentifier = "com.tarnwick.varsel4b";
// The process that shows the preference pane.
inline constexpr int32_t kPanePid = 300;

// 2 Nov 2026 09:00:00 GMT, as seconds since 1 Jan 2001.
inline constexpr double kDefaultStartTime = 815302800.0;

struct SessionConfig {
  double startTime = kDefaultStartTime;
  std::vector<port::CGRect> screens = {port::CGRect{{0, 0}, {1440, 900}}};
  port::CGPoint cursor{720, 450};
  std::vector<VirtualApp> apps;
  std::vector<VirtualWindow> windows;  // front to back
  int32_t frontPid = 0;
  int32_t agentPid = 400;
  std::string agentBundlePath = "/Applications/Varsel.app";
  // The session's login items by name, in order.
  std::vector<std::string> loginItems;
  bool authorizationRefused = false;  // the administrator refuses the helper's job
  bool helperAnswers = true;          // the helper tool posts its reply
  uint32_t userId = 501;
  port::SystemVersion systemVersion{10, 15, 7};
  std::optional<double> scrollWheelScaling;
  bool accessibilityTrusted = true;              // the agent's accessibility permission
  std::optional<double> accessibilityGrantedAt;  // seconds after the start
  std::optional<double> accessibilityRevokedAt;  // seconds after the start
  bool paneRunning = false;  // the preference pane is open and listens on its port
  // The user's home folder; a fresh temporary one, removed afterwards, when not given.
  std::optional<std::filesystem::path> home;
  bool recordWakes = false;
  // Where the files of the agent's bundle resources (its images) are read from.
  std::filesystem::path resourcesFolder = VARSEL_RESOURCES_DIR;
  // The bundle's "CFBundleShortVersionString" and its default strings table.
  std::string agentVersion = "4.2";
  std::map<std::string, std::string> strings;
  // The most real seconds an HTTP fetch may wait (see VirtualUpdateFetch).
  std::optional<double> fetchRealTimeLimit;
};

class VirtualSession {
 public:
  explicit VirtualSession(const SessionConfig& config = {});
  ~VirtualSession();
  VirtualSession(const VirtualSession&) = delete;
  VirtualSession& operator=(const VirtualSession&) = delete;

  port::Platform& platform() { return platform_; }
  Scheduler& scheduler() { return scheduler_; }
  Threading& threading() { return threading_; }
  EventSystem& events() { return events_; }
  InputDevices& input() { return input_; }
  World& world() { return world_; }
  Trace& trace() { return trace_; }
  const Trace& trace() const { return trace_; }
  Faults& faults() { return faults_; }
  const std::vector<std::string>& logLines() const { return logLines_; }
  VirtualPreferences& preferences() { return preferences_; }
  VirtualWindowServer& windowServer() { return windowServer_; }
  VirtualAccessibility& accessibility() { return accessibility_; }
  VirtualOverlayWindows& overlayWindows() { return overlayWindows_; }
  VirtualPower& power() { return power_; }
  VirtualNotifications& notifications() { return notifications_; }
  VirtualMessagePorts& messagePorts() { return messagePorts_; }
  VirtualURLEvents& urlEvents() { return urlEvents_; }
  VirtualUserNotifications& userNotifications() { return userNotifications_; }
  VirtualInstallation& installation() { return installation_; }
  VirtualFiles& files() { return files_; }
  VirtualWorkspace& workspace() { return workspace_; }
  const std::filesystem::path& root() const { return root_; }
  VirtualUpdateFetch& updateFetch() { return updateFetch_; }
  const std::filesystem::path& home() const { return home_; }

  // The user grants the agent the accessibility permission or withdraws it.
  void setAccessibilityTrusted(bool trusted) {
    accessibility_.setTrusted(trusted);
    events_.setProcessTrusted(trusted);
  }
  // The preference pane opens (its port appears) or closes.
  void setPaneRunning(bool running);
  // The pane posts a message to the agent ("m" and, for some, "s").
  void paneSend(const port::PlistDict& message);

  // The machine sleeps for `seconds` from now, then wakes: no thread runs meanwhile, the
  // wall clock jumps, the agent's timers and delayed blocks keep what they had left to go
  // (they count machine time), the event taps time out, and input due meanwhile comes at
  // the wake.
  void sleepMachine(double seconds);

  // Virtual seconds since the session started, and the absolute time of such a moment.
  double elapsed() const { return scheduler_.now() - scheduler_.startTime(); }
  double absolute(double seconds) const { return scheduler_.startTime() + seconds; }
  // Runs `action` at `seconds` after the start, as the hardware or the system would.
  void at(double seconds, port::Block action);
  // The same in a place of posting order set aside earlier (Scheduler::reserve).
  void at(TaskId reserved, double seconds, port::Block action);
  void runUntil(double seconds) { scheduler_.runUntil(absolute(seconds)); }
  // The agent asked to terminate and its main thread has handled the request.
  bool terminated() const { return scheduler_.stopped(); }
  bool terminationRequested() const { return terminationRequested_; }
  // Terminate requests made on another thread than the main one, which AppKit does not take.
  int offMainTerminateRequests() const { return offMainTerminateRequests_; }
  // How often the agent made itself the active application.
  int activations() const { return activations_; }

 private:
  class AppPort final : public port::Application {
   public:
    explicit AppPort(VirtualSession& s) : s_(s) {}
    void run(void (*applicationDidFinishLaunching)()) override;
    void terminate() override;
    void activateIgnoringOtherApps(bool) override {
      ++s_.activations_;
      s_.notifications_.setAgentActive(true);
    }
    int32_t processIdentifier() override { return s_.config_.agentPid; }
    uint32_t userId() override { return s_.config_.userId; }
    std::string bundleIdentifier() override { return kAgentBundleIdentifier; }
    std::string bundlePath() override;
    std::string executablePath() override { return bundlePath() + "/Contents/MacOS/Varsel"; }
    std::string resourcePath() override { return bundlePath() + "/Contents/Resources"; }
    std::optional<std::string> bundlePathWithIdentifier(const std::string& identifier) override;
    std::optional<std::string> bundleShortVersionString(const std::string& bundlePath) override;
    std::string localizedString(const std::string& bundlePath, const std::string& key,
                                const std::string& value) override;
    std::string mediumDateShortTime(double absoluteTime) override;

   private:
    VirtualSession& s_;
  };

  class LogPort final : public port::SystemLog {
   public:
    explicit LogPort(VirtualSession& s) : s_(s) {}
    void log(std::string_view message) override;

   private:
    VirtualSession& s_;
  };

  VirtualApp agentProcess() const;
  int32_t routeWindowMouse(port::CGEventRef e);

  SessionConfig config_;
  std::filesystem::path root_;  // stands for "/"
  std::filesystem::path home_;
  Faults faults_;
  Scheduler scheduler_;
  World world_;
  Trace trace_;
  Threading threading_;
  EventSystem events_;
  InputDevices input_;
  VirtualPreferences preferences_{home_};
  VirtualArchiver archiver_;
  VirtualFiles files_{root_, home_, trace_, scheduler_};
  VirtualInstallation installation_{scheduler_, trace_};
  VirtualSystemFacts systemFacts_{config_.systemVersion, config_.scrollWheelScaling};
  VirtualWorkspace workspace_{world_, agentProcess()};
  VirtualWindowServer windowServer_{world_, trace_, scheduler_};
  VirtualPower power_;
  VirtualAccessibility accessibility_{world_, threading_};
  VirtualNotifications notifications_{scheduler_, trace_};
  VirtualMessagePorts messagePorts_{scheduler_};
  VirtualURLEvents urlEvents_{scheduler_};
  VirtualUserNotifications userNotifications_{scheduler_, trace_};
  VirtualUpdateFetch updateFetch_{config_.fetchRealTimeLimit};
  AppPort app_{*this};
  VirtualOverlayWindows overlayWindows_{trace_, scheduler_, app_.resourcePath(),
                                        config_.resourcesFolder};
  LogPort log_{*this};
  port::Platform platform_;
  std::vector<std::string> logLines_;
  bool terminationRequested_ = false;
  int offMainTerminateRequests_ = 0;
  int activations_ = 0;
  port::NSWindowRef mouseCapture_ = nullptr;  // the agent's window a press went to
};

}  // namespace vsession
