#include "display_services.h"

namespace vsession {

using namespace port;

std::vector<WindowInfo> VirtualWindowServer::copyOnScreenWindowList() {
  std::vector<WindowInfo> list;
  for (const VirtualWindow& w : world_.windows) {
    const VirtualApp* owner = world_.app(w.pid);
    list.push_back(
        {w.number, w.layer, w.pid, 1, w.frame, 1.0, owner ? owner->displayName() : std::string()});
  }
  return list;
}

int64_t VirtualWindowServer::windowNumberAtPoint(CGPoint cocoaPoint, int64_t belowWindowNumber) {
  CGPoint p{cocoaPoint.x, world_.mainScreenHeight() - cocoaPoint.y};
  bool below = belowWindowNumber == 0;
  for (const VirtualWindow& w : world_.windows) {
    if (!below) {
      below = w.number == belowWindowNumber;
      continue;
    }
    if (!w.ignoresMouseEvents && rectContains(w.frame, p)) return w.number;
  }
  return 0;
}

std::vector<CGRect> VirtualWindowServer::screenFrames() {
  std::vector<CGRect> frames;
  double mainHeight = world_.mainScreenHeight();
  for (const CGRect& s : world_.screens) {
    frames.push_back({{s.origin.x, mainHeight - (s.origin.y + s.size.height)}, s.size});
  }
  return frames;
}

void VirtualWindowServer::warpMouseCursorPosition(CGPoint quartzPoint) {
  world_.cursor = world_.clampToScreens(quartzPoint);
  trace_.add(scheduler_.now(), "warp", {{"x", world_.cursor.x}, {"y", world_.cursor.y}});
}

IOPMAssertionID VirtualPower::createNoDisplaySleepAssertion(const std::string&) {
  if (failNext) {
    failNext = false;
    return 0;
  }
  held_.insert(next_);
  return next_++;
}

}  // namespace vsession
