#include "installation_services.h"

#include <algorithm>
#include <memory>
#include <regex>

namespace vsession {

using namespace port;

namespace {
constexpr int32_t errAuthorizationCanceled = -60006;
constexpr const char* kHelperLabel = "com.tarnwick.v4s";

constexpr const char* kNoSuchJob = "The operation couldn’t be completed. (No such process)";

// A login item shows the application's name: its bundle's folder name without ".app".
std::string displayNameOf(const std::string& path) {
  std::string name = path.substr(path.find_last_of('/') + 1);
  if (name.ends_with(".app")) name.resize(name.size() - 4);
  return name;
}

// launchd knows a daemon by its property list's name without ".plist".
std::string daemonLabel(const std::string& plistName) {
  return plistName.ends_with(".plist") ? plistName.substr(0, plistName.size() - 6) : plistName;
}
}  // namespace

}  // namespace vsession

namespace port {
struct AuthorizationData {};
}  // namespace port

namespace vsession {

void VirtualInstallation::setLoginItems(const std::vector<std::string>& names) {
  items_.clear();
  for (const std::string& name : names) addItem(name);
}

void VirtualInstallation::addItem(const std::string& name) {
  items_.push_back({nextItem_++, name});
}

std::vector<std::string> VirtualInstallation::loginItemNames() const {
  std::vector<std::string> names;
  for (const LoginItem& item : items_) names.push_back(item.displayName);
  return names;
}

void VirtualInstallation::traceLoginItems() {
  trace_.add(scheduler_.now(), "login", {{"items", loginItemNames()}});
}

int32_t VirtualInstallation::authorizationCreate(const std::string&, AuthorizationRef* out) {
  if (refused_) return errAuthorizationCanceled;
  *out = new AuthorizationData;
  ++alive_;
  return errAuthorizationSuccess;
}

void VirtualInstallation::authorizationFree(AuthorizationRef authorization) {
  if (!authorization) return;
  delete authorization;
  --alive_;
}

bool VirtualInstallation::jobRemove(const std::string& label, AuthorizationRef authorization, bool,
                                    std::string* error) {
  auto found = jobs_.find(label);
  if (!authorization || found == jobs_.end()) {
    if (error) *error = kNoSuchJob;
    return false;
  }
  trace_.add(scheduler_.now(), "job",
             {{"op", "remove"}, {"label", label}, {"args", found->second}});
  jobs_.erase(found);
  return true;
}

bool VirtualInstallation::jobSubmit(const PlistDict& job, AuthorizationRef authorization,
                                    std::string* error) {
  if (appServiceEra_) {
    if (error) *error = "The operation couldn’t be completed. (Operation not permitted)";
    return false;
  }
  auto field = [&job](const char* key) -> const PlistValue* {
    auto found = job.find(key);
    return found == job.end() ? nullptr : &found->second;
  };
  const PlistValue* label = field("Label");
  if (!authorization || !label || !label->string()) {
    if (error) *error = "The operation couldn’t be completed. (Invalid argument)";
    return false;
  }
  std::vector<std::string> args;
  if (const PlistValue* arguments = field("ProgramArguments"); arguments && arguments->array()) {
    for (const PlistValue& a : *arguments->array()) args.push_back(a.string() ? *a.string() : "");
  }
  jobs_[*label->string()] = args;
  trace_.add(scheduler_.now(), "job",
             {{"op", "submit"}, {"label", *label->string()}, {"args", args}});
  // The helper runs at load and answers for its command: "n" for a removal, "i" for
  // accessibility.
  if (*label->string() == kHelperLabel && postReply_ && args.size() >= 2) {
    PlistDict reply;
    reply["c"] = PlistValue(std::string(args[1] == "-a" ? "i" : "n"));
    reply["r"] = PlistValue(std::string("y"));
    auto answer = std::make_shared<const std::pair<ReplyPoster, PlistDict>>(postReply_, reply);
    scheduler_.schedule(scheduler_.now(), Scheduler::kSystemLane, "helper",
                        [answer] { answer->first(answer->second); });
  }
  return true;
}

std::vector<LoginItem> VirtualInstallation::loginItemsSnapshot() {
  if (appServiceEra_) return {};
  return items_;
}

bool VirtualInstallation::loginItemsInsertAtEnd(const std::string& path) {
  if (appServiceEra_) return false;
  addItem(displayNameOf(path));
  traceLoginItems();
  return true;
}

bool VirtualInstallation::loginItemsRemove(uint64_t id) {
  auto found = std::find_if(items_.begin(), items_.end(),
                            [id](const LoginItem& item) { return item.id == id; });
  if (found == items_.end()) return false;
  items_.erase(found);
  traceLoginItems();
  return true;
}

std::vector<LoginItem>::iterator VirtualInstallation::agentItem() {
  std::string name = displayNameOf(agentBundlePath_);
  return std::find_if(items_.begin(), items_.end(),
                      [&name](const LoginItem& item) { return item.displayName == name; });
}

// The main application's service is its login item, shown by the bundle's name. A daemon's
// registration is traced as a job by its label.
bool VirtualInstallation::appServiceRegister(AppService service, const std::string& plistName,
                                             std::string* error) {
  if (!appServiceEra_) {
    if (error) *error = "SMAppService needs macOS 13";
    return false;
  }
  if (service == AppService::kMainApp) {
    if (agentItem() == items_.end()) {
      addItem(displayNameOf(agentBundlePath_));
      traceLoginItems();
    }
    return true;
  }
  std::string label = daemonLabel(plistName);
  jobs_[label] = {};
  trace_.add(scheduler_.now(), "job",
             {{"op", "register"}, {"label", label}, {"args", std::vector<std::string>{}}});
  return true;
}

bool VirtualInstallation::appServiceUnregister(AppService service, const std::string& plistName,
                                               std::string* error) {
  if (!appServiceEra_) {
    if (error) *error = "SMAppService needs macOS 13";
    return false;
  }
  std::string label = daemonLabel(plistName);
  auto item = agentItem();
  bool registered =
      service == AppService::kMainApp ? item != items_.end() : jobs_.count(label) != 0;
  if (!registered) {
    if (error) *error = kNoSuchJob;
    return false;
  }
  if (service == AppService::kMainApp) {
    items_.erase(item);
    traceLoginItems();
  } else {
    jobs_.erase(label);
    trace_.add(scheduler_.now(), "job",
               {{"op", "unregister"}, {"label", label}, {"args", std::vector<std::string>{}}});
  }
  return true;
}

AppServiceStatus VirtualInstallation::appServiceStatus(AppService service,
                                                       const std::string& plistName) {
  if (!appServiceEra_) return AppServiceStatus::kNotFound;
  bool registered = service == AppService::kMainApp ? agentItem() != items_.end()
                                                    : jobs_.count(daemonLabel(plistName)) != 0;
  return registered ? AppServiceStatus::kEnabled : AppServiceStatus::kNotRegistered;
}

// System Events understands the two scripts the agent runs; anything else fails to compile.
std::optional<std::string> VirtualInstallation::runAppleScript(const std::string& source,
                                                               std::optional<std::string>* error) {
  static const std::regex kAdd(
      "tell application \"System Events\"\n\tmake new login item at end with properties "
      "\\{path:\"(.*)\", hidden:false\\}\nend tell\n");
  static const std::regex kRemove(
      "\ttell application \"System Events\"\nrepeat 2 times\n\t    if login item named "
      "\"(.*)\" exists then\n\t\tdelete login item named \"(.*)\"\n\t    end if\n\tend "
      "repeat\nend tell\n");
  ++scriptsRun_;
  std::smatch m;
  if (std::regex_match(source, m, kAdd)) {
    addItem(displayNameOf(m[1]));
    traceLoginItems();
    return "login item " + displayNameOf(m[1]);
  }
  if (std::regex_match(source, m, kRemove) && m[1] == m[2]) {
    bool removed = false;
    for (int pass = 0; pass < 2; ++pass) {
      auto found = std::find_if(items_.begin(), items_.end(),
                                [&m](const LoginItem& item) { return item.displayName == m[1]; });
      if (found == items_.end()) break;
      items_.erase(found);
      removed = true;
    }
    if (removed) traceLoginItems();
    return "";
  }
  if (error) *error = "A identifier can’t go after this identifier.";
  return std::nullopt;
}

}  // namespace vsession
