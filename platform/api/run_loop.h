// Time, run loops, timers and queues: CFAbsoluteTime, CFRunLoop (timers, sources,
// CFRunLoopPerformBlock), Grand Central Dispatch, NSThread, NSLock and the Objective-C
// autorelease pool.
#pragma once

#include <cstdint>

#include "block.h"

namespace port {

using CFAbsoluteTime = double;  // seconds since 1 Jan 2001 00:00:00 GMT
using CFTimeInterval = double;  // seconds

struct RunLoop;
using CFRunLoopRef = RunLoop*;
struct RunLoopTimer;
using CFRunLoopTimerRef = RunLoopTimer*;
struct RunLoopSource;
using CFRunLoopSourceRef = RunLoopSource*;
struct DispatchQueue;
using dispatch_queue_t = DispatchQueue*;
struct Lock;
using NSLockRef = Lock*;

// kCFRunLoopDefaultMode and kCFRunLoopCommonModes.
enum class RunLoopMode { kDefault, kCommon };

using CFRunLoopTimerCallBack = void (*)(CFRunLoopTimerRef timer, void* info);

// CFAbsoluteTimeGetCurrent.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual CFAbsoluteTime absoluteTimeGetCurrent() = 0;
};

// CFRunLoop and CFRunLoopTimer. A null loop or timer (one that could not be made, or another
// thread's loop not stored yet) is tolerated everywhere: adding, performing, waking, moving
// and invalidating do nothing, the questions answer no and the dates and intervals 0.
class RunLoops {
 public:
  virtual ~RunLoops() = default;
  virtual CFRunLoopRef getCurrent() = 0;  // CFRunLoopGetCurrent: null if none can be had
  virtual CFRunLoopRef getMain() = 0;     // CFRunLoopGetMain
  virtual void run() = 0;                 // CFRunLoopRun on the current thread's loop
  virtual void addSource(CFRunLoopRef rl, CFRunLoopSourceRef source, RunLoopMode mode) = 0;
  virtual void addTimer(CFRunLoopRef rl, CFRunLoopTimerRef timer, RunLoopMode mode) = 0;
  virtual bool containsTimer(CFRunLoopRef rl, CFRunLoopTimerRef timer, RunLoopMode mode) = 0;
  virtual void performBlock(CFRunLoopRef rl, RunLoopMode mode, Block block) = 0;
  virtual void wakeUp(CFRunLoopRef rl) = 0;

  // CFRunLoopTimerCreate: interval 0 makes a one-shot timer. Null if it cannot be made.
  virtual CFRunLoopTimerRef timerCreate(CFAbsoluteTime fireDate, CFTimeInterval interval,
                                        CFRunLoopTimerCallBack callout, void* info) = 0;
  virtual void timerSetNextFireDate(CFRunLoopTimerRef timer, CFAbsoluteTime fireDate) = 0;
  virtual CFAbsoluteTime timerGetNextFireDate(CFRunLoopTimerRef timer) = 0;
  virtual CFTimeInterval timerGetInterval(CFRunLoopTimerRef timer) = 0;
  // CFRunLoopTimerInvalidate, then the caller's CFRelease: the reference is not used again.
  virtual void timerInvalidate(CFRunLoopTimerRef timer) = 0;
  virtual bool timerIsValid(CFRunLoopTimerRef timer) = 0;
};

// Grand Central Dispatch: the main queue, serial queues, dispatch_async, dispatch_after.
class Dispatch {
 public:
  virtual ~Dispatch() = default;
  virtual dispatch_queue_t getMainQueue() = 0;
  virtual dispatch_queue_t queueCreate(const char* label) = 0;  // serial
  virtual void async(dispatch_queue_t queue, Block block) = 0;
  virtual void after(CFTimeInterval delay, dispatch_queue_t queue, Block block) = 0;
};

// NSThread, NSLock and objc_autoreleasePoolPush / Pop.
class Threads {
 public:
  virtual ~Threads() = default;
  virtual void detachNewThread(const char* name, Block body) = 0;
  virtual void sleepForTimeInterval(CFTimeInterval seconds) = 0;
  virtual NSLockRef lockCreate() = 0;
  virtual void lock(NSLockRef lock) = 0;
  virtual void unlock(NSLockRef lock) = 0;
  virtual void lockRelease(NSLockRef lock) = 0;
  virtual void* autoreleasePoolPush() = 0;
  virtual void autoreleasePoolPop(void* pool) = 0;
};

}  // namespace port
