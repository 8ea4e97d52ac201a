// Installation services: Authorization Services and Service Management for the helper job,
// the session login items (LSSharedFileList), SMAppService, which takes their place from
// macOS 13, and NSAppleScript.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "preferences.h"

namespace port {

struct AuthorizationData;
using AuthorizationRef = AuthorizationData*;
inline constexpr int32_t errAuthorizationSuccess = 0;

struct LoginItem {
  uint64_t id = 0;  // stands for the LSSharedFileListItemRef
  std::string displayName;
};

// SMAppService's kinds of service: the application itself as a login item
// (+mainAppService), or a launch daemon whose property list the bundle carries in
// Contents/Library/LaunchDaemons (+daemonServiceWithPlistName:).
enum class AppService { kMainApp, kDaemon };
// SMAppServiceStatus.
enum class AppServiceStatus : int {
  kNotRegistered = 0,
  kEnabled = 1,
  kRequiresApproval = 2,  // registered; the user has yet to allow it in Login Items
  kNotFound = 3,
};

class Installation {
 public:
  virtual ~Installation() = default;
  // AuthorizationCreate asking for one right, with interaction allowed, extended rights and
  // pre-authorisation; the status, and the authorization on success.
  virtual int32_t authorizationCreate(const std::string& right, AuthorizationRef* out) = 0;
  virtual void authorizationFree(AuthorizationRef authorization) = 0;
  // SMJobRemove and SMJobSubmit in the system launchd domain; false with the error's
  // description on failure. A removal that waits returns once the job has ended.
  virtual bool jobRemove(const std::string& label, AuthorizationRef authorization, bool wait,
                         std::string* error) = 0;
  virtual bool jobSubmit(const PlistDict& job, AuthorizationRef authorization,
                         std::string* error) = 0;
  // The session login items: a snapshot in order, an item for a file URL inserted last, an
  // item removed.
  virtual std::vector<LoginItem> loginItemsSnapshot() = 0;
  virtual bool loginItemsInsertAtEnd(const std::string& path) = 0;
  virtual bool loginItemsRemove(uint64_t id) = 0;
  // SMAppService (macOS 13 and later): -registerAndReturnError: and
  // -unregisterAndReturnError: of the service (`plistName` names a daemon's); false with the
  // error's description on failure.
  virtual bool appServiceRegister(AppService service, const std::string& plistName,
                                  std::string* error) = 0;
  virtual bool appServiceUnregister(AppService service, const std::string& plistName,
                                    std::string* error) = 0;
  virtual AppServiceStatus appServiceStatus(AppService service, const std::string& plistName) = 0;
  // +[SMAppService openSystemSettingsLoginItems]: where the user allows a registered service.
  virtual void openSystemSettingsLoginItems() = 0;
  // NSAppleScript: compile and run; the result's string value, or the error's description
  // (empty when the error has none) in `error`.
  virtual std::optional<std::string> runAppleScript(const std::string& source,
                                                    std::optional<std::string>* error) = 0;
};

}  // namespace port
