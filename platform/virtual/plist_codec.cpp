#include "plist_codec.h"

#include <plist/plist.h>
#include <pthread.h>
#include <algorithm>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>

namespace vsession {

using namespace port;

namespace {

// Containers nested deeper than this are refused: no real preferences file comes close, and
// a hostile one must not exhaust the stack.
constexpr int kMaxDepth = 256;

struct PlistFree {
  void operator()(plist_t p) const { plist_free(p); }
};
using PlistPtr = std::unique_ptr<void, PlistFree>;

// A dictionary key's text. libplist's own key reader aborts on a key with an embedded NUL,
// which a binary file can hold; its writer stops at the NUL instead, so the key goes
// through the writer: it reads up to the NUL, as a C string would.
std::string keyText(plist_t key) {
  char* bytes = nullptr;
  uint32_t length = 0;
  plist_to_bin(key, &bytes, &length);
  plist_t text = nullptr;
  if (bytes) plist_from_bin(bytes, length, &text);
  plist_to_bin_free(bytes);
  PlistPtr owner(text);
  uint64_t size = 0;
  const char* chars = text ? plist_get_string_ptr(text, &size) : nullptr;
  return chars ? std::string(chars, size) : std::string();
}

std::optional<PlistValue> fromNode(plist_t node, int depth) {
  if (depth > kMaxDepth) return std::nullopt;
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      uint8_t v = 0;
      plist_get_bool_val(node, &v);
      return PlistValue(v != 0);
    }
    case PLIST_UINT: {
      uint64_t v = 0;
      plist_get_uint_val(node, &v);
      return PlistValue(static_cast<int64_t>(v));
    }
    case PLIST_REAL: {
      double v = 0;
      plist_get_real_val(node, &v);
      return PlistValue(v);
    }
    case PLIST_STRING: {
      uint64_t length = 0;
      const char* text = plist_get_string_ptr(node, &length);
      return PlistValue(std::string(text ? text : "", text ? length : 0));
    }
    case PLIST_DATA: {
      uint64_t length = 0;
      const char* bytes = plist_get_data_ptr(node, &length);
      return PlistValue(PlistData(bytes, bytes + (bytes ? length : 0)));
    }
    case PLIST_DATE: {
      int32_t sec = 0, usec = 0;
      plist_get_date_val(node, &sec, &usec);
      return PlistValue(PlistDate{sec + usec / 1e6});
    }
    case PLIST_UID: {
      uint64_t v = 0;
      plist_get_uid_val(node, &v);
      return PlistValue(PlistUid{v});
    }
    case PLIST_ARRAY: {
      PlistArray out;
      uint32_t n = plist_array_get_size(node);
      out.reserve(n);
      for (uint32_t i = 0; i < n; ++i) {
        auto item = fromNode(plist_array_get_item(node, i), depth + 1);
        if (!item) return std::nullopt;
        out.push_back(std::move(*item));
      }
      return PlistValue(std::move(out));
    }
    case PLIST_DICT: {
      PlistDict out;
      plist_dict_iter it = nullptr;
      plist_dict_new_iter(node, &it);
      while (it) {
        plist_t value = nullptr;
        plist_dict_next_item(node, it, nullptr, &value);
        if (!value) break;
        auto item = fromNode(value, depth + 1);
        if (!item) {
          std::free(it);
          return std::nullopt;
        }
        std::string name = keyText(plist_dict_item_get_key(value));
        out[name] = std::move(*item);
      }
      std::free(it);
      return PlistValue(std::move(out));
    }
    default:
      return std::nullopt;
  }
}

