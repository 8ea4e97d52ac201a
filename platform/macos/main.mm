// The program on macOS: every port on the real frameworks, handed to the agent, which then
// runs the application.
#import <Foundation/Foundation.h>

#include "bg/main.h"
#include "platform/api/platform.h"
#include "ports.h"

int main() {
  NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
  port::setPlatform(&macos::allPorts());
  int status = agent_main();
  [pool drain];
  return status;
}
