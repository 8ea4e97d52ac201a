#include "keyed_archive.h"

#include <set>
#include <vector>

#include "plist_codec.h"

namespace vsession {

using namespace port;

namespace {

constexpr int64_t kArchiverVersion = 100000;
constexpr int kMaxDepth = 128;

struct Refused {
  std::string reason;
};

// A decoded object that has no property-list form of its own: {"$date": ...} and the like.
PlistValue marker(const char* key, PlistValue value) {
  PlistDict out;
  out[key] = std::move(value);
  return PlistValue(std::move(out));
}

class Decoder {
 public:
  Decoder(const PlistArray& objects, ForeignClasses foreign)
      : objects_(objects), foreign_(foreign) {}

  PlistValue object(const PlistValue& reference, int depth) {
    uint64_t uid = uidOf(reference);
    if (uid >= objects_.size()) throw Refused{"UID " + std::to_string(uid) + " is out of range"};
    if (depth > kMaxDepth) throw Refused{"objects nested too deeply"};
    const PlistValue& o = objects_[uid];
    if (const std::string* s = o.string()) {
      if (*s == "$null") return PlistValue();
      return o;
    }
    const PlistDict* fields = o.dict();
    if (!fields) {
      if (o.array() || std::holds_alternative<PlistUid>(o.value)) {
        throw Refused{"object " + std::to_string(uid) + " is not an object"};
      }
      return o;  // numbers, booleans, data, dates stand for themselves
    }
    if (open_.count(uid)) {
      if (foreign_ == ForeignClasses::kRefuse) throw Refused{"an object contains itself"};
      return marker("$ref", PlistValue(static_cast<int64_t>(uid)));
    }
    open_.insert(uid);
    PlistValue decoded = instance(*fields, depth);
    open_.erase(uid);
    return decoded;
  }

 private:
  static uint64_t uidOf(const PlistValue& v) {
    if (auto* uid = std::get_if<PlistUid>(&v.value)) return uid->index;
    // XML archives write a UID as a dictionary with the one key "CF$UID".
    if (const PlistDict* d = v.dict(); d && d->size() == 1 && d->count("CF$UID")) {
      if (auto* n = std::get_if<int64_t>(&d->at("CF$UID").value); n && *n >= 0) {
        return static_cast<uint64_t>(*n);
      }
    }
    throw Refused{"a reference is not a UID"};
  }

  static bool isUid(const PlistValue& v) {
    if (std::holds_alternative<PlistUid>(v.value)) return true;
    const PlistDict* d = v.dict();
    return d && d->size() == 1 && d->count("CF$UID");
  }

  std::string className(const PlistDict& fields) {
    auto cls = fields.find("$class");
    if (cls == fields.end()) throw Refused{"an object has no class"};
    uint64_t uid = uidOf(cls->second);
    if (uid >= objects_.size()) throw Refused{"class UID out of range"};
    const PlistDict* meta = objects_[uid].dict();
    if (!meta) throw Refused{"a class record is not a dictionary"};
    auto name = meta->find("$classname");
    if (name == meta->end() || !name->second.string()) throw Refused{"a class has no name"};
    return *name->second.string();
  }

  const PlistArray& uidList(const PlistDict& fields, const char* key) {
    auto found = fields.find(key);
    if (found == fields.end() || !found->second.array()) {
      throw Refused{std::string("a collection has no ") + key};
    }
    return *found->second.array();
  }

  PlistValue instance(const PlistDict& fields, int depth) {
    std::string name = className(fields);
    if (name == "NSDictionary" || name == "NSMutableDictionary") {
      const PlistArray& keys = uidList(fields, "NS.keys");
      const PlistArray& values = uidList(fields, "NS.objects");
      if (keys.size() != values.size())
        throw Refused{"a dictionary's keys and values differ in number"};
      PlistDict out;
      for (size_t i = 0; i < keys.size(); ++i) {
        PlistValue key = object(keys[i], depth + 1);
        if (!key.string()) throw Refused{"a dictionary key is not a string"};
        out[*key.string()] = object(values[i], depth + 1);
      }
      return PlistValue(std::move(out));
    }
    if (name == "NSArray" || name == "NSMutableArray" || name == "NSSet" ||
        name == "NSMutableSet") {
      PlistArray out;
      for (const PlistValue& item : uidList(fields, "NS.objects")) {
        out.push_back(object(item, depth + 1));
      }
      return PlistValue(std::move(out));
    }
    if (name == "NSString" || name == "NSMutableString") {
      auto text = fields.find("NS.string");
      if (text == fields.end() || !text->second.string()) throw Refused{"a string has no text"};
      return text->second;
    }
    if (name == "NSDate" && fields.count("NS.time")) {
      return marker("$date", fields.at("NS.time"));
    }
    if (name == "NSURL" && fields.count("NS.relative")) {
      return marker("$url", object(fields.at("NS.relative"), depth + 1));
    }
    if (foreign_ == ForeignClasses::kRefuse) throw Refused{"objects of class " + name};
    PlistDict out;
    out["$class"] = PlistValue(name);
    for (const auto& [key, value] : fields) {
      if (key == "$class") continue;
      out[key] = isUid(value) ? object(value, depth + 1) : value;
    }
    return PlistValue(std::move(out));
  }

