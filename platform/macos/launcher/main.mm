// Varsel Launcher: the small faceless application the agent starts when it relaunches
// itself (Contents/MacOS/Varsel Launcher.app inside the agent's bundle). It waits for the
// agent that started it to end, opens the agent's bundle again, and ends.
#import <AppKit/AppKit.h>

#include <errno.h>
#include <signal.h>

namespace {

// The agent quits right after starting the launcher; past this it is taken to be stuck, and
// opening its bundle brings the running copy forward, which ends nothing.
constexpr NSTimeInterval kWaitForTheAgent = 10.0;
NSString* const kInsideTheAgent = @"/Contents/MacOS/Varsel Launcher.app";

// The agent's bundle this launcher lies in; nil when it lies anywhere else.
NSURL* agentBundle() {
  NSString* own = [[NSBundle mainBundle] bundlePath];
  if (![own hasSuffix:kInsideTheAgent]) return nil;
  NSString* agent = [own substringToIndex:[own length] - [kInsideTheAgent length]];
  return [[NSURL fileURLWithPath:agent] URLByStandardizingPath];
}

// The agent's process, found by its bundle; 0 when none runs.
pid_t agentProcess(NSURL* agent) {
  for (NSRunningApplication* app in [[NSWorkspace sharedWorkspace] runningApplications]) {
    if ([[[app bundleURL] URLByStandardizingPath] isEqual:agent]) return [app processIdentifier];
  }
  return 0;
}

// Whether the process still exists: signal 0 checks without sending anything.
bool alive(pid_t pid) {
  return kill(pid, 0) == 0 || errno != ESRCH;
}

}  // namespace

int main() {
  NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
  NSURL* agent = agentBundle();
  int status = 1;
  if (agent != nil) {
    // Found once, then watched by its process id: the list of running applications is only
    // brought up to date as a run loop turns, and this one has nothing else to turn for.
    pid_t pid = agentProcess(agent);
    NSDate* deadline = [NSDate dateWithTimeIntervalSinceNow:kWaitForTheAgent];
    while (pid != 0 && alive(pid) && [deadline timeIntervalSinceNow] > 0) {
      [NSThread sleepForTimeInterval:0.1];
    }
    status = [[NSWorkspace sharedWorkspace] openURL:agent] ? 0 : 1;
  }
  [pool drain];
  return status;
}
