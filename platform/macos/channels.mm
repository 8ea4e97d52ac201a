// Notifications, message ports and URL events: NSDistributedNotificationCenter,
// CFMessagePort and the Apple-event handler for 'GURL'.
#import <Foundation/Foundation.h>

#include <Carbon/Carbon.h>
#include <CoreFoundation/CoreFoundation.h>

#include "bridge.h"
#include "platform/api/channels.h"
#include "ports.h"

// Hands a distributed notification to the port's callback. Observers are registered once
// and never removed, so they live for the life of the process.
@interface VarselNotificationObserver : NSObject {
  void* observer_;
  port::NotificationCallBack callback_;
}
- (id)initWithObserver:(void*)observer callback:(port::NotificationCallBack)callback;
- (void)notify:(NSNotification*)notification;
@end

@implementation VarselNotificationObserver
- (id)initWithObserver:(void*)observer callback:(port::NotificationCallBack)callback {
  if ((self = [super init])) {
    observer_ = observer;
    callback_ = callback;
  }
  return self;
}
- (void)notify:(NSNotification*)notification {
  callback_(observer_, macos::toString([notification name]),
            macos::toPlistDict([notification userInfo]));
}
@end

// Reads the URL of a 'GURL' Apple event as a string; nothing is written to the reply.
@interface VarselURLEventHandler : NSObject {
  void* handler_;
  port::URLEventCallBack callback_;
}
- (id)initWithHandler:(void*)handler callback:(port::URLEventCallBack)callback;
- (void)handleURLEvent:(NSAppleEventDescriptor*)event withReplyEvent:(NSAppleEventDescriptor*)reply;
@end

@implementation VarselURLEventHandler
- (id)initWithHandler:(void*)handler callback:(port::URLEventCallBack)callback {
  if ((self = [super init])) {
    handler_ = handler;
    callback_ = callback;
  }
  return self;
}
- (void)handleURLEvent:(NSAppleEventDescriptor*)event
        withReplyEvent:(NSAppleEventDescriptor*)reply {
  (void)reply;
  callback_(handler_,
            macos::toString([[event paramDescriptorForKeyword:keyDirectObject] stringValue]));
}
@end

