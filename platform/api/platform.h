// The one process-wide set of ports the agent reaches the system through. A port that a
// platform does not offer is null.
#pragma once

#include "accessibility.h"
#include "channels.h"
#include "events.h"
#include "installation.h"
#include "overlay_windows.h"
#include "power.h"
#include "preferences.h"
#include "run_loop.h"
#include "system_log.h"
#include "update_fetch.h"
#include "window_server.h"
#include "workspace.h"

namespace port {

struct Platform {
  Clock* clock = nullptr;
  RunLoops* runLoops = nullptr;
  Dispatch* dispatch = nullptr;
  Threads* threads = nullptr;
  QuartzEvents* quartz = nullptr;
  CocoaEvents* cocoa = nullptr;
  Accessibility* accessibility = nullptr;
  WindowServer* windowServer = nullptr;
  Workspace* workspace = nullptr;
  Application* application = nullptr;
  OverlayWindows* overlayWindows = nullptr;
  Preferences* preferences = nullptr;
  KeyedArchiver* keyedArchiver = nullptr;
  PropertyListSerialization* propertyLists = nullptr;
  Files* files = nullptr;
  SystemFacts* systemFacts = nullptr;
  Notifications* notifications = nullptr;
  MessagePorts* messagePorts = nullptr;
  URLEvents* urlEvents = nullptr;
  Installation* installation = nullptr;
  UpdateFetch* updateFetch = nullptr;
  UserNotifications* userNotifications = nullptr;
  Power* power = nullptr;
  SystemLog* systemLog = nullptr;
};

// Set once before start-up; the agent reads it for every system call.
void setPlatform(Platform* platform);
Platform& platform();

}  // namespace port
