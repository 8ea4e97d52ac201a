#include "display_services.h"

#include <algorithm>

namespace vsession {

using namespace port;

std::vector<WindowInfo> VirtualWindowServer::copyOnScreenWindowList() {
  std::vector<WindowInfo> list;
  for (const VirtualWindow& w : world_.windows) {
    const VirtualApp* owner = world_.app(w.pid);
    list.push_back(
        {w.number, w.layer, w.pid, 1, w.frame, 1.0, owner ? owner->displayName() : std::string()});
  }
  if (!agentWindows_) return list;
  // Each visible window of the agent's goes in front of the windows of its level and below:
  // its layer is its level, its bounds in Quartz coordinates.
  double height = world_.mainScreenHeight();
  for (const OverlayWindow& w : agentWindows_->windows()) {
    if (!w.visible) continue;
    CGRect bounds{{w.frame.origin.x, height - w.frame.origin.y - w.frame.size.height},
                  w.frame.size};
    auto place = std::find_if(list.begin(), list.end(),
                              [&w](const WindowInfo& other) { return other.layer <= w.level; });
    list.insert(place, {w.id, w.level, agentPid_, 1, bounds, w.alpha, agentName_});
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
  world_.moveCursor(quartzPoint);
  trace_.add(scheduler_.now(), "warp", {{"x", world_.cursor.x}, {"y", world_.cursor.y}});
}

// Display ids as the window server numbers them: the built-in display's, then the next.
uint32_t VirtualWindowServer::screenNumber(size_t index) {
  return index < world_.screens.size() ? kFirstDisplayID + static_cast<uint32_t>(index) : 0;
}

namespace {
// The arrow's hot spot is its tip; the system's hand cursors all have theirs at (13, 8).
constexpr CursorShape kHandCursor{{32, 32}, {13, 8}};
constexpr CursorShape kArrowCursor{{17, 23}, {4, 4}};
}  // namespace

bool VirtualWindowServer::readFramebufferCursor(uint32_t displayID, CursorShape* cursor) {
  if (failFramebuffer || displayID < kFirstDisplayID ||
      displayID - kFirstDisplayID >= world_.screens.size()) {
    return false;
  }
  *cursor = handShown_ ? kHandCursor : kArrowCursor;
  return true;
}

bool VirtualWindowServer::currentSystemCursor(CursorShape* cursor) {
  *cursor = handShown_ ? CursorShape{kHandCursor.size, appKitHandHotSpot} : kArrowCursor;
  return true;
}

std::vector<CGPoint> VirtualWindowServer::handCursorHotSpots() {
  return {appKitHandHotSpot, appKitHandHotSpot, appKitHandHotSpot};
}

void VirtualWindowServer::cursorMoved() {
  bool hand = world_.handCursorAt(world_.cursor);
  if (hand == handShown_) return;
  handShown_ = hand;
  trace_.add(scheduler_.now(), "cursor", {{"hand", hand}});
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
