// What installing touches in the session: the login items (named, in order), launchd jobs
// of the system domain submitted and removed under an authorization the administrator may
// refuse, the two AppleScript texts the agent runs against the login items, and the
// privileged helper tool, a peer that runs its command and posts its reply. From macOS 13
// the shared file list of login items is gone and job submission refused; SMAppService
// registers the application as a login item and a daemon by its property list.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/api/installation.h"
#include "scheduler.h"
#include "trace.h"

namespace vsession {

class VirtualInstallation final : public port::Installation {
 public:
  using ReplyPoster = std::function<void(const port::PlistDict& reply)>;
  VirtualInstallation(Scheduler& scheduler, Trace& trace) : scheduler_(scheduler), trace_(trace) {}

  void setLoginItems(const std::vector<std::string>& names);
  void setAuthorizationRefused(bool refused) { refused_ = refused; }
  // macOS 13 or later, and the agent's bundle, which its main-app service stands for.
  void setAppServiceEra(bool appServiceEra, const std::string& agentBundlePath) {
    appServiceEra_ = appServiceEra;
    agentBundlePath_ = agentBundlePath;
  }
  // How the helper's reply reaches its observers; without one the helper never answers.
  void setHelperReplyPoster(ReplyPoster poster) { postReply_ = std::move(poster); }

  int32_t authorizationCreate(const std::string& right, port::AuthorizationRef* out) override;
  void authorizationFree(port::AuthorizationRef authorization) override;
  // A job ends as it is removed, so waiting for it takes no time.
  bool jobRemove(const std::string& label, port::AuthorizationRef authorization, bool wait,
                 std::string* error) override;
  bool jobSubmit(const port::PlistDict& job, port::AuthorizationRef authorization,
                 std::string* error) override;
  std::vector<port::LoginItem> loginItemsSnapshot() override;
  bool loginItemsInsertAtEnd(const std::string& path) override;
  bool loginItemsRemove(uint64_t id) override;
  bool appServiceRegister(port::AppService service, const std::string& plistName,
                          std::string* error) override;
  bool appServiceUnregister(port::AppService service, const std::string& plistName,
                            std::string* error) override;
  // Registered is allowed at once: the user's approval in Login Items is not modelled.
  port::AppServiceStatus appServiceStatus(port::AppService service,
                                          const std::string& plistName) override;
  void openSystemSettingsLoginItems() override {}
  std::optional<std::string> runAppleScript(const std::string& source,
                                            std::optional<std::string>* error) override;

  std::vector<std::string> loginItemNames() const;
  // AppleScript texts run, each one an Apple event to System Events that the user must allow.
  int scriptsRun() const { return scriptsRun_; }
  const std::map<std::string, std::vector<std::string>>& jobs() const { return jobs_; }
  int authorizationsAlive() const { return alive_; }

 private:
  void addItem(const std::string& name);
  // The login item SMAppService's main-app service stands for, by the agent's bundle name.
  std::vector<port::LoginItem>::iterator agentItem();
  void traceLoginItems();

  Scheduler& scheduler_;
  Trace& trace_;
  std::vector<port::LoginItem> items_;
  uint64_t nextItem_ = 1;
  bool refused_ = false;
  bool appServiceEra_ = false;
  int scriptsRun_ = 0;
  std::string agentBundlePath_;
  int alive_ = 0;
  std::map<std::string, std::vector<std::string>> jobs_;  // label → program arguments
  ReplyPoster postReply_;
};

}  // namespace vsession
