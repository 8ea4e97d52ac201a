// The macOS implementation of each port, one instance each for the life of the process,
// and all of them gathered into the platform the agent reads.
#pragma once

#include "platform/api/platform.h"

namespace macos {

port::QuartzEvents& quartzEvents();  // events.mm
port::CocoaEvents& cocoaEvents();

port::Clock& clock();  // run_loop.mm
port::RunLoops& runLoops();
port::Dispatch& dispatch();
port::Threads& threads();

port::Accessibility& accessibility();  // accessibility.mm
port::WindowServer& windowServer();    // window_server.mm

port::Workspace& workspace();  // workspace.mm
port::Application& application();

port::OverlayWindows& overlayWindows();  // overlay_windows.mm

port::Preferences& preferences();  // preferences.mm
port::KeyedArchiver& keyedArchiver();
port::PropertyListSerialization& propertyLists();
port::Files& files();
port::SystemFacts& systemFacts();

port::Notifications& notifications();  // channels.mm
port::MessagePorts& messagePorts();
port::URLEvents& urlEvents();

port::Installation& installation();  // installation.mm

port::UpdateFetch& updateFetch();  // update_fetch.mm
port::UserNotifications& userNotifications();

port::Power& power();          // power.mm
port::SystemLog& systemLog();  // system_log.mm

port::Platform& allPorts();  // all_ports.mm

}  // namespace macos
