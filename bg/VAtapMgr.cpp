#include "VAtapMgr.h"

#include "acc/blockAtomic.h"
#include "bgDelegate.h"
#include "platform/api/platform.h"

using namespace port;

namespace {
VAtapMgrStatics s;

// A set-up step the agent cannot run without: say so and ask the application to end. The
// caller goes on with the null object; the process ends when the main thread handles the
// termination. AppKit takes the request on the main thread only, so a step of the event
// thread hands it there.
enum class StartupThread { kMain, kEvent };
void failStartupStep(const char* message, StartupThread thread = StartupThread::kMain) {
  platform().systemLog->log(message);
  if (thread == StartupThread::kMain) {
    platform().application->terminate();
  } else {
    dispatchMainWithAutoreleasePool([] { platform().application->terminate(); });
  }
}

// Creates a session tap at the head of the tap list and its run-loop source, logging the
// given message for each part that cannot be made.
void createTap(CFMachPortRef& tap, CFRunLoopSourceRef& source, CGEventTapOptions options,
               CGEventMask mask, CGEventTapCallBack callback, const char* tapFailure,
               const char* sourceFailure) {
  QuartzEvents& quartz = *platform().quartz;
  tap =
      quartz.tapCreate(kCGSessionEventTap, kCGHeadInsertEventTap, options, mask, callback, nullptr);
  if (!tap) failStartupStep(tapFailure, StartupThread::kEvent);
  source = quartz.machPortCreateRunLoopSource(tap, 0);
  if (!source) failStartupStep(sourceFailure, StartupThread::kEvent);
}
}  // namespace

const VAtapMgrStatics& VAtapMgr_statics() {
  return s;
}

void VAtapMgr_reset() {
  delete s.selfObject;
  s = VAtapMgrStatics{};
}

VAtapMgr* VAtapMgr::init() {
  auto* self = new VAtapMgr();
  s.selfObject = self;
  if (!s.sTapKeys) {
    s.sTapKeys = platform().quartz->tapCreate(kCGSessionEventTap, kCGHeadInsertEventTap,
                                              kCGEventTapOptionDefault, kKeyTapMask,
                                              keyEventTapCallBack, nullptr);
    if (!s.sTapKeys) failStartupStep("Could not create ktap");
  }
  s.sEventSrcKeys = platform().quartz->machPortCreateRunLoopSource(s.sTapKeys, 0);
  if (!s.sEventSrcKeys) failStartupStep("Could not create ksource");
  RunLoops& runLoops = *platform().runLoops;
  runLoops.addSource(runLoops.getMain(), s.sEventSrcKeys, RunLoopMode::kDefault);
  platform().threads->detachNewThread("event", [self] { self->startEventThread(); });
  return self;
}

void VAtapMgr::startEventThread() {
  RunLoops& runLoops = *platform().runLoops;
  CFRunLoopRef loop = runLoops.getCurrent();
  s.sEventThreadRunLoop = loop;
  if (!loop) failStartupStep("Could not create loop", StartupThread::kEvent);

  CFAbsoluteTime now = platform().clock->absoluteTimeGetCurrent();
  CFRunLoopTimerRef reEnable = runLoops.timerCreate(now + 3.0, 7.0, reEnableTapTimerProc, nullptr);
  if (!reEnable) failStartupStep("Could not create timer", StartupThread::kEvent);
  runLoops.addTimer(loop, reEnable, RunLoopMode::kDefault);

  createTap(s.sTap, s.sEventSrc, kCGEventTapOptionDefault, kMainTapMask, MyEventTapCallBack,
            "Could not create tap", "Could not create source");
  runLoops.addSource(loop, s.sEventSrc, RunLoopMode::kDefault);
  createTap(s.sTapMMoved, s.sEventSrcMMoved, kCGEventTapOptionDefault, kMovedTapMask,
            MyEventTapCallBack, "Could not create mtap", "Could not create moved source");
  runLoops.addSource(loop, s.sEventSrcMMoved, RunLoopMode::kDefault);
  createTap(s.sTapWatch, s.sEventSrcWatch, kCGEventTapOptionListenOnly, kWatchTapMask,
            MyWatchEventTapCallBack, "Could not create wtap", "Could not create wsource");
  runLoops.addSource(loop, s.sEventSrcWatch, RunLoopMode::kDefault);

  runLoops.run();
}

