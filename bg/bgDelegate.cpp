#include "bgDelegate.h"

#include "Commonprefs.h"
#include "VAevent.h"
#include "VAgrab.h"
#include "VAhover.h"
#include "VAinstall.h"
#include "VAkeys.h"
#include "VAremote.h"
#include "VAshow.h"
#include "VAstate.h"
#include "VAtapMgr.h"
#include "VAutils.h"
#include "VAvector.h"
#include "acc/blockAtomic.h"
#include "platform/api/platform.h"
#include "tarnwickCkUpdate.h"

using namespace port;

namespace {

bgDelegateStatics s;

// The per-user port that marks a running agent.
std::string agentPortName() {
  return "com.tarnwick.v4b" + std::to_string(platform().application->userId());
}

// The port is only there to be found; it answers nothing.
bool receivePortCallBack(CFMessagePortRef, int32_t, const std::vector<uint8_t>&,
                         std::vector<uint8_t>*, void*) {
  return false;
}

// Each retry's timer fires once; the agent lets go of it, as it made it.
void retryAssistiveAccess(CFRunLoopTimerRef timer, void*) {
  platform().runLoops->timerInvalidate(timer);
  bgDelegate::ensureAssistiveAccess();
}

// Other copies of this agent are asked to quit, each given 2 s to go.
void endOtherCopies() {
  int32_t self = platform().application->processIdentifier();
  for (const RunningApplication& app : platform().workspace->runningApplications()) {
    if (app.bundleIdentifier != kPrefsDomain || app.pid == self) continue;
    platform().workspace->terminateApplication(app.pid);
    platform().threads->sleepForTimeInterval(2.0);
  }
}

// True when another agent of this user still answers on the agent's port.
bool anotherAgentAnswers() {
  MessagePorts& ports = *platform().messagePorts;
  CFMessagePortRef remote = ports.createRemote(agentPortName());
  if (!remote) return false;
  ports.invalidate(remote);
  ports.release(remote);
  return true;
}

void openAgentPort() {
  MessagePorts& ports = *platform().messagePorts;
  s.sLocalPort = ports.createLocal(agentPortName(), receivePortCallBack, nullptr);
  if (!s.sLocalPort) return;
  RunLoops& loops = *platform().runLoops;
  loops.addSource(loops.getMain(), ports.createRunLoopSource(s.sLocalPort), RunLoopMode::kCommon);
}

}  // namespace

bgDelegateStatics& bgDelegate_statics() {
  return s;
}

// The lock and timers belong to the session that made them and go with it.
void bgDelegate_reset() {
  s = bgDelegateStatics{};
}

void bgDelegate::applicationDidFinishLaunching() {
  endOtherCopies();
  if (anotherAgentAnswers()) {
    platform().application->terminate();
    return;
  }
  s.preferences.startPrefs();
  hover_initPrefs();
  event_initPrefs();
  grab_initPrefs();
  vector_initPrefs();
  keys_initPrefs();
  ckUpdate_init();
  utils_cacheNSScreenFrames_force(false);
  openAgentPort();
  // The agent is never the active application, and the system holds back distributed
  // notifications from an inactive one unless its observer asks for them at once.
  Notifications& notifications = *platform().notifications;
  notifications.addObserver(
      nullptr, "com.tarnwick.v4fb",
      [](void*, std::string_view, const PlistDict& userInfo) { backReply(userInfo); },
      NotificationSuspensionBehavior::kDeliverImmediately);
  // Closing a menu is a moment when the user may just have moved the agent's bundle.
  notifications.addObserver(
      nullptr, "com.apple.HIToolbox.endMenuTrackingNotification",
      [](void*, std::string_view, const PlistDict&) { periodicCk(); },
      NotificationSuspensionBehavior::kDeliverImmediately);
  platform().urlEvents->setGetURLHandler(
      nullptr, [](void*, std::string_view url) { handleURLEvent_withReplyEvent(url); });
  // Before 10.10 accessibility was a global switch, not a per-application permission.
  if (sysvers() < kYosemite) {
    dispatchMainWithAutoreleasePool([] { finishStartup(); });
  } else {
    dispatchMainWithAutoreleasePool([] { ensureAssistiveAccess(); });
  }
}

