// Workspace and processes: NSWorkspace running applications, the classic process
// information (type and creator codes), the front process (GetFrontProcess), the agent's own
// process, user and bundle, and NSApplication's terminate request.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace port {

// -[NSWorkspace runningApplications]: what each NSRunningApplication tells. Absent values
// are nil there.
struct RunningApplication {
  int32_t pid = 0;
  std::optional<std::string> bundleIdentifier;
  std::optional<std::string> localizedName;
  std::optional<std::string> bundlePath;
  std::optional<std::string> executablePath;
};

// GetProcessForPID with GetProcessInformation: the classic process record.
struct ProcessInformation {
  std::optional<std::string> name;
  uint32_t fileType = 0;  // four-character code, 'APPL' for applications
  uint32_t creator = 0;   // four-character code
};

class Workspace {
 public:
  virtual ~Workspace() = default;
  virtual std::vector<RunningApplication> runningApplications() = 0;
  // +[NSRunningApplication runningApplicationWithProcessIdentifier:]
  virtual std::optional<RunningApplication> runningApplicationWithProcessIdentifier(
      int32_t pid) = 0;
  virtual std::optional<ProcessInformation> processInformation(int32_t pid) = 0;
  virtual int32_t frontProcessPid() = 0;               // 0 when none
  virtual bool terminateApplication(int32_t pid) = 0;  // -[NSRunningApplication terminate]
  // -[NSWorkspace launchApplication:showIcon:autolaunch:] without an icon in the Dock and not
  // as a login launch.
  virtual bool launchApplication(const std::string& path) = 0;
};

// The agent's own application: NSApp, NSBundle.mainBundle, getpid and getuid.
class Application {
 public:
  virtual ~Application() = default;
  // NSApplicationMain: runs the application, whose delegate is told once launching is done.
  virtual void run(void (*applicationDidFinishLaunching)()) = 0;
  virtual void terminate() = 0;  // -[NSApplication terminate:] with a nil sender
  virtual void activateIgnoringOtherApps(bool flag) = 0;
  virtual int32_t processIdentifier() = 0;
  virtual uint32_t userId() = 0;
  virtual std::string bundleIdentifier() = 0;  // of the main bundle
  virtual std::string bundlePath() = 0;
  virtual std::string executablePath() = 0;
  virtual std::string resourcePath() = 0;
  // +[NSBundle bundleWithIdentifier:]'s path; nullopt when no such bundle is loaded or known.
  virtual std::optional<std::string> bundlePathWithIdentifier(const std::string& identifier) = 0;
  // The "CFBundleShortVersionString" of the bundle at `bundlePath`; nothing when absent.
  virtual std::optional<std::string> bundleShortVersionString(const std::string& bundlePath) = 0;
  // -[NSBundle localizedStringForKey:value:table:] of that bundle's default table: `value`
  // when the key has no entry, or the key itself when `value` is empty.
  virtual std::string localizedString(const std::string& bundlePath, const std::string& key,
                                      const std::string& value) = 0;
  // +[NSDateFormatter localizedStringFromDate:dateStyle:timeStyle:] with the medium date and
  // the short time style, for an absolute time.
  virtual std::string mediumDateShortTime(double absoluteTime) = 0;
};

}  // namespace port
