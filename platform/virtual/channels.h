// The session's channels between processes: distributed notifications, per-user message
// ports and the 'GURL' Apple event, with the preference pane and other copies of the agent
// as peers a test or scenario drives.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/api/channels.h"
#include "platform/api/update_fetch.h"
#include "scheduler.h"
#include "threading.h"
#include "trace.h"

namespace port {

struct MessagePort {
  std::string name;
  bool local = false;
  MessagePortCallBack callback = nullptr;
  void* info = nullptr;
  bool valid = true;
  RunLoopSource source;  // where requests to a local port are served, once added to a loop
};

}  // namespace port

namespace vsession {

// The agent's observers hear a notification on the main thread's run loop, where they
// registered; a peer outside the agent hears it as it is posted. As AppKit does, the agent's
// deliveries are suspended while it is not the active application, which a faceless agent
// never is unless it activates itself: each observer's suspension behaviour then drops,
// coalesces or holds what comes, or takes it at once, and a notification posted for
// immediate delivery reaches it all the same. Held ones come, in the order they were
// posted, when the agent activates or, as documented, first whenever something is
// delivered to it at once.
class VirtualNotifications final : public port::Notifications {
 public:
  using PeerListener = std::function<void(const port::PlistDict& userInfo)>;

  VirtualNotifications(Scheduler& scheduler, Trace& trace) : scheduler_(scheduler), trace_(trace) {}

  void addObserver(void* observer, const std::string& name, port::NotificationCallBack callback,
                   port::NotificationSuspensionBehavior behavior) override;
  void postNotification(const std::string& name, const port::PlistDict& userInfo,
                        bool deliverImmediately) override;
  void listen(const std::string& name, PeerListener listener);
  // The agent became the active application (deliveries resume) or stopped being it.
  void setAgentActive(bool active);

 private:
  using Posted = std::shared_ptr<const std::pair<std::string, port::PlistDict>>;
  struct Observer {
    void* observer;
    std::string name;
    port::NotificationCallBack callback;
    port::NotificationSuspensionBehavior behavior;
  };
  void deliver(const Observer& o, Posted posted);
  void flushHeld();

  Scheduler& scheduler_;
  Trace& trace_;
  std::vector<Observer> observers_;
  std::vector<std::pair<size_t, Posted>> held_;  // observer index, in posting order
  std::multimap<std::string, PeerListener> peers_;
  bool agentActive_ = false;
};

// Port names are unique in the session: a name is held by the agent's local port or by a
// peer process until it is invalidated or the process ends. A request to a local port is
// served on the thread whose run loop has the port's source, the sender waiting meanwhile;
// one whose source is on no run loop is never answered.
class VirtualMessagePorts final : public port::MessagePorts {
 public:
  explicit VirtualMessagePorts(Scheduler& scheduler) : scheduler_(scheduler) {}

  port::CFMessagePortRef createLocal(const std::string& name, port::MessagePortCallBack callback,
                                     void* info) override;
  port::CFMessagePortRef createRemote(const std::string& name) override;
  port::CFRunLoopSourceRef createRunLoopSource(port::CFMessagePortRef port) override;
  bool sendRequest(port::CFMessagePortRef port, int32_t msgid, const std::vector<uint8_t>& data,
                   port::CFTimeInterval sendTimeout, port::CFTimeInterval receiveTimeout,
                   std::vector<uint8_t>* reply) override;
  void invalidate(port::CFMessagePortRef port) override;
  void release(port::CFMessagePortRef) override {}

  // A peer process (`pid`) listens on `name`, or stops.
  void claim(const std::string& name, int32_t pid);
  void releaseAllOf(int32_t pid);
  bool listening(const std::string& name) const { return owners_.count(name) != 0; }
  // The requests peers took: port name and message id, with the send time-out given.
  struct PeerRequest {
    std::string name;
    int32_t msgid;
    double sendTimeout;
  };
  const std::vector<PeerRequest>& peerRequests() const { return peerRequests_; }

 private:
  Scheduler& scheduler_;
  std::vector<PeerRequest> peerRequests_;
  std::deque<port::MessagePort> ports_;
  std::map<std::string, int32_t> owners_;                // name → peer pid
  std::map<std::string, port::CFMessagePortRef> local_;  // name → the agent's port
};

class VirtualURLEvents final : public port::URLEvents {
 public:
  explicit VirtualURLEvents(Scheduler& scheduler) : scheduler_(scheduler) {}
  void setGetURLHandler(void* handler, port::URLEventCallBack callback) override {
    handler_ = handler;
    callback_ = callback;
  }
  // The system hands the agent a URL of its scheme, on the main thread; false when no
  // handler is installed.
  bool open(const std::string& url);

 private:
  Scheduler& scheduler_;
  void* handler_ = nullptr;
  port::URLEventCallBack callback_ = nullptr;
};

// User notifications, the checker's dialog window, alerts and URL opens. An alert is
// answered at once with its first button, as a user who reads it and presses the default
// would; a notification and the dialog wait for the user (`clickNotification`,
// `pressDialogButton`).
class VirtualUserNotifications final : public port::UserNotifications {
 public:
  VirtualUserNotifications(Scheduler& scheduler, Trace& trace)
      : scheduler_(scheduler), trace_(trace) {}
  int64_t deliverNotification(const std::string& title, const std::string& text,
                              const port::PlistDict& userInfo) override;
  void setActivationHandler(port::NotificationActivatedCallBack callback) override {
    activated_ = callback;
  }
  void removeDeliveredNotification(int64_t id) override;
  void showDialog(const port::DialogTexts& texts) override;
  void hideDialog() override;
  void setDialogButtonHandler(port::DialogButtonCallBack callback) override { pressed_ = callback; }
  int runAlert(const std::string& message, const std::string& information,
               const std::vector<std::string>& buttons) override;
  // How the calling thread runs an alert's modal loop until the user answers.
  void setModalRunner(std::function<void(double seconds)> run) { runModal_ = std::move(run); }
  // How long the user takes to read an alert and press its default button.
  static constexpr double kAlertReadingTime = 2.0;
  bool openURL(const std::string& url) override;

  // The user clicks the last notification delivered and still shown; false when none.
  bool clickNotification();
  // The user presses the dialog's button of that title; false when no such button shows.
  bool pressDialogButton(const std::string& title);
  const std::optional<port::DialogTexts>& dialog() const { return dialog_; }
  size_t notificationsShown() const { return delivered_.size(); }

 private:
  Scheduler& scheduler_;
  Trace& trace_;
  port::NotificationActivatedCallBack activated_ = nullptr;
  port::DialogButtonCallBack pressed_ = nullptr;
  std::map<int64_t, port::PlistDict> delivered_;
  int64_t nextId_ = 1;
  std::optional<port::DialogTexts> dialog_;  // while the window shows
  std::function<void(double)> runModal_;
};

}  // namespace vsession
