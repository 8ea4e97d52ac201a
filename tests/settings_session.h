// A virtual session whose preferences domain a test writes as the preference pane would,
// for reading the settings the way the agent does.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Commonprefs.h"
#include "VAstate.h"
#include "bgprefs.h"
#include "main.h"
#include "platform/virtual/keyed_archive.h"
#include "platform/virtual/session.h"

namespace testing_support {

using port::PlistArray;
using port::PlistDict;
using port::PlistValue;

inline PlistDict numbers(std::initializer_list<std::pair<const char*, int64_t>> entries) {
  PlistDict d;
  for (const auto& [key, value] : entries) d[key] = PlistValue(value);
  return d;
}

// An appList element as the pane stores it: identity keys and the archived settings.
inline PlistValue element(PlistDict identity, const PlistDict& settings) {
  identity["data"] = PlistValue(vsession::archive(PlistValue(settings)));
  return PlistValue(std::move(identity));
}

class SettingsSession {
 public:
  explicit SettingsSession(vsession::SessionConfig config = {}) : session_(std::move(config)) {
    port::setPlatform(&session_.platform());
    agent_resetModules();
  }
  ~SettingsSession() {
    agent_resetModules();
    port::setPlatform(nullptr);
  }

  void write(const std::string& key, PlistValue value) {
    session_.preferences().setAppValue(key, value, kPrefsDomain);
    session_.preferences().appSynchronize(kPrefsDomain);
  }
  void erase(const std::string& key) {
    session_.preferences().setAppValue(key, std::nullopt, kPrefsDomain);
    session_.preferences().appSynchronize(kPrefsDomain);
  }
  void writeAppList(PlistArray elements) { write("appList", PlistValue(std::move(elements))); }

  // Start-up's read, as a fresh process.
  PrefsRecord& start() {
    agent_resetModules();
    bgprefs().startPrefs();
    return *prefs_bgprefs();
  }

  vsession::VirtualSession& session() { return session_; }
  std::optional<PlistValue> stored(const std::string& key) {
    session_.preferences().appSynchronize(kPrefsDomain);
    return session_.preferences().copyAppValue(key, kPrefsDomain);
  }

 private:
  vsession::VirtualSession session_;
};

}  // namespace testing_support
