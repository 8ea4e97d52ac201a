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

// A thread that serves a tap and waits for a hung application keeps the input waiting for
// the tap; once an event has waited the window server's second, the tap is disabled, the
// input passes it by, and its notice comes when the thread is free. With no input meanwhile,
// nothing times out.
TEST(HungApplication, InputWaitsForTheTapsThreadASecondThenPassesItBy) {
  for (bool input : {true, false}) {
    vsession::VirtualSession s(testing_support::twoWindowConfig());
    port::setPlatform(&s.platform());
    struct Tap {
      std::vector<double> heard;
      int notices = 0;
      Clock* clock;
      static CGEventRef hear(CGEventTapProxy, CGEventType type, CGEventRef e, void* info) {
        auto* t = static_cast<Tap*>(info);
        if (type == kCGEventTapDisabledByTimeout) ++t->notices;
        if (type == kCGEventScrollWheel) t->heard.push_back(t->clock->absoluteTimeGetCurrent());
        return e;
      }
    } tap{{}, 0, s.platform().clock};
    QuartzEvents& q = *s.platform().quartz;
    CFMachPortRef port =
        q.tapCreate(kCGSessionEventTap, kCGHeadInsertEventTap, kCGEventTapOptionDefault,
                    CGEventMaskBit(kCGEventScrollWheel), Tap::hear, &tap);
    s.platform().runLoops->addSource(s.platform().runLoops->getMain(),
                                     q.machPortCreateRunLoopSource(port, 0), RunLoopMode::kCommon);
    q.tapEnable(port, true);
    s.accessibility().hangApplication(501, s.absolute(1), s.absolute(10));
    Accessibility& ax = *s.platform().accessibility;
    AXUIElementRef systemWide = ax.createSystemWide();
    ax.setMessagingTimeout(systemWide, 3);
    AXError answer = kAXErrorSuccess;
    s.scheduler().schedule(s.absolute(1), vsession::Scheduler::kMainLane, "call", [&] {
      AXUIElementRef e = nullptr;
      answer = ax.copyElementAtPosition(systemWide, 400, 400, &e);
    });
    if (input) s.at(1.3, [&s] { s.input().wheel(0, -1, std::nullopt); });
    s.runUntil(5);
    EXPECT_EQ(answer, kAXErrorCannotComplete);
    EXPECT_EQ(q.tapIsEnabled(port), !input) << input;
    EXPECT_EQ(tap.notices, input ? 1 : 0);
    EXPECT_TRUE(tap.heard.empty()) << "the held thread's tap heard the event";
    std::vector<vsession::TraceLine> delivered =
        vsession::linesOfKind(s.trace().lines(), "deliver");
    if (input) {
      ASSERT_EQ(delivered.size(), 1u);
      EXPECT_NEAR(delivered[0]["t"].get<double>(), 2.3, 1e-6)
          << "the input did not wait its second";
    }
    ax.release(systemWide);
    port::setPlatform(nullptr);
  }
}

}  // namespace