// Before the event thread has stored its loop the event goes nowhere. Only the first
// run-timer pass can come that early, and what it posts (a new window under the cursor,
// hover off) asks to stop modes that cannot be running yet.
void VAtapMgr::postVAEvent(int kind) {
  RunLoops& runLoops = *platform().runLoops;
  CFRunLoopRef loop = s.sEventThreadRunLoop;
  runLoops.performBlock(loop, RunLoopMode::kDefault,
                        BlockWithAutoreleasePool([kind] { bgDelegate::handleVAEvent(kind); }));
  runLoops.wakeUp(loop);
}

void evtapMMoved_setEnabled(bool on) {
  s.sEnableEvTapMMoved = on;
  QuartzEvents& quartz = *platform().quartz;
  if (s.sTapMMoved) quartz.tapEnable(s.sTapMMoved, on);
  if (s.sTapWatch) quartz.tapEnable(s.sTapWatch, on);
}

// Restores taps the system disabled, whatever the reason; never disables anything.
void reEnableTapTimerProc(CFRunLoopTimerRef, void*) {
  withAutoreleasePool([] {
    QuartzEvents& quartz = *platform().quartz;
    if (s.sTap) quartz.tapEnable(s.sTap, true);
    if (s.sTapMMoved && s.sEnableEvTapMMoved) quartz.tapEnable(s.sTapMMoved, true);
    if (s.sTapWatch && s.sEnableEvTapMMoved) quartz.tapEnable(s.sTapWatch, true);
    if (s.sTapKeys) quartz.tapEnable(s.sTapKeys, true);
  });
}

// Types 1 to 2000 are events; 0 and the tap notifications (timeout, user input) are not.
static bool isEventType(CGEventType type) {
  return type >= 1 && type <= 2000;
}

CGEventRef MyEventTapCallBack(CGEventTapProxy, CGEventType type, CGEventRef event, void*) {
  if (type == kCGEventTapDisabledByTimeout) {
    // One tap per notification: the main tap first, else the mouse-moved tap if wanted.
    QuartzEvents& quartz = *platform().quartz;
    if (!quartz.tapIsEnabled(s.sTap)) {
      quartz.tapEnable(s.sTap, true);
    } else if (s.sEnableEvTapMMoved && !quartz.tapIsEnabled(s.sTapMMoved)) {
      quartz.tapEnable(s.sTapMMoved, true);
    }
    return event;
  }
  if (isEventType(type)) {
    return withAutoreleasePool([event] { return bgDelegate::eventForEvent(event); });
  }
  return event;
}

CGEventRef MyWatchEventTapCallBack(CGEventTapProxy, CGEventType type, CGEventRef event, void*) {
  if (type == kCGEventTapDisabledByTimeout && s.sEnableEvTapMMoved) {
    QuartzEvents& quartz = *platform().quartz;
    if (!quartz.tapIsEnabled(s.sTapWatch)) quartz.tapEnable(s.sTapWatch, true);
    return event;
  }
  if (isEventType(type)) {
    // A listen-only tap: the dispatcher sees the gesture, the gesture passes as it was.
    withAutoreleasePool([event] { bgDelegate::eventForEvent(event); });
  }
  return event;
}

CGEventRef keyEventTapCallBack(CGEventTapProxy, CGEventType type, CGEventRef event, void*) {
  if (type == kCGEventTapDisabledByTimeout) {
    platform().quartz->tapEnable(s.sTapKeys, true);
    return event;
  }
  if (isEventType(type)) {
    return withAutoreleasePool([event] { return bgDelegate::eventForEventOnMain(event); });
  }
  return event;
}
