// Any bytes as the user info of a message from the preference pane: acted on or ignored,
// never a crash, whatever "m" and "s" hold.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "bgDelegate.h"
#include "main.h"
#include "platform/virtual/plist_codec.h"
#include "platform/virtual/session.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static vsession::VirtualSession session;
  session.trace().keepLines(false);
  port::setPlatform(&session.platform());
  agent_resetModules();
  std::optional<port::PlistValue> message =
      vsession::readPlist(std::vector<uint8_t>(data, data + size)).value;
  if (message && message->dict()) backReply(*message->dict());
  return 0;
}
