#include "VAutils.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "acc/blockAtomic.h"
#include "platform/api/platform.h"

using namespace port;

namespace {

VAutilsStatics s;

// NSMouseInRect for an unflipped rect: the left and top edges are inside, the right and
// bottom edges are not.
bool mouseInRect(CGPoint p, const CGRect& r) {
  return p.x >= r.origin.x && p.x < r.origin.x + r.size.width && p.y > r.origin.y &&
         p.y <= r.origin.y + r.size.height;
}

// Tests the filled slots and, deliberately, the one after them, which may still hold a
// screen from an earlier refresh; bounded to the cache's size.
const CGRect* screenContaining(CGPoint p) {
  if (s.sNumScreens < 0) return nullptr;
  int last = std::min(s.sNumScreens, kMaxCachedScreens - 1);
  for (int i = 0; i <= last; ++i) {
    if (mouseInRect(p, s.sScreenFrames[i])) return &s.sScreenFrames[i];
  }
  return nullptr;
}

}  // namespace

VAutilsStatics& VAutils_statics() {
  return s;
}
void VAutils_reset() {
  s = VAutilsStatics{};
}

void utils_cacheNSScreenFrames_force(bool force) {
  if (!force && platform().clock->absoluteTimeGetCurrent() < 10.0) return;
  std::vector<CGRect> frames = platform().windowServer->screenFrames();
  int count = std::min(static_cast<int>(frames.size()), kMaxCachedScreens);
  for (int i = 0; i < count; ++i) s.sScreenFrames[i] = frames[i];
  s.sNumScreens = count;
}

CGRect utils_mainScreenFrame() {
  return s.sScreenFrames[0];
}

CGPoint carbonScreenPointFromCocoaScreenPoint(CGPoint p) {
  if (!screenContaining(p)) {
    utils_cacheNSScreenFrames_force(true);
    if (!screenContaining(p)) return {0, 0};
  }
  // Quartz y runs down from the top of the main screen, whatever screen holds the point.
  return {p.x, s.sScreenFrames[0].size.height - p.y};
}

void warpCursorToCocoaPoint(CGPoint p) {
  platform().windowServer->warpMouseCursorPosition(carbonScreenPointFromCocoaScreenPoint(p));
}

CGPoint unflippedPointfor_cgevent(CGEventRef event) {
  return platform().quartz->getUnflippedLocation(event);
}

float readAppleScrollWheelSpeed(double now) {
  if (now - s.timeAppleScrollSpeedLastFetched < 2.0) return s.scrollWheelSpeed;
  s.timeAppleScrollSpeedLastFetched = now;
  dispatchMainWithAutoreleasePool([] {
    if (auto scaling = platform().systemFacts->scrollWheelScaling()) {
      s.scrollWheelSpeed = static_cast<float>(*scaling);
    }
  });
  s.scrollWheelSpeed = std::clamp(s.scrollWheelSpeed, 0.0f, 5.0f);
  return s.scrollWheelSpeed;
}

double utils_now() {
  return platform().clock->absoluteTimeGetCurrent();
}

int32_t truncateToInt32(double v) {
  constexpr double kLimit = 2147483648.0;  // 2^31
  if (!(v > -kLimit - 1 && v < kLimit)) return std::numeric_limits<int32_t>::min();
  return static_cast<int32_t>(v);
}

int64_t truncateToInt64(double v) {
  constexpr double kLimit = 9223372036854775808.0;  // 2^63
  if (!(v >= -kLimit && v < kLimit)) return std::numeric_limits<int64_t>::min();
  return static_cast<int64_t>(v);
}

IRect rectWith_rect_ofst_dir(IRect rect, int32_t ofst, int32_t dir) {
  if (dir == kDirectionUp) rect.top -= ofst;
  if (dir == kDirectionDown) rect.bottom += ofst;
  return rect;
}

void intersect_rectPtr_withRect(IRect* rect, IRect limit) {
  rect->top = std::max(rect->top, limit.top);
  rect->left = std::max(rect->left, limit.left);
  rect->bottom = std::min(rect->bottom, limit.bottom);
  rect->right = std::min(rect->right, limit.right);
}

// Callers take the assertion once when hover starts; a second one replaces the id.
void preventSleep_yesno(bool yes) {
  Power& power = *platform().power;
  if (yes) {
    s.assertionID = power.createNoDisplaySleepAssertion("Hover Scroll preventing sleep.");
  } else if (s.assertionID != 0) {
    power.releaseAssertion(s.assertionID);
    s.assertionID = 0;
  }
}
