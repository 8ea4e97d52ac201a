// The virtual session's window server (window list, screens as NSScreen reports them,
// cursor warping and appearance) and power assertions.
#pragma once

#include <cstdint>
#include <set>
#include <string>

#include "agent_windows.h"
#include "platform/api/power.h"
#include "platform/api/window_server.h"
#include "scheduler.h"
#include "trace.h"
#include "world.h"

namespace vsession {

class VirtualWindowServer final : public port::WindowServer {
 public:
  VirtualWindowServer(World& world, Trace& trace, Scheduler& scheduler)
      : world_(world), trace_(trace), scheduler_(scheduler) {}

  std::vector<port::WindowInfo> copyOnScreenWindowList() override;
  int64_t windowNumberAtPoint(port::CGPoint cocoaPoint, int64_t belowWindowNumber) override;
  // Cocoa frames: the main screen at the origin, the others placed relative to it, y up.
  std::vector<port::CGRect> screenFrames() override;
  // Moves the cursor without an event, as CGWarpMouseCursorPosition does.
  void warpMouseCursorPosition(port::CGPoint quartzPoint) override;
  uint32_t screenNumber(size_t index) override;
  bool readFramebufferCursor(uint32_t displayID, port::CursorShape* cursor) override;
  bool currentSystemCursor(port::CursorShape* cursor) override;
  std::vector<port::CGPoint> handCursorHotSpots() override;

  // The agent's own windows (`pid`, `name`) are in the window list too, as every process's
  // on-screen windows are.
  void listAgentWindows(const VirtualOverlayWindows* windows, int32_t pid, std::string name) {
    agentWindows_ = windows;
    agentPid_ = pid;
    agentName_ = std::move(name);
  }
  // The cursor moved: the application under it may show another cursor.
  void cursorMoved();
  bool handShown() const { return handShown_; }
  // The framebuffer cannot be opened, as on Apple silicon, where displays have no framebuffer
  // service; AppKit still tells the current cursor.
  bool failFramebuffer = false;
  // Where AppKit's hand cursors have their hot spot, as it reports them.
  port::CGPoint appKitHandHotSpot{13, 8};

 private:
  World& world_;
  Trace& trace_;
  Scheduler& scheduler_;
  const VirtualOverlayWindows* agentWindows_ = nullptr;
  int32_t agentPid_ = 0;
  std::string agentName_;
  static constexpr uint32_t kFirstDisplayID = 0x4280880;
  bool handShown_ = false;
};

class VirtualPower final : public port::Power {
 public:
  port::IOPMAssertionID createNoDisplaySleepAssertion(const std::string& name) override;
  void releaseAssertion(port::IOPMAssertionID id) override { held_.erase(id); }
  const std::set<port::IOPMAssertionID>& held() const { return held_; }
  bool failNext = false;  // the next assertion cannot be made

 private:
  port::IOPMAssertionID next_ = 1;
  std::set<port::IOPMAssertionID> held_;
};

}  // namespace vsession
