// URL commands: which texts are commands, and commands opened through the system driving
// the agent end to end.
#include <gtest/gtest.h>

#include <string>

#include "VAevent.h"
#include "VAgrab.h"
#include "VAstate.h"
#include "agent_session.h"

namespace {

using testing_support::AgentSession;

TEST(UrlCommandTest, OnlyTheExactSchemeAndAWholeCommandInAnyCaseCount) {
  const struct {
    std::string url;
    int vaEvent;
  } urls[] = {
      {"varsel://stop", 12},
      {"varsel://STOP", 12},
      {"varsel://Stop", 12},
      {"varsel://autoscroll", 13},
      {"varsel://AutoScrollUp", 14},
      {"varsel://grabscroll", 15},
      {"varsel://vectorscroll", 16},
      {"varsel://uponce", 17},
      {"varsel://downonce", 18},
      {"varsel://leftonce", 19},
      {"varsel://RIGHTONCE", 20},
      {"VARSEL://stop", 0},  // the scheme is compared as it stands
      {"Varsel://stop", 0},
      {"varsel://stop/", 0},  // the command is the whole rest
      {"varsel://stop?now=1", 0},
      {" varsel://stop", 0},
      {"varsel:/stop", 0},
      {"varsel://", 0},
      {"varsel", 0},
      {"", 0},
      {std::string("varsel://stop\0", 14), 0},
      {"varsel://st\xC3\xB6p", 0},
      {"varsel://\xFF\xFE", 0},
      {"varsel://" + std::string(100000, 's'), 0},
  };
  for (const auto& u : urls) {
    EXPECT_EQ(urlCommand_vaEvent(u.url), u.vaEvent) << u.url.substr(0, 40);
  }
}

TEST(UrlCommandTest, CommandsOpenedBySomeoneElseDriveTheAgent) {
  AgentSession agent(testing_support::readerPageConfig());
  agent.runUntil(1);
  auto open = [&agent](const char* url) {
    EXPECT_TRUE(agent.session().urlEvents().open(url));
    agent.runUntil(agent.session().elapsed() + 1);
  };
  auto offset = [&agent] {
    auto scrolls = agent.linesOfKind("scroll");
    return scrolls.empty() ? 2000 : scrolls.back()["y"].get<double>();
  };

  agent.input().moveTo({410, 400});  // the grab starts where the mouse last moved
  open("varsel://grabscroll");
  EXPECT_TRUE(state_doingGrab() && state_doingGrabWurl());
  // Autoscroll ends the grab before it starts, then scrolls the page down.
  open("varsel://autoscroll");
  EXPECT_FALSE(state_doingGrab() || state_doingGrabWurl());
  EXPECT_TRUE(state_doingAutoScroll());
  EXPECT_GT(offset(), 2000);
  open("varsel://stop");
  EXPECT_FALSE(state_doingAutoScroll());

  double before = offset();
  open("varsel://uponce");
  EXPECT_LT(offset(), before);
  before = offset();
  open("varsel://Stop?now");  // not a command: nothing happens
  open("varsel://vectorscroll");
  EXPECT_TRUE(state_doingVector() && state_doingVectorWurl());
  open("VARSEL://STOP");
  EXPECT_TRUE(state_doingVector());
  open("varsel://STOP");
  EXPECT_FALSE(state_doingVector() || state_doingVectorWurl());
}

}  // namespace
