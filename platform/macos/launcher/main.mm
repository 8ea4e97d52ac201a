// Varsel Launcher: the small faceless application the agent starts when it relaunches
// itself (Contents/MacOS/Varsel Launcher.app inside the agent's bundle). It waits for the
// agent that started it to end, opens the agent's bundle again, and ends.
#import <AppKit/AppKit.h>

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

bool agentRunning(NSURL* agent) {
  for (NSRunningApplication* app in [[NSWorkspace sharedWorkspace] runningApplications]) {
    if (![app isTerminated] && [[[app bundleURL] URLByStandardizingPath] isEqual:agent])
      return true;
  }
  return false;
}

}  // namespace

int main() {
  NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
  // The application object must exist for the workspace to report what runs; it never shows.
  [NSApplication sharedApplication];
  NSURL* agent = agentBundle();
  int status = 1;
  if (agent != nil) {
    NSDate* deadline = [NSDate dateWithTimeIntervalSinceNow:kWaitForTheAgent];
    // The list of running applications is brought up to date as the run loop turns.
    while (agentRunning(agent) && [deadline timeIntervalSinceNow] > 0) {
      [[NSRunLoop currentRunLoop] runUntilDate:[NSDate dateWithTimeIntervalSinceNow:0.1]];
    }
    status = [[NSWorkspace sharedWorkspace] openURL:agent] ? 0 : 1;
  }
  [pool drain];
  return status;
}
