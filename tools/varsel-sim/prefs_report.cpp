#include "prefs_report.h"

#include <sstream>

#include "Commonprefs.h"
#include "main.h"
#include "platform/virtual/plist_codec.h"
#include "platform/virtual/session.h"

namespace sim {

namespace {

using nlohmann::ordered_json;
using port::PlistValue;

ordered_json recordJson(const PrefsRecord& r) {
  ordered_json out = ordered_json::object();
#define VARSEL_FIELD(type, name) out[#name] = r.name;
#define VARSEL_ARRAY(type, name, n) out[#name] = std::vector<type>(r.name, r.name + n);
  VARSEL_PREFS_RECORD_FIELDS(VARSEL_FIELD, VARSEL_ARRAY)
#undef VARSEL_FIELD
#undef VARSEL_ARRAY
  return out;
}

ordered_json entryJson(const PlistValue& element, const char* key) {
  const port::PlistDict* d = element.dict();
  if (!d || !d->count(key)) return nullptr;
  const PlistValue& v = d->at(key);
  if (const std::string* s = v.string()) return *s;
  if (auto* n = std::get_if<int64_t>(&v.value)) return *n;
  return nullptr;
}

}  // namespace

PrefsReport reportPrefsFile(const std::string& path) {
  std::optional<std::vector<uint8_t>> bytes = vsession::readWholeFile(path);
  if (!bytes) throw PrefsFileError(path + ": cannot be read");
  vsession::PlistRead plist = vsession::readPlist(*bytes);
  if (!plist.value) throw PrefsFileError(path + ": " + plist.error);
  if (!plist.value->dict()) throw PrefsFileError(path + ": the top level is not a dictionary");

  vsession::VirtualSession session;
  vsession::writeWholeFile(session.preferences().domainFile(kPrefsDomain), *bytes);
  port::setPlatform(&session.platform());
  agent_resetModules();

  PrefsReport report;
  int prefsVers = getIntValueFromPrefs_key_defaultVal("prefsVers", 0);
  bgprefs reader;
  reader.readPrefs();
  reader.convertPrefs();
  const PrefsRecord& read = *prefs_bgprefs();
  report.json["global"] = {
      {"hoverActiveOnly", read.hoverActiveOnly},
      {"dragSlop", read.dragSlop},
      {"prefsVers", prefsVers},
      {"speedsMigrated", prefsVers <= 0},
      {"updateCheckIntervalDays",
       getIntValueFromPrefs_key_defaultVal("updateCheckIntervalDays", 1)},
      {"lastVersionCheckDate", getDoubleValueFromPrefs_key("lastVersionCheckDate")}};

  ordered_json list = ordered_json::array();
  const port::PlistArray& appList = bgprefs_statics().appList;
  for (size_t i = 0; i < appList.size(); ++i) {
    PrefsRecord record;
    record.hoverActiveOnly = read.hoverActiveOnly;
    record.dragSlop = read.dragSlop;
    switch_prefs_toSettingsTarget_inAppList(&record, static_cast<int32_t>(i), appList);
    list.push_back({{"bid", entryJson(appList[i], "bid")},
                    {"creator", entryJson(appList[i], "creator")},
                    {"record", recordJson(record)}});
  }
  report.json["appList"] = std::move(list);
  report.notes = session.logLines();
  agent_resetModules();
  port::setPlatform(nullptr);
  return report;
}

std::string prefsReportText(const PrefsReport& report) {
  std::ostringstream out;
  out << "global:";
  for (const auto& [key, value] : report.json["global"].items()) out << " " << key << "=" << value;
  out << "\n";
  int index = 0;
  for (const auto& element : report.json["appList"]) {
    out << "appList[" << index << "]";
    if (index++ == 0) out << " (all applications)";
    if (!element["bid"].is_null()) out << " bid=" << element["bid"].dump();
    if (!element["creator"].is_null()) out << " creator=" << element["creator"];
    out << "\n";
    int column = 0;
    for (const auto& [key, value] : element["record"].items()) {
      out << "  " << key << "=" << value.dump();
      if (++column == 6) {
        out << "\n";
        column = 0;
      }
    }
    if (column) out << "\n";
  }
  for (const std::string& note : report.notes) out << "note: " << note << "\n";
  return out.str();
}

}  // namespace sim
