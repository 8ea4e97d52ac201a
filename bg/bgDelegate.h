// The application delegate: starts the agent and serves the event handlers (the bars
// copy for each tapped event, VA event hand-over, mouse-moved reports).
#pragma once

#include "VAux.h"
#include "bgprefs.h"
#include "platform/api/events.h"

class VAtapMgr;

class bgDelegate {
 public:
  // Launch: reads the settings, gives the modules their pointer to them, then finishes
  // start-up on the main queue.
  static void applicationDidFinishLaunching();
  // Creates the bars lock and the tap manager (its taps and the event thread).
  static void finishStartup();

  // Event thread: copies the bars record under its lock and asks the dispatcher.
  static port::CGEventRef eventForEvent(port::CGEventRef event);
  // Main thread (key events): asks the dispatcher without a bars record.
  static port::CGEventRef eventForEventOnMain(port::CGEventRef event);

  static void postVAEvent(int kind);
  static void handleVAEvent(int kind);

  // A mouse-moved or gesture event was seen (event thread).
  static void MMoved();
};

struct bgDelegateStatics {
  bgprefs preferences;  // the delegate's preferences object
  VAtapMgr* sTapMgr = nullptr;
  port::NSLockRef eventThreadBarsLock = nullptr;
  Bars bars;
  Bars eventThreadBars;
  bool sWaitUntilMouseMoves = false;
  double sLastMouseMovedTime = 0;
};

bgDelegateStatics& bgDelegate_statics();
void bgDelegate_reset();
