// What the agent makes of a preferences file: its global keys and, for each element of the
// per-application list, the identity and the settings record it fills.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace sim {

class PrefsFileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct PrefsReport {
  // {"global": {...}, "appList": [{"bid", "creator", "record": {field: value}}]}
  nlohmann::ordered_json json;
  // What the agent cannot use in the file, then what it logged while reading.
  std::vector<std::string> notes;
};

// Reads `path` the way the agent does at start-up, migration included, working on a copy.
// Throws PrefsFileError when the file cannot be used at all.
PrefsReport reportPrefsFile(const std::string& path);
std::string prefsReportText(const PrefsReport& report);

}  // namespace sim
