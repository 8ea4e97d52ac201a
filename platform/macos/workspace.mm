// Workspace and processes (NSWorkspace, NSRunningApplication and the Process Manager) and
// the agent's own application and bundle (NSApplication, NSBundle).
#import <AppKit/AppKit.h>

#include <Carbon/Carbon.h>
#include <unistd.h>

#include "bridge.h"
#include "platform/api/workspace.h"
#include "ports.h"

// Tells the agent once launching is done.
@interface VarselApplicationDelegate : NSObject <NSApplicationDelegate> {
  void (*didFinishLaunching_)();
}
- (id)initWithDidFinishLaunching:(void (*)())didFinishLaunching;
@end

@implementation VarselApplicationDelegate
- (id)initWithDidFinishLaunching:(void (*)())didFinishLaunching {
  if ((self = [super init])) didFinishLaunching_ = didFinishLaunching;
  return self;
}
- (void)applicationDidFinishLaunching:(NSNotification*)notification {
  (void)notification;
  didFinishLaunching_();
}
@end

namespace macos {
namespace {

port::RunningApplication toRunningApplication(NSRunningApplication* app) {
  port::RunningApplication out;
  out.pid = [app processIdentifier];
  out.bundleIdentifier = toOptionalString([app bundleIdentifier]);
  out.localizedName = toOptionalString([app localizedName]);
  out.bundlePath = toOptionalString([[app bundleURL] path]);
  out.executablePath = toOptionalString([[app executableURL] path]);
  return out;
}

// The Process Manager calls are deprecated from 10.9; the agent reads the classic type and
// creator codes and the front process through them on every system it supports.
class Workspace final : public port::Workspace {
 public:
  std::vector<port::RunningApplication> runningApplications() override {
    std::vector<port::RunningApplication> apps;
    for (NSRunningApplication* app in [[NSWorkspace sharedWorkspace] runningApplications])
      apps.push_back(toRunningApplication(app));
    return apps;
  }
  std::optional<port::RunningApplication> runningApplicationWithProcessIdentifier(
      int32_t pid) override {
    NSRunningApplication* app = [NSRunningApplication runningApplicationWithProcessIdentifier:pid];
    if (app == nil) return std::nullopt;
    return toRunningApplication(app);
  }
  std::optional<port::ProcessInformation> processInformation(int32_t pid) override {
    ProcessSerialNumber psn;
    if (GetProcessForPID(pid, &psn) != noErr) return std::nullopt;
    ProcessInfoRec info = {};
    info.processInfoLength = sizeof info;
    if (GetProcessInformation(&psn, &info) != noErr) return std::nullopt;
    port::ProcessInformation out;
    out.fileType = info.processType;
    out.creator = info.processSignature;
    CFStringRef name = nullptr;
    if (CopyProcessName(&psn, &name) == noErr && name != nullptr) {
      out.name = toString((NSString*)name);
      CFRelease(name);
    }
    return out;
  }
  int32_t frontProcessPid() override {
    ProcessSerialNumber psn;
    ::pid_t pid = 0;
    if (GetFrontProcess(&psn) != noErr || GetProcessPID(&psn, &pid) != noErr) return 0;
    return pid;
  }
  bool terminateApplication(int32_t pid) override {
    NSRunningApplication* app = [NSRunningApplication runningApplicationWithProcessIdentifier:pid];
    return [app terminate];
  }
  // -launchApplication:showIcon:autolaunch: is deprecated from 11; it is the call that
  // launches without a Dock icon and not as a login launch.
  bool launchApplication(const std::string& path) override {
    return [[NSWorkspace sharedWorkspace] launchApplication:toNSString(path)
                                                   showIcon:NO
                                                 autolaunch:NO];
  }
};

class Application final : public port::Application {
 public:
  void run(void (*applicationDidFinishLaunching)()) override {
    NSApplication* app = [NSApplication sharedApplication];
    // The delegate lives as long as the application.
    [app setDelegate:[[VarselApplicationDelegate alloc]
                         initWithDidFinishLaunching:applicationDidFinishLaunching]];
    [app run];
  }
  void terminate() override { [NSApp terminate:nil]; }
  void activateIgnoringOtherApps(bool flag) override { [NSApp activateIgnoringOtherApps:flag]; }
  int32_t processIdentifier() override { return getpid(); }
  uint32_t userId() override { return getuid(); }
  std::string bundleIdentifier() override {
    return toString([[NSBundle mainBundle] bundleIdentifier]);
  }
  std::string bundlePath() override { return toString([[NSBundle mainBundle] bundlePath]); }
  std::string executablePath() override { return toString([[NSBundle mainBundle] executablePath]); }
  std::string resourcePath() override { return toString([[NSBundle mainBundle] resourcePath]); }
  std::optional<std::string> bundlePathWithIdentifier(const std::string& identifier) override {
    return toOptionalString([[NSBundle bundleWithIdentifier:toNSString(identifier)] bundlePath]);
  }
  std::optional<std::string> bundleShortVersionString(const std::string& bundlePath) override {
    id version = [[NSBundle bundleWithPath:toNSString(bundlePath)]
        objectForInfoDictionaryKey:@"CFBundleShortVersionString"];
    if (![version isKindOfClass:[NSString class]]) return std::nullopt;
    return toString(version);
  }
  std::string localizedString(const std::string& bundlePath, const std::string& key,
                              const std::string& value) override {
    NSBundle* bundle = [NSBundle bundleWithPath:toNSString(bundlePath)];
    // A bundle that cannot be read has no entries: the answer is as for a missing key.
    if (bundle == nil) return value.empty() ? key : value;
    return toString([bundle localizedStringForKey:toNSString(key)
                                            value:toNSString(value)
                                            table:nil]);
  }
  std::string mediumDateShortTime(double absoluteTime) override {
    return toString([NSDateFormatter
        localizedStringFromDate:[NSDate dateWithTimeIntervalSinceReferenceDate:absoluteTime]
                      dateStyle:NSDateFormatterMediumStyle
                      timeStyle:NSDateFormatterShortStyle]);
  }
};

}  // namespace

port::Workspace& workspace() {
  static Workspace instance;
  return instance;
}
port::Application& application() {
  static Application instance;
  return instance;
}

}  // namespace macos
