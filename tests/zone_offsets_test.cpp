// Saved zone offsets: the file per application, its version rule, files that are not
// offsets at all, and the folder that cannot be made.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Commonprefs_offsets.h"
#include "VAhover.h"
#include "agent_session.h"
#include "platform/virtual/keyed_archive.h"

namespace {

namespace fs = std::filesystem;
using namespace port;
using testing_support::AgentSession;

const fs::path kTestData = fs::path(VARSEL_SOURCE_DIR) / ".." / "shared" / "testdata";

class ZoneOffsetsTest : public ::testing::Test {
 protected:
  ZoneOffsetsTest() { agent.runUntil(0.5); }
  fs::path folder() { return agent.session().home() / "Library/Preferences/com.tarnwick.varsel4"; }
  // The same folder as the agent names it.
  static constexpr const char* kAgentFolder =
      "/Users/user/Library/Preferences/com.tarnwick.varsel4";
  void writeFile(const std::string& bid, const PlistData& bytes) {
    fs::create_directories(folder());
    std::ofstream(folder() / bid, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  }
  PlistData offsets(PlistDict d) { return vsession::archive(PlistValue(std::move(d))); }

  AgentSession agent;
};

// Version 1 only; with it, a missing value keeps what was there before the read.
TEST_F(ZoneOffsetsTest, OnlyAVersionOneFileIsReadAndItsMissingValuesStayAsTheyWere) {
  const struct {
    const char* name;
    PlistDict file;
    bool read;
    int32_t up, down;
  } cases[] = {
      {"both", {{"v", 1}, {"u", 12}, {"d", -7}}, true, 12, -7},
      {"up only", {{"v", 1}, {"u", 12}}, true, 12, 99},
      {"version 2", {{"v", 2}, {"u", 10}, {"d", 5}}, false, 99, 99},
      {"no version", {{"u", 10}, {"d", 5}}, false, 99, 99},
  };
  for (const auto& c : cases) {
    writeFile("com.example.reader", offsets(c.file));
    int32_t up = 99, down = 99;
    EXPECT_EQ(get_up_downOfstPtr_forBid(&up, &down, "com.example.reader"), c.read) << c.name;
    EXPECT_EQ(up, c.up) << c.name;
    EXPECT_EQ(down, c.down) << c.name;
  }
}

// Files that are not keyed archives of offsets, broken archives from outside among them,
// give no offsets and a line saying which file could not be read.
TEST_F(ZoneOffsetsTest, AnUnreadableFileGivesNoOffsetsAndIsNamedInTheLog) {
  for (const char* name : {"circular_archive.plist", "invalid_uid_archive.plist",
                           "no_root_archive.plist", "simpleArray.plist"}) {
    std::ifstream in(kTestData / "keyed-archives" / name, std::ios::binary);
    writeFile("com.example.reader",
              PlistData(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()));
    int32_t up = 0, down = 0;
    EXPECT_FALSE(get_up_downOfstPtr_forBid(&up, &down, "com.example.reader")) << name;
  }
  const auto& log = agent.session().logLines();
  EXPECT_NE(
      std::find(log.begin(), log.end(),
                "Could not read file at " + std::string(kAgentFolder) + "/com.example.reader"),
      log.end());
}

// A drag saves the pair for the application; the next change of zones loads it into the
// bars and the hover engine. An application without a bundle identifier keeps nothing.
TEST_F(ZoneOffsetsTest, SavedOffsetsComeBackWithTheNextChangeOfZones) {
  prefs_saveUpOfst_downOfst_pid(40, -15, 501);
  EXPECT_TRUE(fs::exists(folder() / "com.example.reader"));
  Bars bars;
  bars.changeCount = 3;
  prefs_switchToOfstsForBars_pid(&bars, 501);
  EXPECT_EQ(bars.upOfst, 40);
  EXPECT_EQ(bars.downOfst, -15);
  EXPECT_EQ(VAhover_statics().sUpOfst, 40);
  // The same zones again: nothing is read, even when the file changed meanwhile.
  writeFile("com.example.reader", offsets({{"v", 1}, {"u", 1}, {"d", 1}}));
  prefs_switchToOfstsForBars_pid(&bars, 501);
  EXPECT_EQ(bars.upOfst, 40);
  // Another application: no file, no offsets.
  bars.changeCount = 4;
  prefs_switchToOfstsForBars_pid(&bars, 502);
  EXPECT_EQ(bars.upOfst, 0);
  EXPECT_EQ(VAhover_statics().sDownOfst, 0);
  EXPECT_FALSE(save_up_downOfst_forBid(1, 2, "../escape"));
}

// Where the folder should be, a plain file: making it fails, logged and shown once per try.
TEST_F(ZoneOffsetsTest, AFolderThatCannotBeMadeIsLoggedAndShown) {
  writeFile("x", {});
  fs::remove_all(folder());
  std::ofstream(folder()) << "not a folder";
  EXPECT_FALSE(save_up_downOfst_forBid(1, 2, "com.example.reader"));
  auto dialogs = agent.linesOfKind("dialog");
  ASSERT_FALSE(dialogs.empty());
  EXPECT_EQ(dialogs.front()["title"], "Could not create directory:");
  EXPECT_EQ(dialogs.front()["text"], kAgentFolder);
  const std::string& line = agent.session().logLines().back();
  EXPECT_TRUE(
      line.starts_with("Could not create directory " + std::string(kAgentFolder) + ", error "))
      << line;
}

// The alert holds the main thread in its own mode, which does not serve the keyboard tap
// (it is served in the default mode there): a key pressed meanwhile keeps the window server
// waiting its second, then passes unshaped with that tap disabled until the notice is handled.
TEST_F(ZoneOffsetsTest, AKeyPressedUnderTheAlertWaitsASecondForTheKeyboardTap) {
  writeFile("x", {});
  fs::remove_all(folder());
  std::ofstream(folder()) << "not a folder";
  double pressedAt = agent.session().elapsed() + 0.5;
  agent.at(pressedAt, [this] { agent.input().key(0, true); });
  agent.at(pressedAt + 0.05, [this] { agent.input().key(0, false); });
  EXPECT_FALSE(save_up_downOfst_forBid(1, 2, "com.example.reader"));
  std::vector<double> keyDowns;
  for (const auto& line : agent.linesOfKind("deliver")) {
    if (line["type"] == kCGEventKeyDown) keyDowns.push_back(line["t"]);
  }
  ASSERT_EQ(keyDowns.size(), 1u);
  EXPECT_NEAR(keyDowns[0], pressedAt + vsession::EventSystem::kTapTimeout, 0.011);
  agent.runUntil(agent.session().elapsed() + 0.1);
  for (const port::MachPort* tap : agent.events().taps()) EXPECT_TRUE(tap->enabled);
}

}  // namespace
