// Every port of the adapter gathered into the one platform, for the agent and for the port
// contract suite alike.
#include "platform/api/platform.h"
#include "ports.h"

namespace macos {

port::Platform& allPorts() {
  static port::Platform platform = [] {
    port::Platform p;
    p.clock = &clock();
    p.runLoops = &runLoops();
    p.dispatch = &dispatch();
    p.threads = &threads();
    p.quartz = &quartzEvents();
    p.cocoa = &cocoaEvents();
    p.accessibility = &accessibility();
    p.windowServer = &windowServer();
    p.workspace = &workspace();
    p.application = &application();
    p.overlayWindows = &overlayWindows();
    p.preferences = &preferences();
    p.keyedArchiver = &keyedArchiver();
    p.propertyLists = &propertyLists();
    p.files = &files();
    p.systemFacts = &systemFacts();
    p.notifications = &notifications();
    p.messagePorts = &messagePorts();
    p.urlEvents = &urlEvents();
    p.installation = &installation();
    p.updateFetch = &updateFetch();
    p.userNotifications = &userNotifications();
    p.power = &power();
    p.systemLog = &systemLog();
    return p;
  }();
  return platform;
}

}  // namespace macos
