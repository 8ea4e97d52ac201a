// Keyed archives in NSKeyedArchiver's format: a property list with "$archiver",
// "$version", "$top" and "$objects", whose objects refer to each other by UID.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/api/preferences.h"

namespace vsession {

enum class ForeignClasses {
  kRefuse,    // like an unarchiver that knows only the Foundation collections and strings
  kDescribe,  // any other object becomes {"$class": name, field: value ...}
};

struct ArchiveRead {
  std::optional<port::PlistValue> value;  // null objects are monostate
  std::string error;
};

// Strict: anything that is not a well-formed archive is refused with the reason. Objects:
// NSDictionary, NSArray and NSSet (and their mutable kinds), NSString, numbers, booleans,
// data, "$null". NSDate becomes {"$date": seconds}, NSURL {"$url": relative string}. An object
// that contains itself becomes {"$ref": uid} where it recurs, or is refused with kRefuse.
ArchiveRead unarchive(const std::vector<uint8_t>& bytes, ForeignClasses foreign);
ArchiveRead unarchive(const port::PlistValue& archive, ForeignClasses foreign);

// Archives a value of dictionaries, arrays, strings, numbers, booleans and data, as a
// binary property list.
port::PlistData archive(const port::PlistValue& root);
// The archive's property list before it is written out.
port::PlistValue archiveTree(const port::PlistValue& root);

}  // namespace vsession
