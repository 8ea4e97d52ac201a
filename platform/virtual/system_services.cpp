#include "system_services.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <system_error>

#include "keyed_archive.h"
#include "plist_codec.h"

namespace vsession {

namespace fs = std::filesystem;
using namespace port;

FileContents readFileOrWhy(const fs::path& path, size_t largest) {
  if (path.empty()) return {std::nullopt, "the path is empty"};
  const std::string tooLarge = "it is larger than " + std::to_string(largest >> 20) + " MB";
  // Looked at before it is opened: opening a named pipe would wait for a writer forever.
  struct stat info;
  if (::stat(path.c_str(), &info) != 0) return {std::nullopt, std::strerror(errno)};
  if (S_ISDIR(info.st_mode)) return {std::nullopt, "it is a folder, not a file"};
  if (!S_ISREG(info.st_mode)) return {std::nullopt, "it is not a regular file"};
  if (static_cast<uint64_t>(info.st_size) > largest) return {std::nullopt, tooLarge};
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return {std::nullopt, std::strerror(errno)};
  FileContents read;
  std::vector<uint8_t> bytes;
  uint8_t buffer[65536];
  for (;;) {
    ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      read.error = std::strerror(errno);
      break;
    }
    if (n == 0) {
      read.bytes = std::move(bytes);
      break;
    }
    if (bytes.size() + static_cast<size_t>(n) > largest) {  // it grew since it was looked at
      read.error = tooLarge;
      break;
    }
    bytes.insert(bytes.end(), buffer, buffer + n);
  }
  ::close(fd);
  return read;
}

std::optional<std::vector<uint8_t>> readWholeFile(const fs::path& path) {
  return readFileOrWhy(path).bytes;
}

