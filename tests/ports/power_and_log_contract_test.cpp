// The display-sleep assertion autoscrolling holds, and the system log. A message is logged as
// it stands: the agent logs texts that carry the user's strings, and a format read from them
// would crash it.
#include "contract.h"

namespace {

class PowerContract : public contract::PortContract {};

TEST_F(PowerContract, AssertionsAreTakenWithDistinctIdsAndReleased) {
  port::Power& power = *ports().power;
  port::IOPMAssertionID first = power.createNoDisplaySleepAssertion("Varsel contract test");
  port::IOPMAssertionID second = power.createNoDisplaySleepAssertion("Varsel contract test");
  EXPECT_NE(first, 0u);
  EXPECT_NE(second, 0u);
  EXPECT_NE(first, second);
  power.releaseAssertion(first);
  power.releaseAssertion(second);
  power.releaseAssertion(0);  // one never made
}

class SystemLogContract : public contract::PortContract {};

TEST_F(SystemLogContract, AMessageIsLoggedAsItStandsNeverReadAsAFormat) {
  ports().systemLog->log("Varsel contract: 100% %@ %s %n %d {} done");
  ports().systemLog->log("");
}

class PlatformContract : public contract::PortContract {};

TEST_F(PlatformContract, EveryPortTheAgentCallsIsPresent) {
  port::Platform& p = ports();
  EXPECT_EQ(&port::platform(), &p);
  const void* each[] = {
      p.clock,          p.runLoops,          p.dispatch,      p.threads,       p.quartz,
      p.cocoa,          p.accessibility,     p.windowServer,  p.workspace,     p.application,
      p.overlayWindows, p.preferences,       p.keyedArchiver, p.propertyLists, p.files,
      p.systemFacts,    p.notifications,     p.messagePorts,  p.urlEvents,     p.installation,
      p.updateFetch,    p.userNotifications, p.power,         p.systemLog};
  for (size_t i = 0; i < std::size(each); ++i) EXPECT_NE(each[i], nullptr) << "port " << i;
}

}  // namespace