plist_t toNode(const PlistValue& value) {
  return std::visit(
      [](const auto& v) -> plist_t {
        using T = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<T, std::monostate>) {
          return plist_new_string("");  // property lists have no null
        } else if constexpr (std::is_same_v<T, bool>) {
          return plist_new_bool(v);
        } else if constexpr (std::is_same_v<T, int64_t>) {
          return plist_new_uint(static_cast<uint64_t>(v));
        } else if constexpr (std::is_same_v<T, double>) {
          return plist_new_real(v);
        } else if constexpr (std::is_same_v<T, std::string>) {
          return plist_new_string(v.c_str());
        } else if constexpr (std::is_same_v<T, PlistData>) {
          return plist_new_data(reinterpret_cast<const char*>(v.data()), v.size());
        } else if constexpr (std::is_same_v<T, PlistDate>) {
          // libplist takes a date as whole seconds in 32 bits and microseconds: one beyond
          // them (about 68 years either side of 2001) is written at the nearer end, and one
          // that is no number at all as 2001 itself.
          constexpr double kFirst = std::numeric_limits<int32_t>::min();
          constexpr double kLast = std::numeric_limits<int32_t>::max();
          double seconds = std::isfinite(v.seconds) ? std::clamp(v.seconds, kFirst, kLast) : 0;
          double whole = std::floor(seconds);
          return plist_new_date(static_cast<int32_t>(whole),
                                static_cast<int32_t>((seconds - whole) * 1e6));
        } else if constexpr (std::is_same_v<T, PlistUid>) {
          return plist_new_uid(v.index);
        } else if constexpr (std::is_same_v<T, std::shared_ptr<PlistArray>>) {
          plist_t array = plist_new_array();
          for (const PlistValue& item : *v) plist_array_append_item(array, toNode(item));
          return array;
        } else {
          plist_t dict = plist_new_dict();
          for (const auto& [key, item] : *v) plist_dict_set_item(dict, key.c_str(), toNode(item));
          return dict;
        }
      },
      value.value);
}

}  // namespace

namespace {

PlistRead parse(const std::vector<uint8_t>& bytes) {
  plist_t root = nullptr;
  plist_from_memory(reinterpret_cast<const char*>(bytes.data()),
                    static_cast<uint32_t>(bytes.size()), &root);
  if (!root) return {std::nullopt, "not a property list"};
  PlistPtr owner(root);
  auto value = fromNode(root, 0);
  if (!value) return {std::nullopt, "nested too deeply or holds an unknown type"};
  return {std::move(value), ""};
}

// libplist parses and frees nested containers by recursion, a stack frame a level, so a
// hostile file nested a hundred thousand deep would overflow an ordinary thread's stack.
// A document large enough to nest that deep is parsed on a thread whose stack holds the
// deepest the size limit allows (about three bytes a level, under a hundred bytes a frame).
constexpr size_t kNestsSafely = 16 * 1024;
constexpr size_t kLargeStack = 256u << 20;

PlistRead parseOnLargeStack(const std::vector<uint8_t>& bytes) {
  struct Job {
    const std::vector<uint8_t>& bytes;
    PlistRead read;
  } job{bytes, {}};
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, kLargeStack);
  pthread_t thread;
  int made = pthread_create(
      &thread, &attributes,
      [](void* p) -> void* {
        auto* j = static_cast<Job*>(p);
        j->read = parse(j->bytes);
        return nullptr;
      },
      &job);
  pthread_attr_destroy(&attributes);
  if (made != 0) return {std::nullopt, "no thread to read it on"};
  pthread_join(thread, nullptr);
  return std::move(job.read);
}

}  // namespace

PlistRead readPlist(const std::vector<uint8_t>& bytes) {
  if (bytes.empty()) return {std::nullopt, "the file is empty"};
  if (bytes.size() > kMaxPlistBytes) return {std::nullopt, "larger than a property list may be"};
  return bytes.size() <= kNestsSafely ? parse(bytes) : parseOnLargeStack(bytes);
}

std::vector<uint8_t> writeBinaryPlist(const PlistValue& value) {
  PlistPtr root(toNode(value));
  char* bytes = nullptr;
  uint32_t length = 0;
  plist_to_bin(root.get(), &bytes, &length);
  std::vector<uint8_t> out(bytes, bytes + length);
  plist_to_bin_free(bytes);
  return out;
}

std::string writeXmlPlist(const PlistValue& value) {
  PlistPtr root(toNode(value));
  char* text = nullptr;
  uint32_t length = 0;
  plist_to_xml(root.get(), &text, &length);
  std::string out(text, length);
  plist_to_xml_free(text);
  return out;
}

}  // namespace vsession
