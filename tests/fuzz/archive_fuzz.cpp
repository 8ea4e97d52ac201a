// Any bytes as a keyed archive: refused or read, never a crash, a hang or a leak.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/virtual/keyed_archive.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<uint8_t> bytes(data, data + size);
  vsession::unarchive(bytes, vsession::ForeignClasses::kDescribe);
  vsession::unarchive(bytes, vsession::ForeignClasses::kRefuse);
  return 0;
}