  const PlistArray& objects_;
  ForeignClasses foreign_;
  std::set<uint64_t> open_;
};

// Builds "$objects" in the order NSKeyedArchiver does: "$null" first, each object before
// the ones it refers to, each class record once.
class Encoder {
 public:
  Encoder() { objects_.push_back(PlistValue("$null")); }

  PlistUid add(const PlistValue& value) {
    if (std::holds_alternative<std::monostate>(value.value)) return PlistUid{0};
    uint64_t uid = objects_.size();
    objects_.emplace_back();
    if (const PlistDict* d = value.dict()) {
      PlistArray keys, values;
      for (const auto& [key, item] : *d) {
        keys.push_back(add(PlistValue(key)));
        values.push_back(add(item));
      }
      PlistDict record;
      record["NS.keys"] = PlistValue(std::move(keys));
      record["NS.objects"] = PlistValue(std::move(values));
      record["$class"] = PlistValue(classUid("NSDictionary"));
      objects_[uid] = PlistValue(std::move(record));
    } else if (const PlistArray* a = value.array()) {
      PlistArray items;
      for (const PlistValue& item : *a) items.push_back(add(item));
      PlistDict record;
      record["NS.objects"] = PlistValue(std::move(items));
      record["$class"] = PlistValue(classUid("NSArray"));
      objects_[uid] = PlistValue(std::move(record));
    } else {
      objects_[uid] = value;
    }
    return PlistUid{uid};
  }

  PlistValue finish(PlistUid root) {
    PlistDict top;
    top["root"] = PlistValue(root);
    PlistDict archive;
    archive["$archiver"] = PlistValue("NSKeyedArchiver");
    archive["$version"] = PlistValue(kArchiverVersion);
    archive["$top"] = PlistValue(std::move(top));
    archive["$objects"] = PlistValue(std::move(objects_));
    return PlistValue(std::move(archive));
  }

 private:
  PlistUid classUid(const std::string& name) {
    for (const auto& [known, uid] : classes_) {
      if (known == name) return uid;
    }
    PlistUid uid{objects_.size()};
    PlistArray classes;
    classes.emplace_back(name);
    classes.emplace_back("NSObject");
    PlistDict record;
    record["$classname"] = PlistValue(name);
    record["$classes"] = PlistValue(std::move(classes));
    objects_.push_back(PlistValue(std::move(record)));
    classes_.emplace_back(name, uid);
    return uid;
  }

  PlistArray objects_;
  std::vector<std::pair<std::string, PlistUid>> classes_;
};

}  // namespace

ArchiveRead unarchive(const PlistValue& archive, ForeignClasses foreign) {
  const PlistDict* top = archive.dict();
  if (!top) return {std::nullopt, "not a dictionary"};
  auto field = [top](const char* key) -> const PlistValue* {
    auto found = top->find(key);
    return found == top->end() ? nullptr : &found->second;
  };
  const PlistValue* archiver = field("$archiver");
  if (!archiver || !archiver->string() || *archiver->string() != "NSKeyedArchiver") {
    return {std::nullopt, "not made by NSKeyedArchiver"};
  }
  const PlistValue* version = field("$version");
  auto* number = version ? std::get_if<int64_t>(&version->value) : nullptr;
  if (!number || *number != kArchiverVersion) return {std::nullopt, "unsupported $version"};
  const PlistValue* tops = field("$top");
  if (!tops || !tops->dict()) return {std::nullopt, "no $top"};
  auto root = tops->dict()->find("root");
  if (root == tops->dict()->end()) return {std::nullopt, "no root object"};
  const PlistValue* objects = field("$objects");
  if (!objects || !objects->array()) return {std::nullopt, "no $objects"};
  try {
    Decoder decoder(*objects->array(), foreign);
    return {decoder.object(root->second, 0), ""};
  } catch (const Refused& refused) {
    return {std::nullopt, refused.reason};
  }
}

ArchiveRead unarchive(const std::vector<uint8_t>& bytes, ForeignClasses foreign) {
  PlistRead plist = readPlist(bytes);
  if (!plist.value) return {std::nullopt, plist.error};
  return unarchive(*plist.value, foreign);
}

PlistValue archiveTree(const PlistValue& root) {
  Encoder encoder;
  PlistUid top = encoder.add(root);
  return encoder.finish(top);
}

PlistData archive(const PlistValue& root) {
  return writeBinaryPlist(archiveTree(root));
}

}  // namespace vsession
