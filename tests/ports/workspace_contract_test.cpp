// Running applications, process information and the agent's own application: the agent
// names the application under the cursor by its process and reads its own bundle's texts.
#include "contract.h"

namespace {

using namespace port;

constexpr int32_t kNoSuchPid = 0x7ffffff0;

class WorkspaceContract : public contract::PortContract {};

TEST_F(WorkspaceContract, RunningApplicationsAnswerByPidAndAnUnknownPidByNothing) {
  Workspace& ws = *ports().workspace;
  std::vector<RunningApplication> apps = ws.runningApplications();
  ASSERT_FALSE(apps.empty());
  for (const RunningApplication& app : apps) {
    EXPECT_GT(app.pid, 0);
    std::optional<RunningApplication> again = ws.runningApplicationWithProcessIdentifier(app.pid);
    ASSERT_TRUE(again) << app.pid;
    EXPECT_EQ(again->bundleIdentifier, app.bundleIdentifier) << app.pid;
  }
  int32_t front = ws.frontProcessPid();
  if (front != 0) {
    EXPECT_TRUE(std::any_of(apps.begin(), apps.end(), [front](const RunningApplication& a) {
      return a.pid == front;
    })) << "the front process is not a running application";
    EXPECT_TRUE(ws.processInformation(front));
  }
  EXPECT_FALSE(ws.runningApplicationWithProcessIdentifier(kNoSuchPid));
  EXPECT_FALSE(ws.processInformation(kNoSuchPid));
  EXPECT_FALSE(ws.terminateApplication(kNoSuchPid));
}

class ApplicationContract : public contract::PortContract {};

TEST_F(ApplicationContract, ABundlesTextFallsBackToTheValueThenTheKey) {
  Application& app = *ports().application;
  EXPECT_GT(app.processIdentifier(), 0);
  std::string bundle = app.bundlePath();
  EXPECT_FALSE(bundle.empty());
  EXPECT_EQ(app.localizedString(bundle, "varsel.contract.no-such-key", "Fallback"), "Fallback");
  EXPECT_EQ(app.localizedString(bundle, "varsel.contract.no-such-key", ""),
            "varsel.contract.no-such-key");
  EXPECT_FALSE(app.bundleShortVersionString("/nonexistent/Varsel Contract.app"));
  EXPECT_FALSE(app.bundlePathWithIdentifier("com.tarnwick.varsel.contract.no-such-bundle"));
  EXPECT_FALSE(app.mediumDateShortTime(ports().clock->absoluteTimeGetCurrent()).empty());
}

}  // namespace
