// Time, run loops, timers, queues and threads: CFAbsoluteTime, CFRunLoop, Grand Central
// Dispatch, NSThread, NSLock and NSAutoreleasePool.
#import <Foundation/Foundation.h>

#include <CoreFoundation/CoreFoundation.h>
#include <dispatch/dispatch.h>

#include <utility>

#include "platform/api/run_loop.h"
#include "ports.h"

// The body of a thread detached with NSThread, which keeps Cocoa aware that the process is
// multithreaded (a bare pthread would not).
@interface VarselThreadBody : NSObject {
  port::Block body_;
}
- (id)initWithBlock:(port::Block)body;
- (void)run:(NSString*)name;
@end

@implementation VarselThreadBody
- (id)initWithBlock:(port::Block)body {
  if ((self = [super init])) body_ = std::move(body);
  return self;
}
- (void)run:(NSString*)name {
  // A thread started with NSThread sets up its own outermost pool.
  NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
  [[NSThread currentThread] setName:name];
  body_();
  [pool drain];
}
@end

// Exported by the Objective-C runtime for @autoreleasepool; no public header declares them.
extern "C" void* objc_autoreleasePoolPush(void);
extern "C" void objc_autoreleasePoolPop(void* pool);

namespace macos {
namespace {

::CFRunLoopRef cf(port::CFRunLoopRef rl) {
  return reinterpret_cast<::CFRunLoopRef>(rl);
}
::CFRunLoopTimerRef cf(port::CFRunLoopTimerRef timer) {
  return reinterpret_cast<::CFRunLoopTimerRef>(timer);
}
CFStringRef cf(port::RunLoopMode mode) {
  return mode == port::RunLoopMode::kCommon ? kCFRunLoopCommonModes : kCFRunLoopDefaultMode;
}
dispatch_queue_t gcd(port::dispatch_queue_t queue) {
  return reinterpret_cast<dispatch_queue_t>(queue);
}

class Clock final : public port::Clock {
 public:
  port::CFAbsoluteTime absoluteTimeGetCurrent() override { return CFAbsoluteTimeGetCurrent(); }
};

// The port's timer callout takes the port's timer type; the system calls this one through
// the timer's context, which frees the record when the timer goes.
struct TimerRecord {
  port::CFRunLoopTimerCallBack callout;
  void* info;
};

void timerTrampoline(::CFRunLoopTimerRef timer, void* info) {
  auto* record = static_cast<TimerRecord*>(info);
  record->callout(reinterpret_cast<port::CFRunLoopTimerRef>(timer), record->info);
}

void releaseTimerRecord(const void* info) {
  delete static_cast<const TimerRecord*>(info);
}

class RunLoops final : public port::RunLoops {
 public:
  port::CFRunLoopRef getCurrent() override {
    return reinterpret_cast<port::CFRunLoopRef>(CFRunLoopGetCurrent());
  }
  port::CFRunLoopRef getMain() override {
    return reinterpret_cast<port::CFRunLoopRef>(CFRunLoopGetMain());
  }
  void run() override { CFRunLoopRun(); }
  // A loop, source or timer that could not be had, or is not there yet, is null: adding,
  // performing and waking do nothing with it, asking about it answers no, as Core Foundation
  // would crash on it. The first run-timer pass posts to the event thread before that thread
  // has stored its loop.
  void addSource(port::CFRunLoopRef rl, port::CFRunLoopSourceRef source,
                 port::RunLoopMode mode) override {
    if (rl == nullptr || source == nullptr) return;
    CFRunLoopAddSource(cf(rl), reinterpret_cast<::CFRunLoopSourceRef>(source), cf(mode));
  }
  void addTimer(port::CFRunLoopRef rl, port::CFRunLoopTimerRef timer,
                port::RunLoopMode mode) override {
    if (rl == nullptr || timer == nullptr) return;
    CFRunLoopAddTimer(cf(rl), cf(timer), cf(mode));
  }
  bool containsTimer(port::CFRunLoopRef rl, port::CFRunLoopTimerRef timer,
                     port::RunLoopMode mode) override {
    if (rl == nullptr || timer == nullptr) return false;
    return CFRunLoopContainsTimer(cf(rl), cf(timer), cf(mode));
  }
  void performBlock(port::CFRunLoopRef rl, port::RunLoopMode mode, port::Block block) override {
    if (rl == nullptr) return;
    __block port::Block work = std::move(block);
    CFRunLoopPerformBlock(cf(rl), cf(mode), ^{
      work();
    });
  }
  void wakeUp(port::CFRunLoopRef rl) override {
    if (rl != nullptr) CFRunLoopWakeUp(cf(rl));
  }

