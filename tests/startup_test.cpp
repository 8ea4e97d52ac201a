// Start-up: one agent per user, the accessibility permission as it comes and goes, the
// pane's messages in both directions.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Commonprefs.h"
#include "VAstate.h"
#include "agent_session.h"
#include "tools/varsel-sim/runner.h"

namespace {

using namespace port;
using testing_support::AgentSession;
using testing_support::twoWindowConfig;
using Strings = std::vector<std::string>;

// The two windows, the pane open or not and the permission as given.
vsession::SessionConfig configWith(bool pane, bool trusted = true) {
  vsession::SessionConfig config = twoWindowConfig();
  config.paneRunning = pane;
  config.accessibilityTrusted = trusted;
  return config;
}

TEST(SingleInstanceTest, AnotherCopyIsEndedAndGivenTwoSecondsThenTheAgentsPortMarksThisOne) {
  vsession::SessionConfig config = twoWindowConfig();
  vsession::VirtualApp& older = config.apps.emplace_back();
  older.pid = 450;
  older.bundleIdentifier = "com.tarnwick.varsel4b";
  AgentSession agent(config, false);
  agent.startAgent();
  agent.runUntil(3);
  auto ended = agent.linesOfKind("terminate");
  ASSERT_EQ(ended.size(), 1u);
  EXPECT_EQ(ended[0]["pid"], 450);  // the other copy, not the agent itself
  EXPECT_EQ(ended[0]["t"], 0.0);
  EXPECT_EQ(agent.paneMessages(), Strings{"tlno@2"});
  EXPECT_FALSE(agent.session().terminationRequested());
  EXPECT_NE(VAtapMgr_statics().sTap, nullptr);
  // The port is named for the user, 501.
  EXPECT_NE(agent.session().messagePorts().createRemote("com.tarnwick.v4b501"), nullptr);
  EXPECT_EQ(agent.session().messagePorts().createRemote("com.tarnwick.v4b502"), nullptr);
}

TEST(SingleInstanceTest, AnAgentAlreadyAnsweringOnTheUsersPortMakesTheNewOneQuit) {
  AgentSession agent(twoWindowConfig(), false);
  agent.session().messagePorts().claim("com.tarnwick.v4b501", 777);
  agent.startAgent();
  agent.runUntil(5);
  EXPECT_TRUE(agent.session().terminated());
  EXPECT_TRUE(agent.paneMessages().empty());
  EXPECT_EQ(VAtapMgr_statics().sTap, nullptr);
  EXPECT_EQ(agent.session().accessibility().calls(), 0u);
}

// With the pane closed only the notice of a copy run from where it was downloaded goes out.
TEST(PermissionTest, MissingAtLaunchTheAgentAsksEverySecondTapsNothingThenStartsOnceGranted) {
  for (bool pane : {true, false}) {
    vsession::SessionConfig config = configWith(pane, false);
    config.accessibilityGrantedAt = 3.5;
    if (!pane) config.agentBundlePath = "/private/var/folders/xy/AppTranslocation/1/d/V.app";
    AgentSession agent(config);
    agent.runUntil(1.4);
    size_t timersAfterOneRetry = agent.session().threading().liveTimers();
    agent.runUntil(3.4);
    EXPECT_EQ(VAtapMgr_statics().sTap, nullptr) << "pane: " << pane;
    // Each retry lets go of the timer that fired it, so waiting holds no more timers.
    EXPECT_EQ(agent.session().threading().liveTimers(), timersAfterOneRetry) << "pane: " << pane;
    agent.runUntil(4.5);
    EXPECT_NE(VAtapMgr_statics().sTap, nullptr) << "pane: " << pane;
    // The retry that finds the permission finishes start-up; its first pass reports it.
    EXPECT_EQ(agent.paneMessages(),
              (pane ? Strings{"AXd@0", "AXd@1", "AXd@2", "AXd@3", "ton@4", "tlno@4", "AXe@4"}
                    : Strings{"tloc@4"}))
        << "pane: " << pane;
  }
}

TEST(PermissionTest, RevokedMidRunTheAgentTurnsHoverOffAndTellsThePaneAndBackWhenRegranted) {
  AgentSession agent(configWith(true));
  vsession::VirtualSession& s = agent.session();
  EXPECT_FALSE(state_AXdisabled());
  EXPECT_TRUE(prefs_hoverOn());
  s.at(2, [&s] { s.accessibility().setTrusted(false); });
  s.at(3, [&s] { s.input().moveTo({500, 450}); });  // a move wakes the resting timer
  agent.runUntil(4);
  EXPECT_TRUE(state_AXdisabled());
  EXPECT_FALSE(prefs_hoverOn());
  // With hover off and one settings record for all, nothing needs the mouse: passes come
  // every 10 s and a move does not wake the timer, so the permission is seen again at 13.8.
  s.at(6, [&s] { s.accessibility().setTrusted(true); });
  s.at(7, [&s] { s.input().moveTo({300, 450}); });
  agent.runUntil(14);
  EXPECT_FALSE(state_AXdisabled());
  EXPECT_TRUE(prefs_hoverOn());
  // The change is told at once; the periodic report, due too, repeats it.
  EXPECT_EQ(agent.paneMessages(),
            (Strings{"ton@0", "tlno@0", "AXe@0", "AXd@3.1", "AXe@13.8", "AXe@13.8"}));
}

TEST(PermissionTest, ThePaneHearsTheCurrentAnswerAgainAfterTenSeconds) {
  AgentSession agent(configWith(true));
  vsession::VirtualSession& s = agent.session();
  for (double t : {4.0, 9.0, 12.0}) s.at(t, [&s, t] { s.input().moveTo({300 + 10 * t, 450}); });
  agent.runUntil(14);
  // Full passes at 0, 4.1, 5.5 (at rest), 9.1, 10.5, 12.1 and 13.5: the first more than
  // 10 s after the last report repeats it, and the next ones are too close again.
  EXPECT_EQ(agent.paneMessages(), (Strings{"ton@0", "tlno@0", "AXe@0", "AXe@10.5"}));
}

// Before 10.10 accessibility was one switch for all: start-up does not wait for it, and
// the run timer finds it off and says so.
TEST(PermissionTest, BeforeYosemiteStartUpDoesNotWaitForThePermission) {
  vsession::SessionConfig config = configWith(true, false);
  config.systemVersion = {10, 9, 5};
  AgentSession agent(config);
  agent.runUntil(3);
  EXPECT_NE(VAtapMgr_statics().sTap, nullptr);
  EXPECT_TRUE(state_AXdisabled());
  EXPECT_EQ(agent.paneMessages(), (Strings{"ton@0", "tlno@0", "AXd@0", "AXd@0"}));
}

TEST(PaneMessagesTest, RereadsSettingsQuitsAndInterceptsKeysOnRequestAndIgnoresTheRest) {
  AgentSession agent(configWith(true));
  vsession::VirtualSession& s = agent.session();
  EXPECT_EQ(prefs_bgprefs()->wheel.wheelReverseY, 0);
  sim::ScenarioPrefs changed;
  changed.all["wheelReverseY"] = PlistValue(1);
  sim::writeScenarioPrefs(changed, s);
  s.at(1.5, [&s] { s.paneSend({{"m", PlistValue(3)}}); });
  s.at(2, [&s] { s.paneSend({{"m", PlistValue(10.0)}}); });  // any number type will do
  agent.runUntil(2.5);
  EXPECT_EQ(prefs_bgprefs()->wheel.wheelReverseY, 1);
  // The reread is followed by a pass, which takes the new settings to the event thread.
  EXPECT_EQ(bgDelegate_statics().lastRun, s.absolute(1.5));
  EXPECT_TRUE(state_interceptNextKeypress());
  s.at(3, [&s] { s.paneSend({{"m", PlistValue(11)}}); });
  for (int m : {4, 5, 12}) s.at(3.5, [&s, m] { s.paneSend({{"m", PlistValue(m)}}); });
  agent.runUntil(4);
  EXPECT_FALSE(state_interceptNextKeypress());
  EXPECT_FALSE(s.terminationRequested());
  s.at(5, [&s] { s.paneSend({{"m", PlistValue(7)}}); });
  agent.runUntil(6);
  EXPECT_TRUE(s.terminated());
}

}  // namespace
