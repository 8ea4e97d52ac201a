// Installation services: AuthorizationCreate with SMJobSubmit for the helper job, the
// reply notification of that job, login items (shared file list, AppleScript) and moving
// previous versions to the trash.
#pragma once

#include <string>
#include <vector>

namespace port {

class Installation {
 public:
  virtual ~Installation() = default;
  virtual bool submitJob(const std::string& label, const std::string& programPath,
                         const std::vector<std::string>& arguments) = 0;
  virtual bool removeJob(const std::string& label) = 0;
  virtual std::vector<std::string> loginItemPaths() = 0;
  virtual bool addLoginItem(const std::string& path) = 0;
  virtual bool removeLoginItem(const std::string& path) = 0;
  virtual bool runAppleScript(const std::string& source) = 0;
  virtual bool recycle(const std::string& path) = 0;  // -[NSWorkspace recycleURLs:]
};

}  // namespace port
