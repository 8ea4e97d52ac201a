// Any bytes as the text of a URL opened for the agent: a command or nothing, never a crash;
// a command needs the exact scheme and at most a command's length after it.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "bgDelegate.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view url(reinterpret_cast<const char*>(data), size);
  int kind = urlCommand_vaEvent(url);
  if (kind == 0) return 0;
  if (kind < 12 || kind > 20 || !url.starts_with("varsel://") || url.size() > 9 + 12) {
    std::abort();
  }
  return 0;
}
