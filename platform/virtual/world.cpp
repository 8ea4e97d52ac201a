#include "world.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vsession {

bool rectContains(const port::CGRect& r, port::CGPoint p) {
  return p.x >= r.origin.x && p.x < r.origin.x + r.size.width && p.y >= r.origin.y &&
         p.y < r.origin.y + r.size.height;
}

int32_t World::pidAt(port::CGPoint p) const {
  for (const VirtualWindow& w : windows) {
    if (!w.ignoresMouseEvents && rectContains(w.frame, p)) return w.pid;
  }
  return 0;
}

VirtualApp* World::app(int32_t pid) {
  for (VirtualApp& a : apps) {
    if (a.pid == pid) return &a;
  }
  return nullptr;
}

port::CGPoint World::clampToScreens(port::CGPoint p) const {
  if (screens.empty()) return p;
  port::CGPoint best = p;
  double bestDistance = std::numeric_limits<double>::infinity();
  for (const port::CGRect& s : screens) {
    // The last pixel row and column are the screen's edge: x < origin + width.
    port::CGPoint q{std::clamp(p.x, s.origin.x, s.origin.x + s.size.width - 1),
                    std::clamp(p.y, s.origin.y, s.origin.y + s.size.height - 1)};
    double d = std::hypot(q.x - p.x, q.y - p.y);
    if (d < bestDistance) {
      bestDistance = d;
      best = q;
    }
  }
  return best;
}

void World::moveCursor(port::CGPoint p) {
  cursor = clampToScreens(p);
  if (cursorMoved) cursorMoved();
}

namespace {
bool handUnder(const std::vector<UiSpec>& elements, port::CGPoint p) {
  for (const UiSpec& e : elements) {
    if (!rectContains(e.frame, p)) continue;
    if (e.handCursor || handUnder(e.children, p)) return true;
  }
  return false;
}
}  // namespace

bool World::handCursorAt(port::CGPoint p) const {
  for (const VirtualWindow& w : windows) {
    if (!w.ignoresMouseEvents && rectContains(w.frame, p)) return handUnder(w.ui, p);
  }
  return false;
}

}  // namespace vsession
