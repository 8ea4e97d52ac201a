// The update check: version numbers and their comparison, when checks happen, and what the
// user sees for each answer of a real HTTP server on the loopback interface.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Commonprefs.h"
#include "agent_session.h"
#include "platform/virtual/plist_codec.h"
#include "platform/virtual/web_server.h"
#include "tarnwickCkUpdate.h"

namespace {

using namespace port;
using testing_support::AgentSession;

TEST(VersionNumberTest, PartsPreReleaseBuildAndWhatCountsAsAnUpdate) {
  const struct {
    const char* text;
    std::vector<uint32_t> parts;
    bool preRelease;
  } parsed[] = {
      {"4.2.1", {4, 2, 1, 0}, false},   {"4.3b2", {4, 3, 0, 2}, true},
      {"4.3d7x9", {4, 3, 0, 79}, true}, {"1.2.3.4.5", {1, 2, 3, 4}, false},
      {"a.b.c", {0, 0, 0, 0}, true},    {"", {0, 0, 0, 0}, false},
  };
  for (const auto& p : parsed) {
    uint32_t parts[4] = {};
    EXPECT_EQ(parseVersNum(p.text, parts), p.preRelease) << p.text;
    EXPECT_EQ(std::vector<uint32_t>(parts, parts + 4), p.parts) << p.text;
  }

  const struct {
    const char* own;
    const char* listed;
    bool update;
  } pairs[] = {
      {"4.2", "4.2", false},     {"4.2", "4.10", true},   {"4.10", "4.2", false},
      {"4.3b2", "4.3", true},    {"4.3", "4.4b1", false}, {"4.3b2", "4.3b3", true},
      {"4.3b3", "4.3b2", false}, {"4.3b2", "4.2", false}, {"4.3b2", "4.4", true},
      {"4.2", "", false},        {"4.2", "a.b.c", false}, {"4.2", "99999999.1", true},
      {"4.100", "4.99", true},  // a part above 99 orders by its text: accepted
  };
  for (const auto& p : pairs) {
    EXPECT_EQ(isUpdateAvailable(p.own, p.listed), p.update) << p.own << " / " << p.listed;
  }
}

vsession::WebAnswer serving(std::string body) {
  vsession::WebAnswer a;
  a.body = std::move(body);
  return a;
}

std::string versionList(const char* version) {
  PlistDict list;
  list["version"] = PlistValue(std::string(version));
  list["infoURL"] = PlistValue(std::string("https://tarnwick.example/info"));
  return vsession::writeXmlPlist(PlistValue(list));
}

// A session whose bundle sends the version list's address to `path` on `server`.
vsession::SessionConfig configFor(const vsession::LoopbackWebServer& server,
                                  const std::string& path) {
  vsession::SessionConfig config = testing_support::twoWindowConfig();
  config.strings[kVersionListURL] = server.baseURL() + path;
  config.fetchRealTimeLimit = 0.3;
  return config;
}

TEST(UpdateScheduleTest, ChecksComeAnIntervalAfterTheLastAndNeverWithIntervalZero) {
  vsession::LoopbackWebServer server({{"v", serving(versionList("4.2"))}});
  const double day = 86400;
  const struct {
    const char* name;
    std::optional<double> lastCheckAgo;  // absent: the first start
    int intervalDays;
    int fetches;
  } cases[] = {
      {"first start", std::nullopt, 1, 0},
      {"a day and more ago", day + 1, 1, 1},
      {"within the interval", day - 60, 1, 0},
      {"interval 0", 30 * day, 0, 0},
  };
  for (const auto& c : cases) {
    AgentSession agent(configFor(server, "v"), false);
    double start = agent.session().absolute(0);
    if (c.lastCheckAgo)
      saveToPrefs_key_doubleValue("lastVersionCheckDate", start - *c.lastCheckAgo);
    saveToPrefs_key_intValue("updateCheckIntervalDays", c.intervalDays);
    agent.startAgent();
    agent.runUntil(1.9);
    EXPECT_EQ(agent.session().updateFetch().fetches(), 0) << c.name;
    agent.runUntil(3);
    EXPECT_EQ(agent.session().updateFetch().fetches(), c.fetches) << c.name;
    // The first start only records the date; a successful fetch records it again.
    double expected = !c.lastCheckAgo ? start : c.fetches ? start + 2 : start - *c.lastCheckAgo;
    EXPECT_DOUBLE_EQ(lastVersionCheckDate(), expected) << c.name;
  }
  AgentSession agent(testing_support::twoWindowConfig(), false);
  EXPECT_EQ(lastUpdateCheckDateAsString(), "last check: never");
  saveToPrefs_key_doubleValue("lastVersionCheckDate", 815302800);  // 2026-11-02 09:00 GMT
  EXPECT_EQ(lastUpdateCheckDateAsString(), "last check: Nov 2, 2026 at 9:00 AM");
}

// A check the user asked for always ends in the dialog, whatever the server did.
TEST(UpdateCheckTest, EveryAnswerOfTheServerEndsInItsDialog) {
  vsession::WebAnswer hang = serving(versionList("4.3"));
  hang.delaySeconds = 0.6;  // past the fetch's limit of 0.3 s
  vsession::WebAnswer early = serving(versionList("4.3"));
  early.closeEarly = true;
  vsession::WebAnswer missing;
  missing.status = 404;
  vsession::LoopbackWebServer server({
      {"newer", serving(versionList("4.3"))},
      {"same", serving(versionList("4.2"))},
      {"noVersion", serving("<plist><dict><key>infoURL</key><string>x</string></dict></plist>")},
      {"notAList", serving("version=4.3")},
      {"huge", serving(std::string(10u << 20, 'x'))},
      {"missing", missing},
      {"hangs", hang},
      {"closesEarly", early},
  });
  const std::string kSorry = "Sorry, could not check for Varsel updates.";
  const struct {
    const char* path;
    std::string title;
    bool dateWritten;
  } answers[] = {
      {"newer", "A new version of Varsel is available.", true},
      {"same", "Varsel is up to date.", true},
      {"noVersion", "Varsel is up to date.", true},
      {"notAList", kSorry, false},
      {"huge", kSorry, false},
      {"missing", kSorry, false},
      {"hangs", kSorry, false},
      {"closesEarly", kSorry, false},
  };
  for (const auto& a : answers) {
    AgentSession agent(configFor(server, a.path));
    agent.runUntil(1);
    double before = lastVersionCheckDate();
    checkForUpdatesAndNotifyIfLatest(true);
    agent.runUntil(2);
    const auto& dialog = agent.session().userNotifications().dialog();
    ASSERT_TRUE(dialog.has_value()) << a.path;
    EXPECT_EQ(dialog->title, a.title) << a.path;
    EXPECT_EQ(lastVersionCheckDate() != before, a.dateWritten) << a.path;
    EXPECT_EQ(agent.session().userNotifications().notificationsShown(), 0u) << a.path;
  }
}

// An automatic check tells of an update by a notification; its click shows the dialog, and
// "More Info" opens the page, once however fast it is pressed again.
TEST(UpdateCheckTest, NotificationLeadsToTheDialogAndMoreInfoOpensThePageOnce) {
  vsession::LoopbackWebServer server({{"v", serving(versionList("4.3"))}});
  AgentSession agent(configFor(server, "v"));
  auto& center = agent.session().userNotifications();
  agent.runUntil(1);
  checkForUpdatesAndNotifyIfLatest(false);
  agent.runUntil(2);
  ASSERT_EQ(center.notificationsShown(), 1u);
  auto notify = agent.linesOfKind("notify");
  ASSERT_EQ(notify.size(), 1u);
  EXPECT_EQ(notify[0]["text"], "Varsel 4.3 is available from tarnwick.example.");
  EXPECT_FALSE(center.dialog().has_value());

  ASSERT_TRUE(center.clickNotification());
  agent.runUntil(2.5);
  EXPECT_EQ(center.notificationsShown(), 0u);
  ASSERT_TRUE(center.dialog().has_value());
  EXPECT_EQ(center.dialog()->secondButton, "Cancel");
  ASSERT_TRUE(center.pressDialogButton("More Info"));
  agent.runUntil(2.6);
  EXPECT_FALSE(center.dialog().has_value());
  // Shown again and pressed within the second: the page is not opened twice.
  PlistDict list;
  list["version"] = PlistValue(std::string("4.3"));
  list["infoURL"] = PlistValue(std::string("https://tarnwick.example/info"));
  doCkUpdateDialog(&list);
  center.pressDialogButton("More Info");
  agent.runUntil(3.7);
  doCkUpdateDialog(&list);
  center.pressDialogButton("Cancel");
  agent.runUntil(4);
  auto opened = agent.linesOfKind("open");
  ASSERT_EQ(opened.size(), 1u);
  EXPECT_EQ(opened[0]["url"], "https://tarnwick.example/info");
}

}  // namespace
