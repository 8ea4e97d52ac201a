// Property lists as files: binary (as macOS writes them) or XML, read and written through
// libplist.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/api/preferences.h"

namespace vsession {

struct PlistRead {
  std::optional<port::PlistValue> value;
  std::string error;  // why there is no value
};

// The largest property list read: preferences and their archives are a few kilobytes.
inline constexpr size_t kMaxPlistBytes = 4u << 20;

// Reads a binary or XML property list. Integers read as signed 64-bit: libplist 2.2 cannot
// tell a 128-bit unsigned value from a negative one.
PlistRead readPlist(const std::vector<uint8_t>& bytes);
std::vector<uint8_t> writeBinaryPlist(const port::PlistValue& value);
std::string writeXmlPlist(const port::PlistValue& value);

}  // namespace vsession
