// What every port promises the agent, written against the ports alone, so that the same
// tests judge whichever implementation is linked: the virtual session on Linux, the macOS
// adapter on a Mac. The implementation under test provides the few things a contract needs
// beyond its ports: the ports themselves, time passing on the main thread's run loop, and a
// loopback HTTP server.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/api/platform.h"

namespace contract {

// Before each test: the ports, set as the process's platform; a fresh session where the
// implementation can make one. After each test: end.
port::Platform& begin();
void end();

// The main thread runs its run loop in the default mode for `seconds` (every other thread
// runs meanwhile), as an application's main thread does between events.
void runFor(double seconds);
// The same until `done` answers yes, for at most `limit` seconds; whether it did.
bool runUntil(const std::function<bool()>& done, double limit);

// A server on the loopback interface answering GET `path` (no leading slash) with `body`
// until end(); its base URL ("http://127.0.0.1:PORT/"), or nothing where the build has none.
std::optional<std::string> serve(const std::string& path, const std::string& body);

// A person's hand on the devices, where the implementation can stand in for one: the mouse
// moved by a distance, the notchy wheel turned (`notches` in one event, positive away from
// the user), Shift held or let go, a two-finger trackpad scroll frame with its Quartz
// scroll phase. Each answers false where nobody can do it for the test (on a real Mac only
// a person can), and the contract then skips with kNeedsAHand.
bool handMovesMouse(port::CGPoint by);
bool handTurnsWheel(double notches);
bool handHoldsShift(bool held);
bool handScrollsTrackpad(double pixelsY, int quartzPhase);
// Application `pid` stops answering for `seconds` from now, as a hung one does; false where
// the implementation cannot make it (the contract then skips with kNeedsAHungApplication).
bool applicationStopsAnswering(int32_t pid, double seconds);
inline constexpr const char* kNeedsAHungApplication =
    "needs an application that stops answering, which only the virtual session can make";
// Whether someone answers this program's alerts with their default button a little while
// after they appear (only the virtual session's user does; the contract then skips with
// kNeedsSomeoneToAnswer).
bool someoneAnswersAlerts();
inline constexpr const char* kNeedsSomeoneToAnswer =
    "needs someone to answer an alert, which only the virtual session's user does";

// The user withdraws this program's accessibility permission; false where the implementation
// cannot (the contract then skips with kNeedsARevocation).
bool revokeAccessibility();
inline constexpr const char* kNeedsARevocation =
    "needs the accessibility permission withdrawn while the test runs, which only the virtual "
    "session can do";
inline constexpr const char* kNeedsAHand =
    "needs a hand on the mouse, wheel or trackpad, which only the virtual session can lend a test";

// Storage for a thread that goes on running after its test (threads are never stopped):
// it stays reachable for the rest of the process.
template <class T>
T& outliving() {
  static auto* kept = new std::vector<std::unique_ptr<T>>;
  return *kept->emplace_back(std::make_unique<T>());
}

// An event tap at the session level, its source on the main run loop in `mode`, enabled;
// null when the system makes none.
inline port::CFMachPortRef tapOnMain(port::Platform& p, port::CGEventTapOptions options,
                                     port::CGEventMask mask, port::CGEventTapCallBack callback,
                                     void* info,
                                     port::RunLoopMode mode = port::RunLoopMode::kCommon) {
  port::CFMachPortRef tap = p.quartz->tapCreate(
      port::kCGSessionEventTap, port::kCGHeadInsertEventTap, options, mask, callback, info);
  if (!tap) return nullptr;
  p.runLoops->addSource(p.runLoops->getMain(), p.quartz->machPortCreateRunLoopSource(tap, 0), mode);
  p.quartz->tapEnable(tap, true);
  return tap;
}

// The frontmost ordinary window of another application, from the window list; nothing when
// none is on screen.
inline std::optional<port::WindowInfo> frontWindow(port::Platform& p) {
  int32_t self = p.application->processIdentifier();
  for (const port::WindowInfo& w : p.windowServer->copyOnScreenWindowList()) {
    if (w.layer == 0 && w.ownerPid != self && w.alpha > 0 && w.bounds.size.width > 40 &&
        w.bounds.size.height > 40) {
      return w;
    }
  }
  return std::nullopt;
}
inline port::CGPoint centreOf(const port::CGRect& r) {
  return {r.origin.x + r.size.width / 2, r.origin.y + r.size.height / 2};
}

// The fixture of every contract: the ports of a fresh begin().
class PortContract : public ::testing::Test {
 protected:
  void SetUp() override { ports_ = &begin(); }
  void TearDown() override { end(); }
  port::Platform& ports() { return *ports_; }
  bool trusted() { return ports_->accessibility->isProcessTrustedWithOptions(false); }

 private:
  port::Platform* ports_ = nullptr;
};

// A contract that needs a permission this process lacks is skipped with its name.
inline constexpr const char* kNeedsAccessibility =
    "needs the accessibility permission for this test program (System Settings, Privacy & "
    "Security, Accessibility): without it the system refuses event taps, posted events and "
    "accessibility calls";

}  // namespace contract