void bgDelegate::ensureAssistiveAccess() {
  if (isAssistiveEnabled()) {
    finishStartup();
    return;
  }
  VAux::tryAssistive();
  if (isFrontAppRunning()) bgAppDelegateSendFrontApp_message_dict("AXd", nullptr);
  RunLoops& loops = *platform().runLoops;
  double now = platform().clock->absoluteTimeGetCurrent();
  CFRunLoopTimerRef retry = loops.timerCreate(now + 1.0, 0, retryAssistiveAccess, nullptr);
  loops.addTimer(loops.getMain(), retry, RunLoopMode::kCommon);
}

bool isAssistiveEnabled() {
  Accessibility& ax = *platform().accessibility;
  return sysvers() >= kMavericks ? ax.isProcessTrustedWithOptions(false) : ax.apiEnabled();
}

void bgDelegate::finishStartup() {
  if (state_quitting()) return;
  if (!s.eventThreadBarsLock) s.eventThreadBarsLock = platform().threads->lockCreate();
  if (!s.sTapMgr) s.sTapMgr = VAtapMgr::init();
  if (!s.sInstallStarted) {
    s.sInstallStarted = true;
    VAinstall::start();
    checkNeedToRemovePrevVersion();
    install_setOpenAtLogin(true);
  }
  if (isFrontAppRunning()) bgAppDelegateSendFrontApp_message_dict("ton", nullptr);
  // A downloaded copy that was never moved runs from a randomised read-only location.
  bool translocated = platform().application->bundlePath().find("ranslocat") != std::string::npos;
  bgAppDelegateSendFrontApp_message_dict(translocated ? "tloc" : "tlno", nullptr);
  runTimer();
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

void bgDelegate::changedWindowAtCursor(int32_t windowNumber) {
  s.sLastWindowNumber = windowNumber;
  postVAEvent(8);
}

void bgDelegate::changedBarsAtCursor() {
  postVAEvent(9);
}

int32_t bgDelegate::lastWindowNumber() {
  return s.sLastWindowNumber;
}

bool bgDelegate::isDisabledForPid(int32_t) {
  prefs_switchToPrefsForPid(s.sCursorPid);
  const PrefsRecord& p = *prefs_bgprefs();
  return !p.wheel.wheelOn && !p.pad.padOn && !p.hoverOn && !p.autoScrollOn && !p.grabOn &&
         !p.keysOn && !p.vectorOn;
}

// Called on the event thread; it reads the main thread's bars record without the lock, as
// a coast only needs a recent area, not an exact one.
void bgDelegate::setCoastRect() {
  if (prefs_hoverEngineOn()) {
    for (const Sbar* e : {&s.bars.up, &s.bars.down, &s.bars.left, &s.bars.right}) {
      if (e->found) {
        s.sCoastRect.store(e->rect);
        return;
      }
    }
    IRect window;
    if (state_haveCurWindow_rectPtr(&window)) {
      s.sCoastRect.store(window);
      return;
    }
  }
  s.sCoastRect.left = 0;
  s.sCoastRect.right = 0;
}

bool bgDelegate::ckCursorInCoastRect() {
  const IRect r = s.sCoastRect.load();
  if (r.right <= r.left) return true;
  const CGPoint p = s.sLastMousePoint.load();
  if (r.left <= p.x && p.x <= r.right && r.bottom <= p.y && p.y <= r.top) return true;
  stopCoast();
  return false;
}

// Told of every coast's end; there is nothing to do then. The coast rectangle stays as the
// last wheel or trackpad start set it.
void bgDelegate::stoppedCoasting() {}

// Without a bar up there is nothing to scroll towards the top: the zones go at once.
void bgDelegate::fadeZones(int how) {
  VAshow::fadeZones(s.bars.up.found ? how : 0);
  VAshow::showActiveZones(&s.bars);
}

void bgDelegate::makeZonesClickable(bool clickable) {
  VAshow::makeZonesClickable(clickable);
}

// A zone window was dropped: the zones hide, and the application under the pointer keeps the
// zone where the user put it.
void bgDelegate::draggedWindow(NSWindowRef window) {
  VAshow::hideZones();
  dispatchMainWithAutoreleasePool([window] {
    IRect rect;
    int32_t pid =
        VAux::updateAppUnderCursor_centered_wRect(platform().cocoa->mouseLocation(), false, &rect);
    if (pid != 0 && pid != platform().application->processIdentifier()) {
      hover_draggedWindow_direction_pid(window, VAshow_getDirectionForWindow(window), pid);
    }
  });
}

void bgDelegate::periodicCk() {
  bgAppDelegate_validatePath();
}
