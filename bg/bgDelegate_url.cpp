// URL commands: "varsel://stop" and its siblings, opened by scripts and links, reach the
// agent as the system's get-URL event on the main thread and become VA events, so each
// command runs on the event thread between two tapped events.
#include <cstddef>
#include <string_view>

#include "bgDelegate.h"

namespace {
constexpr std::string_view kScheme = "varsel://";

// In the order they are compared, each with the VA event it posts.
struct UrlCommand {
  std::string_view text;
  int vaEvent;
};
constexpr UrlCommand kCommands[] = {
    {"stop", 12},       {"autoscroll", 13},   {"autoscrollup", 14},
    {"grabscroll", 15}, {"vectorscroll", 16}, {"uponce", 17},
    {"downonce", 18},   {"leftonce", 19},     {"rightonce", 20},
};

// The command text lower-cased. Only ASCII letters change: the commands are ASCII, and no
// other character lower-cases to an ASCII letter that one of them holds, so the answer is
// the same as the system's full lower-casing would give.
bool equalsLowerCased(std::string_view text, std::string_view command) {
  if (text.size() != command.size()) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c != command[i]) return false;
  }
  return true;
}
}  // namespace

int urlCommand_vaEvent(std::string_view url) {
  // The scheme is compared as it stands: "VARSEL://stop" is not ours.
  if (!url.starts_with(kScheme)) return 0;
  std::string_view command = url.substr(kScheme.size());
  for (const UrlCommand& c : kCommands) {
    if (equalsLowerCased(command, c.text)) return c.vaEvent;
  }
  return 0;
}

void bgDelegate::handleURLEvent_withReplyEvent(std::string_view url) {
  if (int kind = urlCommand_vaEvent(url)) postVAEvent(kind);
}
