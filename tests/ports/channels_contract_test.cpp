// Distributed notifications and message ports: how the agent and its preference pane talk.
// A notification reaches an observer with its user info whole; a message port is found by
// its name, answered on the thread whose run loop serves it, and gone once invalidated.
#include <array>
#include <atomic>
#include <string>
#include <vector>

#include "contract.h"

namespace {

using namespace port;
using contract::runFor;
using contract::runUntil;

// A name of this run's own, so that no other process hears the tests.
std::string uniqueName(Platform& p, const std::string& what) {
  return "com.tarnwick.varsel.contract." + what + "." +
         std::to_string(p.application->processIdentifier());
}

class NotificationContract : public contract::PortContract {};

struct Heard {
  std::vector<std::pair<std::string, PlistDict>> notes;
  static void observe(void* observer, std::string_view name, const PlistDict& info) {
    static_cast<Heard*>(observer)->notes.emplace_back(std::string(name), info);
  }
};

TEST_F(NotificationContract, APostedNotificationReachesItsObserverWithItsUserInfo) {
  Notifications& centre = *ports().notifications;
  Heard& heard = contract::outliving<Heard>();  // observers are never removed
  std::string name = uniqueName(ports(), "note");
  centre.addObserver(&heard, name, Heard::observe,
                     NotificationSuspensionBehavior::kDeliverImmediately);
  PlistDict info{{"m", 3}, {"s", "com.example.reader"}, {"f", 0.5}};
  centre.postNotification(uniqueName(ports(), "other"), {{"m", 1}}, true);
  centre.postNotification(name, info, true);
  ASSERT_TRUE(runUntil([&] { return !heard.notes.empty(); }, 2)) << "nothing came";
  runFor(0.1);
  ASSERT_EQ(heard.notes.size(), 1u) << "heard a name it does not observe";
  EXPECT_EQ(heard.notes[0].first, name);
  EXPECT_EQ(heard.notes[0].second, info);
}

class MessagePortContract : public contract::PortContract {};

// A thread that serves a local port on its own run loop, as the agent's main thread serves
// the pane's requests; the reply is the message id followed by the data.
struct Server {
  Platform* p = nullptr;
  std::string name;
  std::atomic<MessagePort*> port{nullptr};
  std::atomic<RunLoop*> loop{nullptr};
  std::atomic<int> requests{0};
  std::atomic<bool> answeredOnLoop{false};

  static bool answer(CFMessagePortRef, int32_t msgid, const std::vector<uint8_t>& data,
                     std::vector<uint8_t>* reply, void* info) {
    auto* server = static_cast<Server*>(info);
    server->answeredOnLoop = server->p->runLoops->getCurrent() == server->loop.load();
    ++server->requests;
    reply->assign(1, static_cast<uint8_t>(msgid));
    reply->insert(reply->end(), data.begin(), data.end());
    return true;
  }
  static void keepAlive(CFRunLoopTimerRef, void*) {}

  void start() {
    p->threads->detachNewThread("contract port server", [this] {
      RunLoops& loops = *p->runLoops;
      RunLoop* current = loops.getCurrent();
      loop = current;
      CFMessagePortRef local = p->messagePorts->createLocal(name, answer, this);
      if (local) {
        loops.addSource(current, p->messagePorts->createRunLoopSource(local), RunLoopMode::kCommon);
      }
      loops.addTimer(current, loops.timerCreate(1e12, 1e9, keepAlive, nullptr),
                     RunLoopMode::kDefault);
      port = local;
      loops.run();
    });
  }
};

TEST_F(MessagePortContract, APortIsFoundByNameAnsweredOnItsLoopAndGoneWhenInvalidated) {
  MessagePorts& ports_ = *ports().messagePorts;
  Server& server = contract::outliving<Server>();
  server.p = &ports();
  server.name = uniqueName(ports(), "port");
  EXPECT_EQ(ports_.createRemote(server.name), nullptr) << "found before anyone listens";
  server.start();
  ASSERT_TRUE(runUntil([&] { return server.port.load() != nullptr; }, 2)) << "no local port";

  CFMessagePortRef remote = ports_.createRemote(server.name);
  ASSERT_NE(remote, nullptr);
  std::vector<uint8_t> reply;
  ASSERT_TRUE(ports_.sendRequest(remote, 9, {1, 2, 3}, 1.0, 1.0, &reply));
  EXPECT_EQ(reply, (std::vector<uint8_t>{9, 1, 2, 3}));
  EXPECT_EQ(server.requests.load(), 1);
  EXPECT_TRUE(server.answeredOnLoop.load()) << "answered on another thread than the port's";

  ports_.invalidate(server.port.load());
  ports_.release(server.port.load());
  EXPECT_FALSE(ports_.sendRequest(remote, 9, {}, 0.2, 0.2, &reply))
      << "answered after invalidation";
  EXPECT_EQ(ports_.createRemote(server.name), nullptr) << "found after invalidation";
  ports_.invalidate(remote);
  ports_.release(remote);
}

}  // namespace
