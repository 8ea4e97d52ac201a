// A virtual session with the agent started in it, for tests that drive the agent end to
// end. Each one is a fresh process: every module starts from its initial state.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "VAtapMgr.h"
#include "bgDelegate.h"
#include "main.h"
#include "platform/virtual/session.h"
#include "platform/virtual/ui_builders.h"
#include "two_windows.h"

namespace testing_support {

// The modifiers' flag masks, as the keyboard tests press them.
inline constexpr uint64_t kShift = port::kCGEventFlagMaskShift;
inline constexpr uint64_t kControl = port::kCGEventFlagMaskControl;
inline constexpr uint64_t kOption = port::kCGEventFlagMaskAlternate;
inline constexpr uint64_t kCommand = port::kCGEventFlagMaskCommand;

// The same with Reader's window holding a scroll area of 800 x 560 (Quartz 100,140 to
// 900,700), its content half scrolled so that both hover zones exist.
inline vsession::SessionConfig readerPageConfig() {
  vsession::SessionConfig config = twoWindowConfig();
  config.windows[0].ui = {vsession::uiScrollArea({{100, 140}, {800, 560}}, {800, 5000}, 2000, {})};
  return config;
}

class AgentSession {
 public:
  explicit AgentSession(vsession::SessionConfig config = twoWindowConfig(), bool start = true)
      : session_(config) {
    port::setPlatform(&session_.platform());
    agent_resetModules();
    if (start) startAgent();
  }
  ~AgentSession() {
    agent_resetModules();
    port::setPlatform(nullptr);
  }

  // Launch on the main thread, start-up on the main queue, the event thread's first pass.
  void startAgent() {
    agent_main();
    session_.runUntil(session_.elapsed());
  }

  vsession::VirtualSession& session() { return session_; }
  vsession::EventSystem& events() { return session_.events(); }
  vsession::InputDevices& input() { return session_.input(); }
  void runUntil(double t) { session_.runUntil(t); }
  void at(double t, port::Block action) { session_.at(t, std::move(action)); }

  std::vector<vsession::TraceLine> linesOfKind(const std::string& kind) const {
    return vsession::linesOfKind(session_.trace().lines(), kind);
  }

  // The messages the agent posted for the pane, as "m@t" (virtual seconds).
  std::vector<std::string> paneMessages() const {
    std::vector<std::string> out;
    for (const auto& line : linesOfKind("pane")) {
      std::ostringstream text;
      text << line["m"].get<std::string>() << "@" << line["t"].get<double>();
      out.push_back(text.str());
    }
    return out;
  }

 private:
  vsession::VirtualSession session_;
};

}  // namespace testing_support
