// The port contracts run against the virtual session: a fresh session for each test, with
// two applications whose windows hold an accessibility tree, and time passing in the
// session's own clock.
#include <memory>
#include <vector>

#include "platform/virtual/session.h"
#include "platform/virtual/ui_builders.h"
#include "platform/virtual/web_server.h"
#include "tests/ports/contract.h"
#include "tests/two_windows.h"

namespace contract {

namespace {

std::unique_ptr<vsession::VirtualSession> sSession;
std::vector<std::unique_ptr<vsession::LoopbackWebServer>> sServers;

// The reader's window holds a scroll area, so that the element under it is one.
vsession::SessionConfig sessionConfig() {
  vsession::SessionConfig config = testing_support::twoWindowConfig();
  config.windows[0].ui = {vsession::uiScrollArea({{100, 140}, {800, 560}}, {800, 5000}, 0, {})};
  return config;
}

}  // namespace

port::Platform& begin() {
  sSession = std::make_unique<vsession::VirtualSession>(sessionConfig());
  port::setPlatform(&sSession->platform());
  return sSession->platform();
}

void end() {
  sServers.clear();
  port::setPlatform(nullptr);
  sSession.reset();
}

void runFor(double seconds) {
  sSession->runUntil(sSession->elapsed() + seconds);
}

bool runUntil(const std::function<bool()>& done, double limit) {
  constexpr double kStep = 0.001;
  for (double waited = 0; waited < limit; waited += kStep) {
    if (done()) return true;
    runFor(kStep);
  }
  return done();
}

bool handMovesMouse(port::CGPoint by) {
  vsession::InputDevices& input = sSession->input();
  input.moveHand({input.hand().x + by.x, input.hand().y + by.y});
  return true;
}

bool handTurnsWheel(double notches) {
  sSession->input().wheel(0, notches, std::nullopt);
  return true;
}

bool handHoldsShift(bool held) {
  sSession->input().setModifiers(held ? port::kCGEventFlagMaskShift : 0);
  return true;
}

bool handScrollsTrackpad(double pixelsY, int quartzPhase) {
  sSession->input().trackpad({0, false, 0, pixelsY, quartzPhase, 0});
  return true;
}

bool applicationStopsAnswering(int32_t pid, double seconds) {
  double now = sSession->scheduler().now();
  sSession->accessibility().hangApplication(pid, now, now + seconds);
  return true;
}

bool someoneAnswersAlerts() {
  return true;
}

bool revokeAccessibility() {
  sSession->setAccessibilityTrusted(false);
  return true;
}

std::optional<std::string> serve(const std::string& path, const std::string& body) {
  auto& server = sServers.emplace_back(std::make_unique<vsession::LoopbackWebServer>(
      std::map<std::string, vsession::WebAnswer>{{path, vsession::WebAnswer{200, body}}}));
  if (server->baseURL().empty()) return std::nullopt;
  return server->baseURL();
}

}  // namespace contract
