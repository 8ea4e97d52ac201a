#include "prefs_report.h"

#include <algorithm>
#include <set>
#include <sstream>

#include "Commonprefs.h"
#include "main.h"
#include "platform/virtual/plist_codec.h"
#include "platform/virtual/session.h"

namespace sim {

namespace {

using nlohmann::ordered_json;
using port::PlistValue;

// A block's field by its own name; one that does not carry the block's name, as
// wacomCompatible in both blocks, is qualified by it ("pad.wacomCompatible").
std::string blockFieldName(const char* block, const char* field) {
  std::string name = field;
  return name.starts_with(block) ? name : std::string(block) + "." + name;
}

void listBlock(ordered_json& out, const WheelBlock& b) {
#define VARSEL_FIELD(type, name) out[blockFieldName("wheel", #name)] = b.name;
  VARSEL_WHEEL_BLOCK_FIELDS(VARSEL_FIELD)
#undef VARSEL_FIELD
}

void listBlock(ordered_json& out, const PadBlock& b) {
#define VARSEL_FIELD(type, name) out[blockFieldName("pad", #name)] = b.name;
  VARSEL_PAD_BLOCK_FIELDS(VARSEL_FIELD)
#undef VARSEL_FIELD
}

ordered_json recordJson(const PrefsRecord& r) {
  ordered_json out = ordered_json::object();
#define VARSEL_FIELD(type, name) out[#name] = r.name;
#define VARSEL_ARRAY(type, name, n) out[#name] = std::vector<type>(r.name, r.name + n);
#define VARSEL_BLOCK(type, name) listBlock(out, r.name);
  VARSEL_PREFS_RECORD_FIELDS(VARSEL_FIELD, VARSEL_ARRAY, VARSEL_BLOCK)
#undef VARSEL_FIELD
#undef VARSEL_ARRAY
#undef VARSEL_BLOCK
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

bool isNumber(const PlistValue& v) {
  return std::holds_alternative<int64_t>(v.value) || std::holds_alternative<double>(v.value) ||
         std::holds_alternative<bool>(v.value);
}

std::string text(const PlistValue& v) {
  if (auto* i = std::get_if<int64_t>(&v.value)) return std::to_string(*i);
  if (auto* b = std::get_if<bool>(&v.value)) return *b ? "true" : "false";
  if (auto* d = std::get_if<double>(&v.value)) return ordered_json(*d).dump();
  return "?";
}

// A stored number the record holds as another value, as "wheelSpeed 5000 is taken as
// 1000": clamped, cut to its field's width, a fraction dropped, a flag made 0 or 1.
std::optional<std::string> conversion(const std::string& key, const PlistValue& stored,
                                      const ordered_json& record) {
  std::optional<int64_t> n = prefs_integerValue(stored);
  const double* fraction = std::get_if<double>(&stored.value);
  bool whole = !fraction || *fraction == static_cast<double>(*n);
  std::string said = key + " " + text(stored);
  static const std::set<std::string> kPairs = {"keysUp", "keysDown", "keysLeft", "keysRight",
                                               "keysGrabTrigger"};
  if (kPairs.count(key)) {
    if (*n >= 0 && *n <= 0xFFFF && whole) return std::nullopt;
    return said + " keeps only the low 16 bits of its whole part";
  }
  if (key == "vectorVspeed") {  // the field holds the speed above 100
    int64_t held = record["vectorVspeed"].get<int64_t>() + 100;
    if (held == *n && whole) return std::nullopt;
    return said + " is taken as " + std::to_string(held);
  }
  if (!record.contains(key)) return std::nullopt;  // read, but held by no field of its own
  int64_t held = record[key].get<int64_t>();
  if (held == *n && whole) return std::nullopt;
  return said + " is taken as " + std::to_string(held);
}

// What in the stored domain the agent passes over or takes otherwise, without a word: an
// appList that is missing or not a list, elements it cannot read, values that are not
// numbers, and numbers it converts or clamps.
std::vector<std::string> notesOn(const PlistValue& domain, const ordered_json& report) {
  const port::PlistDict& top = *domain.dict();
  std::vector<std::string> notes;
  for (const char* key : {"dragSlop", "hoverActiveOnly"}) {
    auto stored = top.find(key);
    if (stored == top.end()) continue;
    if (!isNumber(stored->second)) {
      notes.push_back(std::string(key) + " is not a number; it takes its default");
    } else if (auto note = conversion(key, stored->second, report["global"])) {
      notes.push_back(*note);
    }
  }
  auto stored = top.find("appList");
  if (stored == top.end()) {
    notes.push_back("there is no appList: every setting takes its default");
    return notes;
  }
  const port::PlistArray* list = stored->second.array();
  if (!list) {
    notes.push_back("appList is not an array: every setting takes its default");
    return notes;
  }
  if (list->empty()) notes.push_back("appList is empty: every setting takes its default");
  bool allApplicationsRead = false;
  for (size_t i = 0; i < list->size(); ++i) {
    std::string entry = "appList[" + std::to_string(i) + "]";
    const port::PlistDict* element = (*list)[i].dict();
    const PlistValue* data = element && element->count("data") ? &element->at("data") : nullptr;
    std::optional<PlistValue> settings;
    if (data && data->data()) {
      settings = port::platform().keyedArchiver->unarchiveObjectWithData(*data->data());
    }
    bool readable = settings && settings->dict();
    if (i == 0) allApplicationsRead = readable;
    if (!readable) {
      notes.push_back(entry + ": its settings cannot be read; " +
                      (i > 0 && allApplicationsRead ? "the settings for all applications apply"
                                                    : "every setting takes its default"));
      continue;
    }
    const ordered_json& record = report["appList"][i]["record"];
    for (const auto& [key, value] : *settings->dict()) {
      if (!isNumber(value)) {
        notes.push_back(entry + ": " + key + " is not a number; it takes its default");
      } else if (auto note = conversion(key, value, record)) {
        bool migrated = report["global"]["speedsMigrated"].get<bool>() &&
                        std::find(std::begin(kMigratedSpeedKeys), std::end(kMigratedSpeedKeys),
                                  key) != std::end(kMigratedSpeedKeys);
        notes.push_back(entry + ": " + *note + (migrated ? " on the new speed scale" : ""));
      }
    }
  }
  return notes;
}

}  // namespace

PrefsReport reportPrefsFile(const std::string& path) {
  vsession::FileContents file = vsession::readFileOrWhy(path, vsession::kMaxPlistBytes);
  if (!file.bytes) throw PrefsFileError(path + ": cannot be read: " + file.error);
  if (file.bytes->empty()) throw PrefsFileError(path + ": the file is empty");
  const std::vector<uint8_t>* bytes = &*file.bytes;
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
  report.notes = notesOn(*plist.value, report.json);
  for (const std::string& line : session.logLines()) report.notes.push_back(line);
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
