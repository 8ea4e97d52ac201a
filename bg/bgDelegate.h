// The application delegate: starts the agent (one per user), waits for the accessibility
// permission, then keeps the picture of what lies under the cursor current with the run
// timer on the main thread. It serves the event handlers (the bars copy for each tapped
// event, VA event hand-over, mouse-moved reports, the coast rectangle) and talks to the
// preference pane.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "VAstate.h"
#include "VAux.h"
#include "bgprefs.h"
#include "platform/api/channels.h"
#include "platform/api/events.h"
#include "platform/api/overlay_windows.h"
#include "platform/api/preferences.h"

class VAtapMgr;

class bgDelegate {
 public:
  // Launch: ends other copies, settings, the screen cache, the channels, then waits for the
  // accessibility permission on the main queue.
  static void applicationDidFinishLaunching();
  // Retries every second until the permission is there, then finishes start-up.
  static void ensureAssistiveAccess();
  // The bars lock, the tap manager, the pane's start-up messages, the first run-timer pass.
  static void finishStartup();

  // One pass of the run timer (main thread); it reschedules itself.
  static void runTimer();
  static void runTimerOnMain();
  // A run `seconds` from now; an earlier pending request wins over a later one.
  static void runTimerAfter(float seconds);
  static void runTimerAfter_b();
  static void forceRunTimer();
  static void pauseTimerUntilMouseMoves();
  static void runTimerForWindowCenter();
  // A mouse-moved or gesture event was seen (event thread).
  static void MMoved();

  // Event thread: copies the bars record under its lock and asks the dispatcher.
  static port::CGEventRef eventForEvent(port::CGEventRef event);
  // Main thread (key events): asks the dispatcher without a bars record.
  static port::CGEventRef eventForEventOnMain(port::CGEventRef event);
  static void postVAEvent(int kind);
  // The get-URL event (main thread): a command of the agent's scheme becomes its VA event;
  // anything else is ignored without a word.
  static void handleURLEvent_withReplyEvent(std::string_view url);
  // Any thread: tells the pane which key was pressed while it waited for one.
  static void notifyKeyPressed_mods(int keyCode, uint32_t flags);
  static void handleVAEvent(int kind);

  static void changedWindowAtCursor(int32_t windowNumber);
  static void changedBarsAtCursor();
  static int32_t lastWindowNumber();
  // Whether every feature is off for the application under the cursor, whatever pid is
  // given: the settings follow the cursor.
  static bool isDisabledForPid(int32_t pid);

  // The area in which a coast may go on: the first found bar's area, else the window.
  static void setCoastRect();
  // Whether the cursor is still in the coast rectangle; an empty one always answers yes.
  // Leaving it stops the coast.
  static bool ckCursorInCoastRect();
  static void stoppedCoasting();

  // The zone windows fade as `how` says (1 and 2: the way autoscroll goes) and show the
  // zones of the bars found.
  static void fadeZones(int how);
  static void makeZonesClickable(bool clickable);
  // A zone window was dragged to a new place (main thread).
  static void draggedWindow(port::NSWindowRef window);
  // Whenever the user closes a menu: checks where the agent's bundle now lies.
  static void periodicCk();
};

// The VA event a URL's command asks for, or 0 when the URL is not a command.
int urlCommand_vaEvent(std::string_view url);

// Whether the process may use the accessibility interface.
bool isAssistiveEnabled();

// The control channel's sending side and its receiver.
bool isFrontAppRunning();
void bgAppDelegateSendFrontApp_message_dict(const std::string& message,
                                            const port::PlistDict* data);
void backReply(const port::PlistDict& userInfo);
// Starts the launcher inside the bundle, which starts the agent again, and quits.
void appdelegate_relaunch();

struct bgDelegateStatics {
  bgprefs preferences;  // the delegate's preferences object
  VAtapMgr* sTapMgr = nullptr;
  port::NSLockRef eventThreadBarsLock = nullptr;
  Bars bars;
  Bars eventThreadBars;
  // Written by MMoved on the event thread, read by the run timer on the main thread.
  Relaxed<bool> sWaitUntilMouseMoves = false;
  Relaxed<double> sLastMouseMovedTime = 0;
  double sNextTime = 0;
  bool sForceRun = false;
  bool sRunForWindowCenter = false;
  double lastRun = 0;
  double lastFrontAppAssistiveUpdateTime = 0;
  double lastScheduleUpdateCheck = 0;
  int32_t sCursorPid = 0;
  // Written on the main thread, read by the coast-area check on the event thread.
  RelaxedPoint sLastMousePoint;
  // Set on the event thread, read there; its fields are read one by one.
  RelaxedRect sCoastRect;
  int32_t sLastWindowNumber = 0;
  // The pending run of the timer (one timer, moved to each new due time).
  port::CFRunLoopTimerRef sRunTimer = nullptr;
  port::CFMessagePortRef sLocalPort = nullptr;
  bool sInstallStarted = false;  // the installer (sInstall) was made and started
  std::string FrontPortName;
};

bgDelegateStatics& bgDelegate_statics();
void bgDelegate_reset();
