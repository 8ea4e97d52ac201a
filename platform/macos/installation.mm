// Installation services: Authorization Services and Service Management for the helper job,
// the session login items (LSSharedFileList), SMAppService from macOS 13, and NSAppleScript.
#import <Foundation/Foundation.h>

#include <Carbon/Carbon.h>
#include <Security/Authorization.h>
#include <ServiceManagement/ServiceManagement.h>

#include "bridge.h"
#include "platform/api/installation.h"
#include "ports.h"

namespace macos {
namespace {

::AuthorizationRef cf(port::AuthorizationRef authorization) {
  return reinterpret_cast<::AuthorizationRef>(authorization);
}

void describe(CFErrorRef failure, std::string* error) {
  if (failure == nullptr) return;
  if (error != nullptr) {
    CFStringRef description = CFErrorCopyDescription(failure);
    *error = toString((NSString*)description);
    if (description != nullptr) CFRelease(description);
  }
  CFRelease(failure);
}

// The session's login items list, made for each use and released after it.
class LoginItemsList {
 public:
  LoginItemsList()
      : list_(LSSharedFileListCreate(kCFAllocatorDefault, kLSSharedFileListSessionLoginItems,
                                     nullptr)) {}
  ~LoginItemsList() {
    if (list_ != nullptr) CFRelease(list_);
  }
  LoginItemsList(const LoginItemsList&) = delete;
  LoginItemsList& operator=(const LoginItemsList&) = delete;
  LSSharedFileListRef get() const { return list_; }
  // The items in order now, autoreleased; empty when the list cannot be read.
  NSArray* snapshot() const {
    if (list_ == nullptr) return [NSArray array];
    UInt32 seed = 0;
    CFArrayRef items = LSSharedFileListCopySnapshot(list_, &seed);
    return items != nullptr ? [(NSArray*)items autorelease] : [NSArray array];
  }

 private:
  LSSharedFileListRef list_;
};

// The service of that kind, autoreleased.
SMAppService* appService(port::AppService service, const std::string& plistName)
    API_AVAILABLE(macos(13.0)) {
  if (service == port::AppService::kMainApp) return [SMAppService mainAppService];
  return [SMAppService daemonServiceWithPlistName:toNSString(plistName)];
}

// -registerAndReturnError: or -unregisterAndReturnError:; false with the error's description.
bool changeAppService(port::AppService service, const std::string& plistName, bool registering,
                      std::string* error) {
  if (@available(macOS 13.0, *)) {
    SMAppService* target = appService(service, plistName);
    NSError* failure = nil;
    if (registering ? [target registerAndReturnError:&failure]
                    : [target unregisterAndReturnError:&failure])
      return true;
    if (error != nullptr) *error = toString([failure localizedDescription]);
    return false;
  }
  if (error != nullptr) *error = "SMAppService needs macOS 13";
  return false;
}

// The login items calls are deprecated from 10.11; the agent uses them from 10.13 on, as
// earlier systems use AppleScript instead.
class Installation final : public port::Installation {
 public:
  int32_t authorizationCreate(const std::string& right, port::AuthorizationRef* out) override {
    AuthorizationItem item = {right.c_str(), 0, nullptr, 0};
    AuthorizationRights rights = {1, &item};
    AuthorizationFlags flags = kAuthorizationFlagInteractionAllowed |
                               kAuthorizationFlagExtendRights | kAuthorizationFlagPreAuthorize;
    ::AuthorizationRef authorization = nullptr;
    OSStatus status =
        AuthorizationCreate(&rights, kAuthorizationEmptyEnvironment, flags, &authorization);
    *out = status == errAuthorizationSuccess
               ? reinterpret_cast<port::AuthorizationRef>(
                     const_cast<AuthorizationOpaqueRef*>(authorization))
               : nullptr;
    return status;
  }
  void authorizationFree(port::AuthorizationRef authorization) override {
    AuthorizationFree(cf(authorization), kAuthorizationFlagDefaults);
  }
  bool jobRemove(const std::string& label, port::AuthorizationRef authorization, bool wait,
                 std::string* error) override {
    CFErrorRef failure = nullptr;
    bool removed = SMJobRemove(kSMDomainSystemLaunchd, (CFStringRef)toNSString(label),
                               cf(authorization), wait, &failure);
    describe(failure, error);
    return removed;
  }
  bool jobSubmit(const port::PlistDict& job, port::AuthorizationRef authorization,
                 std::string* error) override {
    CFErrorRef failure = nullptr;
    bool submitted = SMJobSubmit(kSMDomainSystemLaunchd, (CFDictionaryRef)toNSDictionary(job),
                                 cf(authorization), &failure);
    describe(failure, error);
    return submitted;
  }

  std::vector<port::LoginItem> loginItemsSnapshot() override {
    std::vector<port::LoginItem> items;
    for (id entry in LoginItemsList().snapshot()) {
      auto item = (LSSharedFileListItemRef)entry;
      CFStringRef name = LSSharedFileListItemCopyDisplayName(item);
      items.push_back({LSSharedFileListItemGetID(item), toString((NSString*)name)});
      if (name != nullptr) CFRelease(name);
    }
    return items;
  }
  bool loginItemsInsertAtEnd(const std::string& path) override {
    LoginItemsList list;
    if (list.get() == nullptr) return false;
    LSSharedFileListItemRef item = LSSharedFileListInsertItemURL(
        list.get(), kLSSharedFileListItemLast, nullptr, nullptr,
        (CFURLRef)[NSURL fileURLWithPath:toNSString(path)], nullptr, nullptr);
    if (item == nullptr) return false;
    CFRelease(item);
    return true;
  }
  // Items are known by the ID the list gives them; the item is looked up again in a fresh
  // snapshot.
  bool loginItemsRemove(uint64_t itemId) override {
    LoginItemsList list;
    for (id entry in list.snapshot()) {
      auto item = (LSSharedFileListItemRef)entry;
      if (LSSharedFileListItemGetID(item) == itemId)
        return LSSharedFileListItemRemove(list.get(), item) == noErr;
    }
    return false;
  }

  bool appServiceRegister(port::AppService service, const std::string& plistName,
                          std::string* error) override {
    return changeAppService(service, plistName, true, error);
  }
  bool appServiceUnregister(port::AppService service, const std::string& plistName,
                            std::string* error) override {
    return changeAppService(service, plistName, false, error);
  }

  port::AppServiceStatus appServiceStatus(port::AppService service,
                                          const std::string& plistName) override {
    if (@available(macOS 13.0, *)) {
      return static_cast<port::AppServiceStatus>([appService(service, plistName) status]);
    }
    return port::AppServiceStatus::kNotFound;
  }
  void openSystemSettingsLoginItems() override {
    if (@available(macOS 13.0, *)) [SMAppService openSystemSettingsLoginItems];
  }

  std::optional<std::string> runAppleScript(const std::string& source,
                                            std::optional<std::string>* error) override {
    NSAppleScript* script = [[NSAppleScript alloc] initWithSource:toNSString(source)];
    NSDictionary* errorInfo = nil;
    NSAppleEventDescriptor* result = [script executeAndReturnError:&errorInfo];
    std::optional<std::string> value;
    if (result != nil) {
      value = toString([result stringValue]);
    } else if (error != nullptr) {
      *error = toString([errorInfo objectForKey:NSAppleScriptErrorMessage]);
    }
    [script release];
    return value;
  }
};

}  // namespace

port::Installation& installation() {
  static Installation instance;
  return instance;
}

}  // namespace macos