// Written beside the target and renamed over it, so a reader never sees half a file.
bool writeWholeFile(const fs::path& path, const std::vector<uint8_t>& bytes) {
  std::error_code error;
  fs::create_directories(path.parent_path(), error);
  fs::path partial = path;
  partial += ".partial";
  {
    std::ofstream out(partial, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
    if (!out) return false;
  }
  fs::rename(partial, path, error);
  return !error;
}

VirtualPreferences::Domain& VirtualPreferences::load(const std::string& domain) {
  Domain& d = domains_[domain];
  if (!d.loaded) {
    d.loaded = true;
    d.values.clear();
    // A file that is not a dictionary property list holds no values, as for cfprefsd.
    if (auto bytes = readWholeFile(domainFile(domain))) {
      PlistRead read = readPlist(*bytes);
      if (read.value && read.value->dict()) d.values = *read.value->dict();
    }
  }
  return d;
}

std::optional<PlistValue> VirtualPreferences::copyAppValue(const std::string& key,
                                                           const std::string& domain) {
  Domain& d = load(domain);
  auto found = d.values.find(key);
  if (found == d.values.end()) return std::nullopt;
  return found->second;
}

void VirtualPreferences::setAppValue(const std::string& key, const std::optional<PlistValue>& value,
                                     const std::string& domain) {
  Domain& d = load(domain);
  if (value) {
    d.values[key] = *value;
  } else {
    d.values.erase(key);
  }
  d.dirty = true;
  if (writeObserver_) writeObserver_(key, value);
}

bool VirtualPreferences::appSynchronize(const std::string& domain) {
  Domain& d = load(domain);
  bool written = true;
  if (d.dirty) {
    written = writeWholeFile(domainFile(domain), writeBinaryPlist(PlistValue(d.values)));
    d.dirty = false;
  }
  d.loaded = false;
  load(domain);
  return written;
}

std::vector<std::string> VirtualPreferences::copyKeyList(const std::string& domain) {
  std::vector<std::string> keys;
  for (const auto& [key, _] : load(domain).values) keys.push_back(key);
  return keys;
}

PlistData VirtualArchiver::archivedDataWithRootObject(const PlistValue& root) {
  return archive(root);
}

std::optional<PlistValue> VirtualArchiver::unarchiveObjectWithData(const PlistData& data) {
  return unarchive(data, ForeignClasses::kRefuse).value;
}

// A list over the session's size limit for property lists is refused, as a damaged one is.
std::optional<PlistValue> VirtualArchiver::propertyListWithData(const PlistData& data) {
  return readPlist(data).value;
}

fs::path VirtualFiles::real(const std::string& path) const {
  std::string_view home = kHome;
  if (path == home) return home_;
  if (path.starts_with(std::string(home) + "/")) return home_ / path.substr(home.size() + 1);
  if (path.starts_with("/")) return root_ / path.substr(1);
  return path;
}

void VirtualFiles::traceChange(const char* op, const std::string& path) {
  trace_.add(scheduler_.now(), "file", {{"op", op}, {"path", path}});
}

std::optional<std::string> VirtualFiles::findFolder(uint32_t folderType) {
  constexpr uint32_t kPreferencesFolder = 0x70726566;  // 'pref'
  if (folderType != kPreferencesFolder) return std::nullopt;
  std::string folder = libraryDirectory() + "/Preferences";
  std::error_code error;
  if (!fs::is_directory(real(folder), error)) return std::nullopt;
  return folder;
}

bool VirtualFiles::fileExists(const std::string& path) {
  std::error_code error;
  return fs::exists(real(path), error);
}

std::optional<std::vector<uint8_t>> VirtualFiles::readFile(const std::string& path) {
  return readWholeFile(real(path));
}

bool VirtualFiles::writeFileAtomically(const std::string& path, const std::vector<uint8_t>& bytes) {
  bool written = writeWholeFile(real(path), bytes);
  if (written) traceChange("write", path);
  return written;
}

bool VirtualFiles::isDirectory(const std::string& path) {
  std::error_code error;
  return fs::is_directory(real(path), error);
}

bool VirtualFiles::createDirectory(const std::string& path, std::string* error) {
  std::error_code failure;
  fs::path where = real(path);
  bool made = fs::create_directories(where, failure);
  if (!failure && fs::is_directory(where, failure)) {
    if (made) traceChange("mkdir", path);
    return true;
  }
  if (error) *error = failure ? failure.message() : "File exists";
  return false;
}

bool VirtualFiles::removeItem(const std::string& path) {
  std::error_code error;
  bool removed = fs::remove_all(real(path), error) > 0 && !error;
  if (removed) {
    traceChange("delete", path);
    quarantined_.erase(path);
  }
  return removed;
}

std::vector<std::string> VirtualFiles::contentsOfDirectory(const std::string& path) {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(real(path), error)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

bool VirtualFiles::hasQuarantineProperties(const std::string& path) {
  std::string trimmed = path.ends_with("/") ? path.substr(0, path.size() - 1) : path;
  return quarantined_.count(trimmed) != 0;
}

std::vector<RunningApplication> VirtualWorkspace::runningApplications() {
  std::vector<RunningApplication> apps;
  for (const VirtualApp& app : world_.apps) {
    apps.push_back({app.pid, app.bundleIdentifier, app.name, app.bundlePath, app.executablePath});
  }
  apps.push_back(
      {agent_.pid, agent_.bundleIdentifier, agent_.name, agent_.bundlePath, std::nullopt});
  return apps;
}

std::optional<RunningApplication> VirtualWorkspace::runningApplicationWithProcessIdentifier(
    int32_t pid) {
  for (RunningApplication& app : runningApplications()) {
    if (app.pid == pid) return std::move(app);
  }
  return std::nullopt;
}

std::optional<ProcessInformation> VirtualWorkspace::processInformation(int32_t pid) {
  const VirtualApp* app = world_.app(pid);
  if (!app) return std::nullopt;
  ProcessInformation info;
  if (!app->processName.empty()) info.name = app->processName;
  info.fileType = app->fileType;
  info.creator = app->creator;
  return info;
}

bool VirtualWorkspace::terminateApplication(int32_t pid) {
  auto app = std::find_if(world_.apps.begin(), world_.apps.end(),
                          [pid](const VirtualApp& a) { return a.pid == pid; });
  if (app == world_.apps.end()) return false;
  world_.apps.erase(app);
  std::erase_if(world_.windows, [pid](const VirtualWindow& w) { return w.pid == pid; });
  if (terminated_) terminated_(pid);
  return true;
}

}  // namespace vsession
