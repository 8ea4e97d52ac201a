// Workspace and processes: NSWorkspace running applications, NSRunningApplication,
// the front process (GetFrontProcess), process information with the classic creator
// code, the agent's own process and user, and NSApplication's terminate request.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace port {

struct RunningApplication {
  int32_t pid = 0;
  std::string bundleIdentifier;
  std::string localizedName;
  std::string processName;
  std::string bundlePath;
  std::string executablePath;
  uint32_t creator = 0;  // four-character creator code, 0 when none
};

class Workspace {
 public:
  virtual ~Workspace() = default;
  virtual std::vector<RunningApplication> runningApplications() = 0;
  virtual std::optional<RunningApplication> applicationForPid(int32_t pid) = 0;
  virtual int32_t frontProcessPid() = 0;               // 0 when none
  virtual bool terminateApplication(int32_t pid) = 0;  // -[NSRunningApplication terminate]
};

// The agent's own application: NSApp, NSBundle.mainBundle, getpid and getuid.
class Application {
 public:
  virtual ~Application() = default;
  virtual void terminate() = 0;  // -[NSApplication terminate:] with a nil sender
  virtual int32_t processIdentifier() = 0;
  virtual uint32_t userId() = 0;
  virtual std::string bundlePath() = 0;
  virtual std::string resourcePath() = 0;
};

}  // namespace port
