#include "VAinstall.h"

#include <cstdio>
#include <string_view>
#include <vector>

#include "Commonprefs.h"
#include "bgprefs.h"
#include "platform/api/platform.h"
#include "tarnwickCkUpdate.h"

using namespace port;

namespace {
VAinstallStatics s;

constexpr const char* kHelperName = "com.tarnwick.v4s";
constexpr const char* kHelperReply = "com.tarnwick.vxs";
constexpr const char* kBlessRight = "com.apple.ServiceManagement.blesshelper";
constexpr const char* kOldHelperPath = "/Library/PrivilegedHelperTools/com.tarnwick.VarselHelper";
constexpr const char* kOldHelperLabel = "com.tarnwick.VarselHelper";
constexpr const char* kOldAgentQuit = "com.tarnwick.varselx_k";
constexpr int32_t kOldAgentQuitRequest = 8;
constexpr double kOldAgentSendTimeout = 5.0;
constexpr uint32_t kHighSierra = 0x101300;  // login items through the shared file list
// From macOS 13 the shared file list of login items is gone and job submission refused:
// SMAppService registers the agent as a login item and the helper as a daemon, whose
// property list comes with the helper in the bundle's Contents/Library/LaunchDaemons.
constexpr uint32_t kVentura = 0x130000;
constexpr const char* kHelperPlist = "com.tarnwick.v4s.plist";
constexpr const char* kSystemPanes = "/Library/PreferencePanes/";

constexpr const char* kAddLoginItemScript =
    "tell application \"System Events\"\n\tmake new login item at end with properties "
    "{path:\"%@\", hidden:false}\nend tell\n";
constexpr const char* kRemoveLoginItemScript =
    "\ttell application \"System Events\"\nrepeat 2 times\n\t    if login item named \"%@\" "
    "exists then\n\t\tdelete login item named \"%@\"\n\t    end if\n\tend repeat\nend tell\n";

void log(std::string_view message) {
  platform().systemLog->log(message);
}

// Every "%@" of `format` replaced by `value`.
std::string formatted(std::string_view format, const std::string& value) {
  std::string out;
  for (size_t i = 0; i < format.size(); ++i) {
    if (format.substr(i, 2) == "%@") {
      out += value;
      ++i;
    } else {
      out += format[i];
    }
  }
  return out;
}

std::string home() {
  return platform().files->homeDirectory();
}

// "~/..." as a path in the user's home.
std::string expanded(std::string_view path) {
  if (path.starts_with("~")) return home() + std::string(path.substr(1));
  return std::string(path);
}

bool startsWith(std::string_view text, std::string_view prefix) {
  return text.starts_with(prefix);
}

std::string joined(const std::string& folder, const std::string& name) {
  return folder.ends_with("/") ? folder + name : folder + "/" + name;
}

// Whether the running agent lies inside `path`.
bool containsAgent(const std::string& path) {
  std::string agent = platform().application->bundlePath();
  return agent == path || agent.starts_with(path + "/");
}

// The .prefPane folder the agent lies in.
std::string paneFolderOfAgent() {
  std::string path = platform().application->bundlePath();
  size_t at = path.find(".prefPane");
  return at == std::string::npos ? path : path.substr(0, at + 9);
}

void removeFromLoginItemsByFileList(const std::string& name) {
  Installation& installation = *platform().installation;
  for (;;) {
    std::vector<LoginItem> items = installation.loginItemsSnapshot();
    const LoginItem* found = nullptr;
    for (auto it = items.rbegin(); it != items.rend() && !found; ++it) {
      if (startsWith(it->displayName, name)) found = &*it;
    }
    // An item that cannot be removed would be found again for good.
    if (!found || !installation.loginItemsRemove(found->id)) return;
  }
}
}  // namespace

VAinstallStatics& VAinstall_statics() {
  return s;
}

void VAinstall_reset() {
  s = VAinstallStatics{};
}

