// A virtual session whose preferences domain a test writes as the preference pane would,
// for reading the settings the way the agent does.
#pragma once

#include <map>
#include <sstream>
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

// Numbers as the pane stores them, written "wheelSpeed=300 padOn=0"; values may be in hex.
inline PlistDict numbers(const std::string& text) {
  PlistDict d;
  std::istringstream rows(text);
  for (std::string row; rows >> row;) {
    size_t equals = row.find('=');
    d[row.substr(0, equals)] = PlistValue(int64_t{std::stoll(row.substr(equals + 1), nullptr, 0)});
  }
  return d;
}

// The fields of `expected`, written as for numbers(), that the record does not hold, each
// with the value found; empty when all hold. A field's name is its preference key, the
// blocks' fields included; the arrays' elements are "keysHoldMod0" and on.
inline std::string differing(const PrefsRecord& r, const std::string& expected) {
  std::map<std::string, int64_t> byName;
#define VARSEL_NAMED(type, name) byName[#name] = r.name;
#define VARSEL_NAMED_WHEEL(type, name) byName[#name] = r.wheel.name;
#define VARSEL_NAMED_PAD(type, name) byName[#name] = r.pad.name;
#define VARSEL_NAMED_ARRAY(type, name, n) \
  for (int i = 0; i < n; ++i) byName[#name + std::to_string(i)] = r.name[i];
#define VARSEL_NAMED_BLOCK(type, name)
  VARSEL_PREFS_RECORD_FIELDS(VARSEL_NAMED, VARSEL_NAMED_ARRAY, VARSEL_NAMED_BLOCK)
  VARSEL_WHEEL_BLOCK_FIELDS(VARSEL_NAMED_WHEEL)
  VARSEL_PAD_BLOCK_FIELDS(VARSEL_NAMED_PAD)
#undef VARSEL_NAMED
#undef VARSEL_NAMED_WHEEL
#undef VARSEL_NAMED_PAD
#undef VARSEL_NAMED_ARRAY
#undef VARSEL_NAMED_BLOCK
  std::string out;
  for (const auto& [name, value] : numbers(expected)) {
    int64_t found = byName.at(name), wanted = std::get<int64_t>(value.value);
    if (found != wanted)
      out += " " + name + "=" + std::to_string(found) + ", not " + std::to_string(wanted);
  }
  return out;
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