  port::CFRunLoopTimerRef timerCreate(port::CFAbsoluteTime fireDate, port::CFTimeInterval interval,
                                      port::CFRunLoopTimerCallBack callout, void* info) override {
    auto* record = new TimerRecord{callout, info};
    CFRunLoopTimerContext context = {0, record, nullptr, releaseTimerRecord, nullptr};
    ::CFRunLoopTimerRef timer = CFRunLoopTimerCreate(kCFAllocatorDefault, fireDate, interval, 0, 0,
                                                     timerTrampoline, &context);
    if (timer == nullptr) delete record;
    return reinterpret_cast<port::CFRunLoopTimerRef>(timer);
  }
  void timerSetNextFireDate(port::CFRunLoopTimerRef timer, port::CFAbsoluteTime fireDate) override {
    if (timer != nullptr) CFRunLoopTimerSetNextFireDate(cf(timer), fireDate);
  }
  port::CFAbsoluteTime timerGetNextFireDate(port::CFRunLoopTimerRef timer) override {
    return timer != nullptr ? CFRunLoopTimerGetNextFireDate(cf(timer)) : 0;
  }
  port::CFTimeInterval timerGetInterval(port::CFRunLoopTimerRef timer) override {
    return timer != nullptr ? CFRunLoopTimerGetInterval(cf(timer)) : 0;
  }
  void timerInvalidate(port::CFRunLoopTimerRef timer) override {
    if (timer == nullptr) return;
    CFRunLoopTimerInvalidate(cf(timer));
    CFRelease(cf(timer));
  }
  bool timerIsValid(port::CFRunLoopTimerRef timer) override {
    return timer != nullptr && CFRunLoopTimerIsValid(cf(timer));
  }
};

class Dispatch final : public port::Dispatch {
 public:
  port::dispatch_queue_t getMainQueue() override {
    return reinterpret_cast<port::dispatch_queue_t>(dispatch_get_main_queue());
  }
  port::dispatch_queue_t queueCreate(const char* label) override {
    return reinterpret_cast<port::dispatch_queue_t>(dispatch_queue_create(label, nullptr));
  }
  void async(port::dispatch_queue_t queue, port::Block block) override {
    __block port::Block work = std::move(block);
    dispatch_async(gcd(queue), ^{
      work();
    });
  }
  void after(port::CFTimeInterval delay, port::dispatch_queue_t queue, port::Block block) override {
    __block port::Block work = std::move(block);
    dispatch_after(dispatch_time(DISPATCH_TIME_NOW, static_cast<int64_t>(delay * NSEC_PER_SEC)),
                   gcd(queue), ^{
                     work();
                   });
  }
};

class Threads final : public port::Threads {
 public:
  void detachNewThread(const char* name, port::Block body) override {
    VarselThreadBody* start = [[VarselThreadBody alloc] initWithBlock:std::move(body)];
    [NSThread detachNewThreadSelector:@selector(run:)
                             toTarget:start
                           withObject:[NSString stringWithUTF8String:name]];
    [start release];  // the thread keeps its target until it ends
  }
  void sleepForTimeInterval(port::CFTimeInterval seconds) override {
    [NSThread sleepForTimeInterval:seconds];
  }
  port::NSLockRef lockCreate() override {
    return reinterpret_cast<port::NSLockRef>([[NSLock alloc] init]);
  }
  void lock(port::NSLockRef lock) override { [reinterpret_cast<NSLock*>(lock) lock]; }
  void unlock(port::NSLockRef lock) override { [reinterpret_cast<NSLock*>(lock) unlock]; }
  void lockRelease(port::NSLockRef lock) override { [reinterpret_cast<NSLock*>(lock) release]; }
  // The runtime's own pool calls, which @autoreleasepool compiles to: no object is made
  // for a pool, so the event thread's pool per tapped event costs no allocation.
  void* autoreleasePoolPush() override { return objc_autoreleasePoolPush(); }
  void autoreleasePoolPop(void* pool) override { objc_autoreleasePoolPop(pool); }
};

}  // namespace

port::Clock& clock() {
  static Clock instance;
  return instance;
}
port::RunLoops& runLoops() {
  static RunLoops instance;
  return instance;
}
port::Dispatch& dispatch() {
  static Dispatch instance;
  return instance;
}
port::Threads& threads() {
  static Threads instance;
  return instance;
}

}  // namespace macos
