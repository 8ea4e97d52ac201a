#include "bgDelegate.h"

#include "VAevent.h"
#include "VAstate.h"
#include "VAtapMgr.h"
#include "VAutils.h"
#include "platform/api/platform.h"

using namespace port;

namespace {
bgDelegateStatics s;
}

bgDelegateStatics& bgDelegate_statics() {
  return s;
}

// The lock belongs to the session that made it and goes with it.
void bgDelegate_reset() {
  s = bgDelegateStatics{};
}

void bgDelegate::applicationDidFinishLaunching() {
  s.preferences.startPrefs();
  event_initPrefs();
  utils_cacheNSScreenFrames_force(false);
  Dispatch& dispatch = *platform().dispatch;
  dispatch.async(dispatch.getMainQueue(), [] { finishStartup(); });
}

void bgDelegate::finishStartup() {
  if (state_quitting()) return;
  if (!s.eventThreadBarsLock) s.eventThreadBarsLock = platform().threads->lockCreate();
  if (!s.sTapMgr) s.sTapMgr = VAtapMgr::init();
}

CGEventRef bgDelegate::eventForEvent(CGEventRef event) {
  Threads& threads = *platform().threads;
  threads.lock(s.eventThreadBarsLock);
  Bars local = s.eventThreadBars;
  threads.unlock(s.eventThreadBarsLock);
  return VAevent::eventForEvent_bars_window(event, &local, nullptr);
}

CGEventRef bgDelegate::eventForEventOnMain(CGEventRef event) {
  return VAevent::eventForEvent_bars_window(event, nullptr, nullptr);
}

// Before start-up has made the tap manager there is no event thread to wake: nothing to do.
void bgDelegate::postVAEvent(int kind) {
  if (s.sTapMgr) s.sTapMgr->postVAEvent(kind);
}

void bgDelegate::handleVAEvent(int kind) {
  VAevent::handleVAEvent(kind);
}

void bgDelegate::MMoved() {
  s.sWaitUntilMouseMoves = false;
  s.sLastMouseMovedTime = platform().clock->absoluteTimeGetCurrent();
}