void VAinstall::start() {
  if (s.started) return;
  s.started = true;
  // At once: the faceless agent is never active, when the system would hold it back.
  platform().notifications->addObserver(
      nullptr, kHelperReply, [](void*, std::string_view, const PlistDict& info) { vxsReply(info); },
      NotificationSuspensionBehavior::kDeliverImmediately);
  std::string executable = platform().application->executablePath();
  size_t slash = executable.rfind('/');
  s.sVxsPath =
      (slash == std::string::npos ? std::string() : executable.substr(0, slash + 1)) + kHelperName;
}

// The helper answers "i" (accessibility) and "n" (removal); nothing follows either.
void VAinstall::vxsReply(const PlistDict& userInfo) {
  const std::string* result = stringEntry(userInfo, "r");
  if (!result || *result != "y") return;
  const std::string* command = stringEntry(userInfo, "c");
  if (command && (*command == "i" || *command == "n")) return;
}

// The helper's daemon takes its arguments from its own property list: the command cannot be
// given at registration. Registered once: the user allows it in Login Items, where the agent
// sends the user while that is pending; registering it again would ask anew.
bool registerHelperDaemon(std::string* error) {
  Installation& installation = *platform().installation;
  switch (installation.appServiceStatus(AppService::kDaemon, kHelperPlist)) {
    case AppServiceStatus::kEnabled:
      return true;
    case AppServiceStatus::kRequiresApproval:
      installation.openSystemSettingsLoginItems();
      return true;
    default:
      return installation.appServiceRegister(AppService::kDaemon, kHelperPlist, error);
  }
}

// The agent as the application's own login item, registered or unregistered only when that
// changes something. Older items of the product are left to the removal of earlier
// versions: asking System Events each time would ask the user to allow it.
void setMainAppLoginItem(bool on) {
  Installation& installation = *platform().installation;
  AppServiceStatus status = installation.appServiceStatus(AppService::kMainApp, "");
  bool registered =
      status == AppServiceStatus::kEnabled || status == AppServiceStatus::kRequiresApproval;
  if (on == registered) return;
  std::string error;
  bool done = on ? installation.appServiceRegister(AppService::kMainApp, "", &error)
                 : installation.appServiceUnregister(AppService::kMainApp, "", &error);
  if (!done && !error.empty()) log(error);
}

bool runBlessedHelper_cmd_parm_error(const std::string& cmd, const std::string& parm,
                                     std::string* error) {
  if (sysvers() >= kVentura) return registerHelperDaemon(error);
  Installation& installation = *platform().installation;
  AuthorizationRef authorization = nullptr;
  int32_t status = installation.authorizationCreate(kBlessRight, &authorization);
  if (status != errAuthorizationSuccess) {
    char message[96];
    std::snprintf(message, sizeof message, "Failed to create AuthorizationRef, return code %i",
                  static_cast<int>(status));
    log(message);
    return false;
  }
  // Each removal waits for the job to end: a job of the same label submitted while the old
  // one still runs would be refused.
  constexpr bool kWaitForTheJobToEnd = true;
  if (platform().files->fileExists(kOldHelperPath)) {
    installation.jobRemove(kOldHelperLabel, authorization, kWaitForTheJobToEnd, nullptr);
  }
  installation.jobRemove(kHelperName, authorization, kWaitForTheJobToEnd, nullptr);

  PlistArray arguments{PlistValue(s.sVxsPath), PlistValue(cmd), PlistValue(parm)};
  PlistDict job;
  job["Label"] = PlistValue(std::string(kHelperName));
  job["ProgramArguments"] = PlistValue(std::move(arguments));
  job["RunAtLoad"] = PlistValue(true);
  job["Program"] = PlistValue(s.sVxsPath);
  bool submitted = installation.jobSubmit(job, authorization, error);
  installation.authorizationFree(authorization);
  return submitted;
}

void install_addToAccessibility() {
  std::string error;
  // A refused authorization was logged already and left no error to describe.
  if (!runBlessedHelper_cmd_parm_error("-a", "", &error) && !error.empty()) log(error);
}

