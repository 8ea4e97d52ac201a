// Property-list values as JSON, for comparing them with files that other programs wrote.
#pragma once

#include <nlohmann/json.hpp>

#include "platform/api/preferences.h"

namespace vsession {

// Data becomes {"$data": hex} and UIDs {"$uid": n}; inside a decoded object of another class
// ("$class"), data fields are left out, as the test data's expectations leave them out.
inline nlohmann::json toJson(const port::PlistValue& v, bool insideObject = false) {
  using port::PlistArray;
  using port::PlistDict;
  if (const PlistDict* d = v.dict()) {
    bool object = d->count("$class") != 0;
    nlohmann::json out = nlohmann::json::object();
    for (const auto& [key, item] : *d) {
      if (object && item.data()) continue;
      out[key] = toJson(item, object);
    }
    return out;
  }
  if (const PlistArray* a = v.array()) {
    nlohmann::json out = nlohmann::json::array();
    for (const auto& item : *a) out.push_back(toJson(item, insideObject));
    return out;
  }
  return std::visit(
      [](const auto& x) -> nlohmann::json {
        using T = std::decay_t<decltype(x)>;
        if constexpr (std::is_same_v<T, std::monostate>) {
          return nullptr;
        } else if constexpr (std::is_same_v<T, port::PlistData>) {
          static const char* kHex = "0123456789abcdef";
          std::string hex;
          for (uint8_t b : x) hex += {kHex[b >> 4], kHex[b & 15]};
          return {{"$data", hex}};
        } else if constexpr (std::is_same_v<T, port::PlistDate>) {
          return {{"$date", x.seconds}};
        } else if constexpr (std::is_same_v<T, port::PlistUid>) {
          return {{"$uid", x.index}};
        } else if constexpr (std::is_same_v<T, bool> || std::is_same_v<T, int64_t> ||
                             std::is_same_v<T, double> || std::is_same_v<T, std::string>) {
          return x;
        } else {
          return nullptr;  // containers are handled above
        }
      },
      v.value);
}

}  // namespace vsession
