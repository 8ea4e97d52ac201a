// What the agent counts on from the system where a Mac differs from a naive model: a faceless
// application's notifications are held back unless it asks for them at once, a run loop that
// is not there yet is no crash, and an application that does not answer may hold an
// accessibility call only so long.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "VAstate.h"
#include "agent_session.h"
#include "bgprefs.h"

namespace {

using namespace port;
using testing_support::AgentSession;

void collect(void* observer, std::string_view, const PlistDict& info) {
  static_cast<std::vector<std::string>*>(observer)->push_back(*stringEntry(info, "v"));
}

PlistDict valued(const char* v) {
  PlistDict info;
  info["v"] = PlistValue(std::string(v));
  return info;
}

// While the agent is not the active application, each observer gets what its suspension
// behaviour says; what is held comes, in posting order, when the agent activates, or first
// when something is delivered to the agent at once.
TEST(SuspendedDelivery, EachObserverOfAnInactiveAgentGetsWhatItsBehaviourSays) {
  using B = NotificationSuspensionBehavior;
  const struct {
    B behavior;
    std::vector<std::string> whileInactive, onActivation, onImmediatePost;
  } cases[] = {
      {B::kDrop, {}, {}, {"now"}},
      {B::kCoalesce, {}, {"b"}, {"b", "now"}},
      {B::kHold, {}, {"a", "b"}, {"a", "b", "now"}},
      {B::kDeliverImmediately, {"a", "b"}, {"a", "b"}, {"a", "b", "now"}},
  };
  for (const auto& c : cases) {
    for (bool activate : {true, false}) {
      AgentSession agent(testing_support::twoWindowConfig(), false);
      Notifications& centre = *platform().notifications;
      std::vector<std::string> heard;
      centre.addObserver(&heard, "com.example.n", collect, c.behavior);
      centre.postNotification("com.example.n", valued("a"), false);
      centre.postNotification("com.example.n", valued("b"), false);
      agent.runUntil(1);
      EXPECT_EQ(heard, c.whileInactive) << static_cast<int>(c.behavior);
      if (activate) {
        platform().application->activateIgnoringOtherApps(true);
        agent.runUntil(2);
        EXPECT_EQ(heard, c.onActivation) << static_cast<int>(c.behavior);
      } else {
        centre.postNotification("com.example.n", valued("now"), true);
        agent.runUntil(2);
        EXPECT_EQ(heard, c.onImmediatePost) << static_cast<int>(c.behavior);
      }
    }
  }
}

// The pane's messages, posted without immediate delivery, reach the faceless agent at once:
// its wait for a hot key starts in the same moment.
TEST(SuspendedDelivery, ThePanesMessagesReachTheFacelessAgentAtOnce) {
  AgentSession agent;
  agent.at(2, [&] {
    PlistDict message;
    message["m"] = PlistValue(int64_t{10});
    agent.session().paneSend(message);
  });
  agent.runUntil(2.001);
  EXPECT_EQ(agent.session().activations(), 0);
  EXPECT_TRUE(state_interceptNextKeypress());
}

// A null loop or timer, as another thread's loop is before that thread stores it, is no
// crash: nothing is performed or woken, and the questions answer no.
TEST(RunLoopsPort, NullLoopsAndTimersAreTolerated) {
  AgentSession agent;
  RunLoops& loops = *platform().runLoops;
  bool ran = false;
  loops.performBlock(nullptr, RunLoopMode::kDefault, [&ran] { ran = true; });
  loops.wakeUp(nullptr);
  CFRunLoopTimerRef timer = loops.timerCreate(
      0, 0, [](CFRunLoopTimerRef, void*) {}, nullptr);
  EXPECT_FALSE(loops.containsTimer(nullptr, timer, RunLoopMode::kDefault));
  EXPECT_FALSE(loops.containsTimer(loops.getMain(), nullptr, RunLoopMode::kDefault));
  EXPECT_FALSE(loops.timerIsValid(nullptr));
  loops.timerSetNextFireDate(nullptr, 5);
  EXPECT_EQ(loops.timerGetNextFireDate(nullptr), 0);
  EXPECT_EQ(loops.timerGetInterval(nullptr), 0);
  loops.timerInvalidate(nullptr);
  loops.timerInvalidate(timer);
  agent.runUntil(2);
  EXPECT_FALSE(ran);
}

// An application that hangs under the cursor may hold the main thread, and the key tap on
// it, only briefly: the agent bounds every accessibility call far below the system's 6 s and
// below the event taps' own timeout of about a second.
// Also when the permission comes after the agent started, when the system refused the
// setting until then.
TEST(AccessibilityTimeout, TheAgentBoundsEveryCallToAnApplication) {
  for (bool grantedAtStart : {true, false}) {
    vsession::SessionConfig config = testing_support::twoWindowConfig();
    config.accessibilityTrusted = grantedAtStart;
    if (!grantedAtStart) config.accessibilityGrantedAt = 3.5;
    AgentSession agent(config);
    agent.runUntil(6);
    float timeout = agent.session().accessibility().messagingTimeout();
    EXPECT_GT(timeout, 0) << grantedAtStart;
    EXPECT_LT(timeout, 0.5) << grantedAtStart;
  }
}

}  // namespace
