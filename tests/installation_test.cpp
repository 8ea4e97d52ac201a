// Installation at start-up and on the pane's request: the login item on both kinds of
// system, the clean-up of earlier generations, the helper's job, the path check, and the
// pane's messages that lead to them.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "VAinstall.h"
#include "agent_session.h"
#include "platform/virtual/plist_codec.h"
#include "platform/virtual/system_services.h"

namespace {

using namespace port;
using testing_support::AgentSession;

constexpr const char* kPaneAgent =
    "/Library/PreferencePanes/Varsel.prefPane/Contents/Resources/Varsel Agent.app";
constexpr const char* kUserPaneAgent =
    "/Users/user/Library/PreferencePanes/Varsel.prefPane/Contents/Resources/Varsel Agent.app";

// A bundle folder with its version, in the session's file system.
void makeBundle(AgentSession& agent, const std::string& path, const std::string& version) {
  std::filesystem::path real = agent.session().files().real(path) / "Contents";
  std::filesystem::create_directories(real);
  PlistDict info;
  info["CFBundleShortVersionString"] = PlistValue(version);
  vsession::writeWholeFile(real / "Info.plist", vsession::writeBinaryPlist(PlistValue(info)));
}

std::vector<std::string> jobCommands(AgentSession& agent) {
  std::vector<std::string> commands;
  for (const auto& l : agent.linesOfKind("job")) {
    if (l["op"] == "submit") commands.push_back(l["args"][1]);
  }
  return commands;
}

// From macOS 13, where the file list is gone, the agent registers or unregisters itself as
// the application's login item and leaves other items alone.
TEST(LoginItemTest, AppleScriptBefore1013MatchesTheNameTheFileListAfterMatchesItsStart) {
  const std::vector<std::string> kItems = {"Varsel", "Varsel X", "Mail"};
  const struct {
    port::SystemVersion system;
    std::vector<std::string> before;
    bool on;
    std::vector<std::string> after;
  } cases[] = {
      {{10, 12, 6}, kItems, true, {"Varsel X", "Mail", "Varsel"}},
      {{10, 13, 0}, kItems, true, {"Mail", "Varsel"}},
      {{10, 13, 0}, kItems, false, {"Mail"}},
      {{13, 0, 0}, {"Varsel X", "Mail"}, true, {"Varsel X", "Mail", "Varsel"}},
      {{14, 2, 0}, kItems, false, {"Varsel X", "Mail"}},
  };
  for (const auto& c : cases) {
    vsession::SessionConfig config = testing_support::twoWindowConfig();
    config.systemVersion = c.system;
    config.loginItems = c.before;
    AgentSession agent(config, false);
    install_setOpenAtLogin(c.on);
    EXPECT_EQ(agent.session().installation().loginItemNames(), c.after) << c.system.minor;
    // System Events would ask the user to allow it, on every start.
    if (c.system.major >= 13) {
      EXPECT_EQ(agent.session().installation().scriptsRun(), 0);
    }
  }
}

TEST(PreviousVersionTest, OnlyAnInstalledPaneWithSomethingOldCleansUp) {
  const struct {
    const char* name;
    const char* agentPath;
    bool quarantined;
    std::vector<std::pair<std::string, std::string>> bundles;  // path, version
    std::vector<std::string> jobs;
    std::vector<std::string> left;  // of the bundles, what is still there
  } cases[] = {
      {"in /Applications",
       "/Applications/Varsel.app",
       false,
       {{"/Users/user/Library/PreferencePanes/Varsel X.prefPane", "3.9"}},
       {},
       {"/Users/user/Library/PreferencePanes/Varsel X.prefPane"}},
      {"a user pane, nothing old", kUserPaneAgent, false, {}, {}, {}},
      {"a user pane: older panes go, newer stay",
       kUserPaneAgent,
       false,
       {{"/Users/user/Library/PreferencePanes/Varsel X.prefPane", "3.9"},
        {"/Users/user/Library/PreferencePanes/Varsel Old.prefPane", "4.2"},
        {"/Users/user/Library/PreferencePanes/Varsel Beta.prefPane", "4.3"}},
       {},
       {"/Users/user/Library/PreferencePanes/Varsel Beta.prefPane"}},
      {"a fresh download in the system panes",
       kPaneAgent,
       true,
       {{"/Users/user/Library/PreferencePanes/Varsel Beta.prefPane", "4.3"}},
       {"-r"},
       {}},
      {"an upgrade over the system's Varsel X",
       kPaneAgent,
       false,
       {{"/Library/PreferencePanes/Varsel X.prefPane", "3.9"}},
       {"-r"},
       {"/Library/PreferencePanes/Varsel X.prefPane"}},
  };
  for (const auto& c : cases) {
    vsession::SessionConfig config = testing_support::twoWindowConfig();
    config.agentBundlePath = c.agentPath;
    config.agentVersion = "4.2";
    config.loginItems = {"Varsel X", "Quenby Reminder", "Mail"};
    AgentSession agent(config, false);
    std::string agentPath = c.agentPath;
    size_t pane = agentPath.find(".prefPane");
    if (pane != std::string::npos) makeBundle(agent, agentPath.substr(0, pane + 9), "4.2");
    for (const auto& [path, version] : c.bundles) makeBundle(agent, path, version);
    if (c.quarantined)
      agent.session().files().markQuarantined("/Library/PreferencePanes/Varsel.prefPane");
    agent.startAgent();
    agent.runUntil(0.5);
    EXPECT_EQ(jobCommands(agent), c.jobs) << c.name;
    std::vector<std::string> left;
    for (const auto& [path, _] : c.bundles) {
      if (agent.session().files().fileExists(path)) left.push_back(path);
    }
    EXPECT_EQ(left, c.left) << c.name;
    // A removal took the old login items with it; the agent's own is there in any case.
    std::vector<std::string> items = agent.session().installation().loginItemNames();
    bool removed = !c.jobs.empty();
    EXPECT_EQ(std::count(items.begin(), items.end(), "Quenby Reminder"), removed ? 0 : 1) << c.name;
    EXPECT_EQ(items.back(), std::filesystem::path(c.agentPath).stem().string()) << c.name;
  }
}

// The earlier generation's agent, still running, is asked to quit on its own port.
TEST(PreviousVersionTest, AnOlderAgentStillRunningIsAskedToQuit) {
  vsession::SessionConfig config = testing_support::twoWindowConfig();
  AgentSession agent(config, false);
  agent.session().messagePorts().claim("com.tarnwick.varselbg501", 390);
  install_removePrevVersions();
  const auto& requests = agent.session().messagePorts().peerRequests();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].name, "com.tarnwick.varselbg501");
  EXPECT_EQ(requests[0].msgid, 8);
  EXPECT_EQ(requests[0].sendTimeout, 5.0);
  auto notices = agent.linesOfKind("notice");
  ASSERT_EQ(notices.size(), 1u);
  EXPECT_EQ(notices[0]["name"], "com.tarnwick.varselx_k");
}

