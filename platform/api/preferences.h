// Preferences, keyed archives, files and system facts: CFPreferences, NSKeyedArchiver and
// NSKeyedUnarchiver, the user's folders and files (NSFileManager), the system version
// and the system's scroll-wheel scaling.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace port {

// A property-list value as CFPreferences and the archivers hand it over.
struct PlistValue;
using PlistArray = std::vector<PlistValue>;
using PlistDict = std::map<std::string, PlistValue>;
using PlistData = std::vector<uint8_t>;
struct PlistUid {
  uint64_t index = 0;
  friend bool operator==(const PlistUid&, const PlistUid&) = default;
};
struct PlistDate {
  double seconds = 0;  // since 1 Jan 2001
  friend bool operator==(const PlistDate&, const PlistDate&) = default;
};

struct PlistValue {
  std::variant<std::monostate, bool, int64_t, double, std::string, PlistData, PlistDate, PlistUid,
               std::shared_ptr<PlistArray>, std::shared_ptr<PlistDict>>
      value;

  // Values are written as literals: implicit on purpose.
  PlistValue() = default;
  PlistValue(bool v) : value(v) {}
  PlistValue(int v) : value(int64_t{v}) {}
  PlistValue(int64_t v) : value(v) {}
  PlistValue(double v) : value(v) {}
  PlistValue(std::string v) : value(std::move(v)) {}
  PlistValue(const char* v) : value(std::string(v)) {}
  PlistValue(PlistData v) : value(std::move(v)) {}
  PlistValue(PlistDate v) : value(v) {}
  PlistValue(PlistUid v) : value(v) {}
  PlistValue(PlistArray v) : value(std::make_shared<PlistArray>(std::move(v))) {}
  PlistValue(PlistDict v) : value(std::make_shared<PlistDict>(std::move(v))) {}

  const PlistDict* dict() const {
    auto* p = std::get_if<std::shared_ptr<PlistDict>>(&value);
    return p ? p->get() : nullptr;
  }
  const PlistArray* array() const {
    auto* p = std::get_if<std::shared_ptr<PlistArray>>(&value);
    return p ? p->get() : nullptr;
  }
  const std::string* string() const { return std::get_if<std::string>(&value); }
  const PlistData* data() const { return std::get_if<PlistData>(&value); }
  bool isNull() const { return std::holds_alternative<std::monostate>(value); }
};

// Deep equality: containers compare by content.
inline bool operator==(const PlistValue& a, const PlistValue& b) {
  if (a.value.index() != b.value.index()) return false;
  if (const PlistDict* d = a.dict()) return *d == *b.dict();
  if (const PlistArray* r = a.array()) return *r == *b.array();
  return a.value == b.value;
}

struct SystemVersion {
  int major = 0;
  int minor = 0;
  int patch = 0;
};

// CFPreferencesCopyAppValue / SetAppValue / AppSynchronize / CopyKeyList.
class Preferences {
 public:
  virtual ~Preferences() = default;
  virtual std::optional<PlistValue> copyAppValue(const std::string& key,
                                                 const std::string& domain) = 0;
  virtual void setAppValue(const std::string& key, const std::optional<PlistValue>& value,
                           const std::string& domain) = 0;
  virtual bool appSynchronize(const std::string& domain) = 0;
  virtual std::vector<std::string> copyKeyList(const std::string& domain) = 0;
};

// +[NSKeyedArchiver archivedDataWithRootObject:] and
// +[NSKeyedUnarchiver unarchiveObjectWithData:] for dictionaries of strings and numbers.
class KeyedArchiver {
 public:
  virtual ~KeyedArchiver() = default;
  virtual PlistData archivedDataWithRootObject(const PlistValue& root) = 0;
  virtual std::optional<PlistValue> unarchiveObjectWithData(const PlistData& data) = 0;
};

// NSFileManager and NSSearchPathForDirectoriesInDomains for the user's folders.
// +[NSPropertyListSerialization propertyListWithData:options:format:error:].
class PropertyListSerialization {
 public:
  virtual ~PropertyListSerialization() = default;
  virtual std::optional<PlistValue> propertyListWithData(const PlistData& data) = 0;
};

class Files {
 public:
  virtual ~Files() = default;
  virtual std::string homeDirectory() = 0;
  virtual std::string libraryDirectory() = 0;  // ~/Library
  // FSFindFolder in the user domain without creating the folder, as a POSIX path.
  virtual std::optional<std::string> findFolder(uint32_t folderType) = 0;
  virtual bool fileExists(const std::string& path) = 0;
  virtual bool isDirectory(const std::string& path) = 0;
  virtual std::optional<std::vector<uint8_t>> readFile(const std::string& path) = 0;
  virtual bool writeFileAtomically(const std::string& path, const std::vector<uint8_t>& bytes) = 0;
  // With intermediate directories; on failure `error` describes why.
  virtual bool createDirectory(const std::string& path, std::string* error) = 0;
  virtual bool removeItem(const std::string& path) = 0;
  virtual std::vector<std::string> contentsOfDirectory(const std::string& path) = 0;
  // Whether the item carries quarantine properties (NSURLQuarantinePropertiesKey).
  virtual bool hasQuarantineProperties(const std::string& path) = 0;
};

// Gestalt / NSProcessInfo operatingSystemVersion and the global default
// "com.apple.scrollwheel.scaling".
class SystemFacts {
 public:
  virtual ~SystemFacts() = default;
  virtual SystemVersion systemVersion() = 0;
  virtual std::optional<double> scrollWheelScaling() = 0;  // nothing unless a number
};

}  // namespace port
