// A virtual session whose preferences domain a test writes as the preference pane would,
// for reading the settings the way the agent does.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Commonprefs.h"
#include "VAstate.h"
#include "agent_session.h"
#include "bgprefs.h"
#include "platform/virtual/keyed_archive.h"

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
  explicit SettingsSession(vsession::SessionConfig config = {})
      : process_(std::move(config), false) {}

  void write(const std::string& key, PlistValue value) { store(key, std::move(value)); }
  void erase(const std::string& key) { store(key, std::nullopt); }
  void writeAppList(PlistArray elements) { write("appList", PlistValue(std::move(elements))); }

  // Start-up's read, as a fresh process.
  PrefsRecord& start() {
    agent_resetModules();
    bgprefs().startPrefs();
    return *prefs_bgprefs();
  }

  vsession::VirtualSession& session() { return process_.session(); }
  std::optional<PlistValue> stored(const std::string& key) {
    session().preferences().appSynchronize(kPrefsDomain);
    return session().preferences().copyAppValue(key, kPrefsDomain);
  }

 private:
  // Written and synchronised at once, as the pane writes.
  void store(const std::string& key, const std::optional<PlistValue>& value) {
    session().preferences().setAppValue(key, value, kPrefsDomain);
    session().preferences().appSynchronize(kPrefsDomain);
  }

  AgentSession process_;  // the agent's process, not started: only its settings are read
};

}  // namespace testing_support
