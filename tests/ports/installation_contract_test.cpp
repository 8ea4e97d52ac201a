// Installation services, asked only what changes nothing: the login items and the service
// status answer, and a script that does not compile gives no result and says why. (Taking
// an administrator's authorization or registering a service would change the machine.)
#include "contract.h"

namespace {

using namespace port;

class InstallationContract : public contract::PortContract {};

TEST_F(InstallationContract, TheLoginItemsAndServiceStatusAnswer) {
  Installation& install = *ports().installation;
  for (const LoginItem& item : install.loginItemsSnapshot()) EXPECT_NE(item.id, 0u);
  for (AppService service : {AppService::kMainApp, AppService::kDaemon}) {
    int status =
        static_cast<int>(install.appServiceStatus(service, "com.tarnwick.varsel.contract.plist"));
    EXPECT_GE(status, 0);
    EXPECT_LE(status, 3);
  }
}

TEST_F(InstallationContract, AScriptThatDoesNotCompileGivesNoResultAndItsError) {
  std::optional<std::string> error;
  std::optional<std::string> result =
      ports().installation->runAppleScript("tell application \"System Events\"\n((\n", &error);
  EXPECT_FALSE(result);
  EXPECT_TRUE(error) << "no error given";
}

}  // namespace
