// Any bytes as a fetched version list, and as a version string: read or refused, never a
// crash; a version compares equal to itself and is never an update for itself.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "main.h"
#include "platform/virtual/session.h"
#include "tarnwickCkUpdate.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static vsession::VirtualSession session;
  port::setPlatform(&session.platform());
  std::string text(reinterpret_cast<const char*>(data), size);
  uint32_t parts[4] = {};
  parseVersNum(text, parts);
  if (compareVersions(text, text) != 0 || isUpdateAvailable(text, text)) std::abort();
  if (auto list = versionListFromData(port::PlistData(data, data + size))) {
    auto version = list->find("version");
    if (version != list->end() && version->second.string()) {
      isUpdateAvailable("4.2", *version->second.string());
    }
  }
  return 0;
}