void install_removePrevVersions() {
  for (const char* name : {"Varsel X", "Varsel", "Quenby Reminder"}) {
    removeLoginItemNamed_forSysVers(name, sysvers());
  }
  platform().notifications->postNotification(kOldAgentQuit, PlistDict{}, true);

  // The previous generation's agent, asked to quit on its own port.
  if (s.oldAgentPortName.empty()) {
    s.oldAgentPortName = "com.tarnwick.varselbg" + std::to_string(platform().application->userId());
  }
  MessagePorts& ports = *platform().messagePorts;
  if (CFMessagePortRef old = ports.createRemote(s.oldAgentPortName)) {
    ports.sendRequest(old, kOldAgentQuitRequest, {}, kOldAgentSendTimeout, 0, nullptr);
    ports.invalidate(old);
    ports.release(old);
  }

  std::string error;
  if (!runBlessedHelper_cmd_parm_error("-r", "", &error) && !error.empty()) log(error);
}

void install_setOpenAtLogin(bool on) {
  if (sysvers() >= kVentura) {
    setMainAppLoginItem(on);
    return;
  }
  removeLoginItemNamed_forSysVers("Varsel", sysvers());
  if (!on) return;
  std::string path = platform().application->bundlePath();
  if (sysvers() < kHighSierra) {
    runAppleScriptString(formatted(kAddLoginItemScript, path));
  } else {
    platform().installation->loginItemsInsertAtEnd(path);
  }
}

// Another application's login item has no service-management call from macOS 13: System
// Events removes it there, as before 10.13.
void removeLoginItemNamed_forSysVers(const std::string& name, uint32_t vers) {
  if (vers < kHighSierra || vers >= kVentura) {
    runAppleScriptString(formatted(kRemoveLoginItemScript, name));
  } else {
    removeFromLoginItemsByFileList(name);
  }
}

std::string runAppleScriptString(const std::string& source) {
  std::optional<std::string> error;
  std::optional<std::string> result = platform().installation->runAppleScript(source, &error);
  if (error) log("Error: " + (error->empty() ? std::string("unknown") : *error) + "\n");
  return result.value_or("");
}

void checkNeedToRemovePrevVersion() {
  Files& files = *platform().files;
  std::string path = platform().application->bundlePath();
  if (path.find("PreferencePanes") == std::string::npos) return;
  bool inSystemPanes = startsWith(path, kSystemPanes);
  std::string userPanes = expanded("~/Library/PreferencePanes/");

  bool freshDownload =
      inSystemPanes && sysvers() >= kYosemite && files.hasQuarantineProperties(paneFolderOfAgent());
  if (!freshDownload) {
    bool anythingOld = false;
    for (const char* old : {"/Library/PreferencePanes/Varsel X.prefPane",
                            "~/Library/PreferencePanes/Varsel X.prefPane",
                            "~/Library/Safari/Extensions/Varsel.safariextz", kOldHelperPath}) {
      anythingOld = anythingOld || files.fileExists(expanded(old));
    }
    if (!anythingOld) return;

    // The user's own panes of the product: older or equal ones go, newer ones stay.
    for (const std::string& name : files.contentsOfDirectory(userPanes)) {
      std::string entry = joined(userPanes, name);
      if (!startsWith(name, "Varsel") || containsAgent(entry)) continue;
      std::string version = platform().application->bundleShortVersionString(entry).value_or("");
      if (compareToSelfVersion(version) != -1) files.removeItem(entry);
    }
    bool otherSystemPane = false;
    for (const std::string& name : files.contentsOfDirectory(kSystemPanes)) {
      if (startsWith(name, "Varsel") && !containsAgent(joined(kSystemPanes, name))) {
        otherSystemPane = true;
      }
    }
    if (!otherSystemPane) return;
  }

  install_removePrevVersions();
  files.removeItem(expanded("~/Library/PreferencePanes/Varsel X.prefPane"));
  if (inSystemPanes) {
    // The system-wide pane now takes precedence over any of the user's.
    for (const std::string& name : files.contentsOfDirectory(userPanes)) {
      if (startsWith(name, "Varsel")) files.removeItem(joined(userPanes, name));
    }
  }
  files.removeItem(expanded("~/Library/Safari/Extensions/Varsel.safariextz"));
}

void bgAppDelegate_validatePath() {
  std::string path = platform().application->bundlePath();
  if (startsWith(path, "/Applications") || path.find("ranslocat") != std::string::npos) return;
  platform().application->terminate();
}
