// Notifications, message ports and URL events: the distributed notification centre,
// CFMessagePort (local and remote, per user) and the Apple-event handler for 'GURL'.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "preferences.h"
#include "run_loop.h"

namespace port {

struct MessagePort;
using CFMessagePortRef = MessagePort*;

// A distributed notification carries a property-list dictionary as its user info.
using NotificationCallBack = void (*)(void* observer, std::string_view name,
                                      const PlistDict& userInfo);
// The reply is written into `reply`; the return value says whether there is one.
using MessagePortCallBack = bool (*)(CFMessagePortRef port, int32_t msgid,
                                     const std::vector<uint8_t>& data, std::vector<uint8_t>* reply,
                                     void* info);
using URLEventCallBack = void (*)(void* handler, std::string_view url);

// NSNotificationSuspensionBehavior: what the distributed centre does with a notification for
// an observer while the observing application's deliveries are suspended, which AppKit does
// whenever the application is not active.
enum class NotificationSuspensionBehavior : int {
  kDrop = 1,                // never delivered
  kCoalesce = 2,            // the last of each name delivered once deliveries resume
  kHold = 3,                // all delivered, in order, once deliveries resume
  kDeliverImmediately = 4,  // delivered at once all the same
};

class Notifications {
 public:
  virtual ~Notifications() = default;
  // addObserver:selector:name:object:suspensionBehavior: with a nil object.
  virtual void addObserver(void* observer, const std::string& name, NotificationCallBack callback,
                           NotificationSuspensionBehavior behavior) = 0;
  // postNotificationName:object:userInfo:deliverImmediately: with a nil object; delivered
  // immediately, it reaches suspended observers at once too.
  virtual void postNotification(const std::string& name, const PlistDict& userInfo,
                                bool deliverImmediately) = 0;
};

class MessagePorts {
 public:
  virtual ~MessagePorts() = default;
  virtual CFMessagePortRef createLocal(const std::string& name, MessagePortCallBack callback,
                                       void* info) = 0;
  virtual CFMessagePortRef createRemote(const std::string& name) = 0;  // null when nobody listens
  virtual CFRunLoopSourceRef createRunLoopSource(CFMessagePortRef port) = 0;
  // CFMessagePortSendRequest; false when the peer did not answer.
  virtual bool sendRequest(CFMessagePortRef port, int32_t msgid, const std::vector<uint8_t>& data,
                           CFTimeInterval sendTimeout, CFTimeInterval receiveTimeout,
                           std::vector<uint8_t>* reply) = 0;
  virtual void invalidate(CFMessagePortRef port) = 0;
  virtual void release(CFMessagePortRef port) = 0;
};

class URLEvents {
 public:
  virtual ~URLEvents() = default;
  virtual void setGetURLHandler(void* handler, URLEventCallBack callback) = 0;
};

}  // namespace port