TEST(HelperTest, RefusedAuthorizationIsLoggedAndSubmitsNothing) {
  vsession::SessionConfig config = testing_support::twoWindowConfig();
  config.authorizationRefused = true;
  AgentSession agent(config);
  agent.runUntil(0.5);
  install_addToAccessibility();
  EXPECT_TRUE(agent.linesOfKind("job").empty());
  const auto& log = agent.session().logLines();
  EXPECT_NE(
      std::find(log.begin(), log.end(), "Failed to create AuthorizationRef, return code -60006"),
      log.end());
  EXPECT_EQ(agent.session().installation().authorizationsAlive(), 0);
}

// From macOS 13 job submission is refused: the helper is registered as a daemon by its
// property list, once, with no authorization asked.
TEST(HelperTest, FromMacOS13TheHelperIsRegisteredAsADaemon) {
  vsession::SessionConfig config = testing_support::twoWindowConfig();
  config.systemVersion = {13, 4, 0};
  config.authorizationRefused = true;
  AgentSession agent(config);
  agent.runUntil(0.5);
  install_addToAccessibility();
  install_addToAccessibility();
  std::vector<std::string> ops;
  for (const auto& l : agent.linesOfKind("job")) {
    EXPECT_EQ(l["label"], "com.tarnwick.v4s");
    ops.push_back(l["op"]);
  }
  EXPECT_EQ(ops, (std::vector<std::string>{"register"}));
  EXPECT_TRUE(agent.session().logLines().empty());
}

// The pane's messages: 8 checks the version and the path, 9 asks the helper for
// accessibility and relaunches; other numbers are not this agent's.
TEST(PaneMessageTest, VersionCheckAccessibilityRelaunchAndTheRestIgnored) {
  const struct {
    const char* name;
    const char* agentPath;
    PlistDict message;
    bool terminated;
    bool keepsLoginItem;
  } messages[] = {
      {"8, same version",
       "/Applications/Varsel.app",
       {{"m", PlistValue(int64_t{8})}, {"s", PlistValue(std::string("4.2"))}},
       false,
       true},
      {"8, another version",
       "/Applications/Varsel.app",
       {{"m", PlistValue(int64_t{8})}, {"s", PlistValue(std::string("4.3"))}},
       true,
       false},
      {"8, no version", "/Applications/Varsel.app", {{"m", PlistValue(int64_t{8})}}, true, false},
      {"8 on the desktop",
       "/Users/user/Desktop/Varsel.app",
       {{"m", PlistValue(int64_t{8})}, {"s", PlistValue(std::string("4.2"))}},
       true,
       true},
      {"8 translocated",
       "/private/var/folders/x/AppTranslocation/1/d/Varsel.app",
       {{"m", PlistValue(int64_t{8})}, {"s", PlistValue(std::string("4.2"))}},
       false,
       true},
      {"9", "/Applications/Varsel.app", {{"m", PlistValue(int64_t{9})}}, true, true},
      {"4", "/Applications/Varsel.app", {{"m", PlistValue(int64_t{4})}}, false, true},
      {"12", "/Applications/Varsel.app", {{"m", PlistValue(int64_t{12})}}, false, true},
      {"m a string",
       "/Applications/Varsel.app",
       {{"m", PlistValue(std::string("8"))}},
       false,
       true},
      {"no m", "/Applications/Varsel.app", {}, false, true},
  };
  for (const auto& m : messages) {
    vsession::SessionConfig config = testing_support::twoWindowConfig();
    config.agentBundlePath = m.agentPath;
    AgentSession agent(config);
    agent.runUntil(0.5);
    agent.session().paneSend(m.message);
    agent.runUntil(1);
    EXPECT_EQ(agent.session().terminated(), m.terminated) << m.name;
    auto items = agent.session().installation().loginItemNames();
    EXPECT_EQ(!items.empty() && items.back() == "Varsel", m.keepsLoginItem) << m.name;
  }
  // 9 ran the helper for accessibility and started the launcher.
  vsession::SessionConfig config = testing_support::twoWindowConfig();
  AgentSession agent(config);
  agent.runUntil(0.5);
  agent.session().paneSend({{"m", PlistValue(int64_t{9})}});
  agent.runUntil(1);
  EXPECT_EQ(jobCommands(agent), std::vector<std::string>{"-a"});
  EXPECT_EQ(
      agent.session().workspace().launched(),
      std::vector<std::string>{"/Applications/Varsel.app/Contents/MacOS/Varsel Launcher.app"});
}

}  // namespace