namespace macos {
namespace {

::CFMessagePortRef cf(port::CFMessagePortRef messagePort) {
  return reinterpret_cast<::CFMessagePortRef>(messagePort);
}

class Notifications final : public port::Notifications {
 public:
  void addObserver(void* observer, const std::string& name, port::NotificationCallBack callback,
                   port::NotificationSuspensionBehavior behavior) override {
    // The centre does not retain its observers: each one is kept for the life of the
    // process, by a list that is never emptied.
    static NSMutableArray* const kept = [[NSMutableArray alloc] init];
    VarselNotificationObserver* forward =
        [[[VarselNotificationObserver alloc] initWithObserver:observer
                                                     callback:callback] autorelease];
    [kept addObject:forward];
    [[NSDistributedNotificationCenter defaultCenter]
               addObserver:forward
                  selector:@selector(notify:)
                      name:toNSString(name)
                    object:nil
        suspensionBehavior:static_cast<NSNotificationSuspensionBehavior>(behavior)];
  }
  void postNotification(const std::string& name, const port::PlistDict& userInfo,
                        bool deliverImmediately) override {
    [[NSDistributedNotificationCenter defaultCenter] postNotificationName:toNSString(name)
                                                                   object:nil
                                                                 userInfo:toNSDictionary(userInfo)
                                                       deliverImmediately:deliverImmediately];
  }
};

// The port's callback takes the port's types; the system calls this one through the port's
// context, which frees the record when the port goes.
struct PortRecord {
  port::MessagePortCallBack callback;
  void* info;
};

// The reply is created here and released by the system once it is sent, hence the
// annotation: the caller owns what this returns.
CF_RETURNS_RETAINED CFDataRef messageTrampoline(::CFMessagePortRef local, SInt32 msgid,
                                                CFDataRef data, void* info) {
  auto* record = static_cast<PortRecord*>(info);
  std::vector<uint8_t> reply;
  if (!record->callback(reinterpret_cast<port::CFMessagePortRef>(local), msgid,
                        toBytes((NSData*)data), &reply, record->info))
    return nullptr;
  return CFDataCreate(kCFAllocatorDefault, reply.data(), static_cast<CFIndex>(reply.size()));
}

void releasePortRecord(const void* info) {
  delete static_cast<const PortRecord*>(info);
}

class MessagePorts final : public port::MessagePorts {
 public:
  port::CFMessagePortRef createLocal(const std::string& name, port::MessagePortCallBack callback,
                                     void* info) override {
    auto* record = new PortRecord{callback, info};
    CFMessagePortContext context = {0, record, nullptr, releasePortRecord, nullptr};
    Boolean shouldFreeInfo = false;
    ::CFMessagePortRef local =
        CFMessagePortCreateLocal(kCFAllocatorDefault, (CFStringRef)toNSString(name),
                                 messageTrampoline, &context, &shouldFreeInfo);
    if (shouldFreeInfo) delete record;  // the port was not made, or already existed
    return reinterpret_cast<port::CFMessagePortRef>(local);
  }
  port::CFMessagePortRef createRemote(const std::string& name) override {
    return reinterpret_cast<port::CFMessagePortRef>(
        CFMessagePortCreateRemote(kCFAllocatorDefault, (CFStringRef)toNSString(name)));
  }
  port::CFRunLoopSourceRef createRunLoopSource(port::CFMessagePortRef messagePort) override {
    return reinterpret_cast<port::CFRunLoopSourceRef>(
        CFMessagePortCreateRunLoopSource(kCFAllocatorDefault, cf(messagePort), 0));
  }
  // Without a reply wanted, no reply mode is given, so the call returns once the message is
  // sent.
  bool sendRequest(port::CFMessagePortRef messagePort, int32_t msgid,
                   const std::vector<uint8_t>& data, port::CFTimeInterval sendTimeout,
                   port::CFTimeInterval receiveTimeout, std::vector<uint8_t>* reply) override {
    CFDataRef answer = nullptr;
    SInt32 status = CFMessagePortSendRequest(
        cf(messagePort), msgid, (CFDataRef)toNSData(data), sendTimeout, receiveTimeout,
        reply != nullptr ? kCFRunLoopDefaultMode : nullptr, reply != nullptr ? &answer : nullptr);
    if (answer != nullptr) {
      *reply = toBytes((NSData*)answer);
      CFRelease(answer);
    }
    return status == kCFMessagePortSuccess;
  }
  void invalidate(port::CFMessagePortRef messagePort) override {
    CFMessagePortInvalidate(cf(messagePort));
  }
  void release(port::CFMessagePortRef messagePort) override { CFRelease(cf(messagePort)); }
};

class URLEvents final : public port::URLEvents {
 public:
  void setGetURLHandler(void* handler, port::URLEventCallBack callback) override {
    // The manager does not retain its handler; this one is kept for the life of the process.
    VarselURLEventHandler* forward = [[VarselURLEventHandler alloc] initWithHandler:handler
                                                                           callback:callback];
    [[NSAppleEventManager sharedAppleEventManager] setEventHandler:forward
                                                       andSelector:@selector(handleURLEvent:
                                                                             withReplyEvent:)
                                                     forEventClass:kInternetEventClass
                                                        andEventID:kAEGetURL];
  }
};

}  // namespace

port::Notifications& notifications() {
  static Notifications instance;
  return instance;
}
port::MessagePorts& messagePorts() {
  static MessagePorts instance;
  return instance;
}
port::URLEvents& urlEvents() {
  static URLEvents instance;
  return instance;
}

}  // namespace macos
