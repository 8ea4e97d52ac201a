// The program on macOS: every port on the real frameworks, handed to the agent, which then
// runs the application.
#import <Foundation/Foundation.h>

#include "bg/main.h"
#include "platform/api/platform.h"
#include "ports.h"

int main() {
  NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
  static port::Platform platform;
  platform.clock = &macos::clock();
  platform.runLoops = &macos::runLoops();
  platform.dispatch = &macos::dispatch();
  platform.threads = &macos::threads();
  platform.quartz = &macos::quartzEvents();
  platform.cocoa = &macos::cocoaEvents();
  platform.accessibility = &macos::accessibility();
  platform.windowServer = &macos::windowServer();
  platform.workspace = &macos::workspace();
  platform.application = &macos::application();
  platform.overlayWindows = &macos::overlayWindows();
  platform.preferences = &macos::preferences();
  platform.keyedArchiver = &macos::keyedArchiver();
  platform.propertyLists = &macos::propertyLists();
  platform.files = &macos::files();
  platform.systemFacts = &macos::systemFacts();
  platform.notifications = &macos::notifications();
  platform.messagePorts = &macos::messagePorts();
  platform.urlEvents = &macos::urlEvents();
  platform.installation = &macos::installation();
  platform.updateFetch = &macos::updateFetch();
  platform.userNotifications = &macos::userNotifications();
  platform.power = &macos::power();
  platform.systemLog = &macos::systemLog();
  port::setPlatform(&platform);
  int status = agent_main();
  [pool drain];
  return status;
}
