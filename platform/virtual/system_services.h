// The virtual session's preferences, keyed archiver, files, system facts and workspace. The
// preferences domain is a real binary property list under the session's home,
// Library/Preferences/<domain>.plist, as macOS keeps it.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "platform/api/preferences.h"
#include "platform/api/workspace.h"
#include "scheduler.h"
#include "trace.h"
#include "world.h"

namespace vsession {

class VirtualPreferences final : public port::Preferences {
 public:
  explicit VirtualPreferences(std::filesystem::path home) : home_(std::move(home)) {}

  std::filesystem::path domainFile(const std::string& domain) const {
    return home_ / "Library" / "Preferences" / (domain + ".plist");
  }

  std::optional<port::PlistValue> copyAppValue(const std::string& key,
                                               const std::string& domain) override;
  void setAppValue(const std::string& key, const std::optional<port::PlistValue>& value,
                   const std::string& domain) override;
  // Writes what was set to the file, then reads the file again, as other programs may have
  // written it.
  bool appSynchronize(const std::string& domain) override;
  std::vector<std::string> copyKeyList(const std::string& domain) override;
  // Told of every value set from now on (the agent's writes, once it runs).
  void setWriteObserver(
      std::function<void(const std::string& key, const std::optional<port::PlistValue>&)> o) {
    writeObserver_ = std::move(o);
  }

 private:
  std::function<void(const std::string&, const std::optional<port::PlistValue>&)> writeObserver_;
  struct Domain {
    bool loaded = false;
    bool dirty = false;
    port::PlistDict values;
  };
  Domain& load(const std::string& domain);

  std::filesystem::path home_;
  std::map<std::string, Domain> domains_;
};

class VirtualArchiver final : public port::KeyedArchiver, public port::PropertyListSerialization {
 public:
  std::optional<port::PlistValue> propertyListWithData(const port::PlistData& data) override;
  port::PlistData archivedDataWithRootObject(const port::PlistValue& root) override;
  std::optional<port::PlistValue> unarchiveObjectWithData(const port::PlistData& data) override;
};

// The file system as the agent sees it, with macOS paths: "/Users/user" is the session's home
// folder, and every other absolute path lies under the session's root folder, which stands
// for "/". Changes the agent makes are traced as `file` lines.
class VirtualFiles final : public port::Files {
 public:
  static constexpr const char* kHome = "/Users/user";
  VirtualFiles(std::filesystem::path root, std::filesystem::path home, Trace& trace,
               Scheduler& scheduler)
      : root_(std::move(root)), home_(std::move(home)), trace_(trace), scheduler_(scheduler) {}
  std::string homeDirectory() override { return kHome; }
  std::string libraryDirectory() override { return std::string(kHome) + "/Library"; }
  std::optional<std::string> findFolder(uint32_t folderType) override;
  bool fileExists(const std::string& path) override;
  bool isDirectory(const std::string& path) override;
  std::optional<std::vector<uint8_t>> readFile(const std::string& path) override;
  bool writeFileAtomically(const std::string& path, const std::vector<uint8_t>& bytes) override;
  bool createDirectory(const std::string& path, std::string* error) override;
  bool removeItem(const std::string& path) override;
  std::vector<std::string> contentsOfDirectory(const std::string& path) override;
  bool hasQuarantineProperties(const std::string& path) override;

  // Where a macOS path of the session lies on this machine.
  std::filesystem::path real(const std::string& path) const;
  void markQuarantined(const std::string& path) { quarantined_.insert(path); }

 private:
  void traceChange(const char* op, const std::string& path);

  std::filesystem::path root_;
  std::filesystem::path home_;
  Trace& trace_;
  Scheduler& scheduler_;
  std::set<std::string> quarantined_;
};

class VirtualSystemFacts final : public port::SystemFacts {
 public:
  VirtualSystemFacts(port::SystemVersion version, std::optional<double> wheelScaling)
      : version_(version), wheelScaling_(wheelScaling) {}
  port::SystemVersion systemVersion() override { return version_; }
  std::optional<double> scrollWheelScaling() override { return wheelScaling_; }

 private:
  port::SystemVersion version_;
  std::optional<double> wheelScaling_;
};

class VirtualWorkspace final : public port::Workspace {
 public:
  // The agent's own process is among the running applications.
  VirtualWorkspace(World& world, VirtualApp agent) : world_(world), agent_(std::move(agent)) {}
  std::vector<port::RunningApplication> runningApplications() override;
  std::optional<port::RunningApplication> runningApplicationWithProcessIdentifier(
      int32_t pid) override;
  std::optional<port::ProcessInformation> processInformation(int32_t pid) override;
  int32_t frontProcessPid() override { return world_.frontPid; }
  bool terminateApplication(int32_t pid) override;
  bool launchApplication(const std::string& path) override {
    launched_.push_back(path);
    return true;
  }
  const std::vector<std::string>& launched() const { return launched_; }
  void setTerminationObserver(std::function<void(int32_t pid)> observer) {
    terminated_ = std::move(observer);
  }

 private:
  World& world_;
  VirtualApp agent_;
  std::function<void(int32_t)> terminated_;
  std::vector<std::string> launched_;
};

// A whole file's bytes, or why they could not be read: the system's reason, or that the path
// names a folder or something else that is not a regular file, or a file larger than
// `largest` bytes.
struct FileContents {
  std::optional<std::vector<uint8_t>> bytes;
  std::string error;
};
inline constexpr size_t kLargestInputFile = 256u << 20;
FileContents readFileOrWhy(const std::filesystem::path& path, size_t largest = kLargestInputFile);
// Reads a whole file; nullopt when it cannot be read.
std::optional<std::vector<uint8_t>> readWholeFile(const std::filesystem::path& path);
bool writeWholeFile(const std::filesystem::path& path, const std::vector<uint8_t>& bytes);

}  // namespace vsession
