// The port contracts run against the adapter: the real system, as the agent meets it. The
// test program is an application without a Dock icon, so that it can own windows; time is
// real, passed by running the main thread's run loop.
#import <AppKit/AppKit.h>

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "ports.h"
#include "tests/ports/contract.h"
#if VARSEL_LOOPBACK_SERVER
#include "platform/virtual/web_server.h"
#endif

namespace contract {

namespace {

#if VARSEL_LOOPBACK_SERVER
std::vector<std::unique_ptr<vsession::LoopbackWebServer>> sServers;
#endif

}  // namespace

port::Platform& begin() {
  static bool launched = [] {
    [NSApplication sharedApplication];
    [NSApp setActivationPolicy:NSApplicationActivationPolicyAccessory];
    return true;
  }();
  (void)launched;
  port::setPlatform(&macos::allPorts());
  return macos::allPorts();
}

void end() {
#if VARSEL_LOOPBACK_SERVER
  sServers.clear();
#endif
}

void runFor(double seconds) {
  CFAbsoluteTime deadline = CFAbsoluteTimeGetCurrent() + seconds;
  for (;;) {
    CFTimeInterval left = deadline - CFAbsoluteTimeGetCurrent();
    if (left <= 0) return;
    NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
    // A loop with nothing to serve returns at once; time still has to pass.
    if (CFRunLoopRunInMode(kCFRunLoopDefaultMode, left, false) == kCFRunLoopRunFinished) {
      [NSThread sleepForTimeInterval:std::min(left, 0.01)];
    }
    [pool drain];
  }
}

bool runUntil(const std::function<bool()>& done, double limit) {
  constexpr double kSlice = 0.01;
  for (double waited = 0; waited < limit; waited += kSlice) {
    if (done()) return true;
    runFor(kSlice);
  }
  return done();
}

// Only a person moves a Mac's mouse, wheel and trackpad.
bool handMovesMouse(port::CGPoint) {
  return false;
}
bool handTurnsWheel(double) {
  return false;
}
bool handHoldsShift(bool) {
  return false;
}
bool handScrollsTrackpad(double, int) {
  return false;
}

bool applicationStopsAnswering(int32_t, double) {
  return false;
}

bool someoneAnswersAlerts() {
  return false;
}

bool revokeAccessibility() {
  return false;
}

std::optional<std::string> serve(const std::string& path, const std::string& body) {
#if VARSEL_LOOPBACK_SERVER
  auto& server = sServers.emplace_back(std::make_unique<vsession::LoopbackWebServer>(
      std::map<std::string, vsession::WebAnswer>{{path, vsession::WebAnswer{200, body}}}));
  if (server->baseURL().empty()) return std::nullopt;
  return server->baseURL();
#else
  (void)path;
  (void)body;
  return std::nullopt;
#endif
}

}  // namespace contract
