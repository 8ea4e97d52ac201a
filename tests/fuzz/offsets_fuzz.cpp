// Any bytes as an application's saved zone offsets file: read as offsets or refused, never a
// crash; a refused file leaves the offsets as they were.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "Commonprefs_offsets.h"
#include "main.h"
#include "platform/virtual/session.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static vsession::VirtualSession session;
  static const std::filesystem::path folder =
      session.home() / "Library/Preferences/com.tarnwick.varsel4";
  session.trace().keepLines(false);
  std::filesystem::create_directories(folder);
  vsession::writeWholeFile(folder / "com.example.reader", std::vector<uint8_t>(data, data + size));
  port::setPlatform(&session.platform());
  agent_resetModules();
  int32_t up = 7, down = 9;
  if (!get_up_downOfstPtr_forBid(&up, &down, "com.example.reader") && (up != 7 || down != 9)) {
    std::abort();  // a refused file changed the offsets
  }
  return 0;
}
