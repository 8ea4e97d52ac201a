#include "VAhover.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "Commonprefs.h"
#include "Commonprefs_offsets.h"
#include "VAscroll.h"
#include "VAstate.h"
#include "acc/blockAtomic.h"
#include "bgDelegate.h"
#include "platform/api/platform.h"

using namespace port;

namespace {
VAhoverStatics s;

// Timer intervals: scrolling, idle in or near a zone or moving, resting outside the zones.
constexpr double kScrollingInterval = static_cast<double>(0.025f);
constexpr double kIdleInterval = 0.5;
constexpr double kRestingInterval = static_cast<double>(1.3f);
constexpr double kEaseIn = 1.25;               // seconds for a hover scroll to reach its speed
constexpr double kSpeedTweakRemembered = 300;  // seconds
constexpr float kStopsHoverAt = 0.15f;         // a slower hover lets a click through

// The bands swap bars when the user reverses hover (or autoscroll) scrolling.
bool reversed() {
  bool autoscrolling = state_doingAutoScroll();
  return (s.prefs->hoverReverseYOn && !autoscrolling) ||
         (s.prefs->autoScrollReverseYOn && autoscrolling);
}

IRect upBase(const IRect& area) {
  return rectWith_rect_ofst_dir(area, s.sUpOfst, kDirectionUp);
}
IRect downBase(const IRect& area) {
  return rectWith_rect_ofst_dir(area, s.sDownOfst, kDirectionDown);
}

void scheduleSetHoverLow(double interval) {
  dispatchMainWithAutoreleasePool([interval] { setHoverLow(interval); });
}
}  // namespace

VAhoverStatics& VAhover_statics() {
  return s;
}

void VAhover_reset() {
  s = VAhoverStatics{};
}

void hover_initPrefs() {
  s.prefs = prefs_bgprefs();
}

float hover_edgeSizeV(const IRect* r) {
  int32_t height = r->top - r->bottom;
  float e = static_cast<float>(static_cast<int32_t>(s.prefs->hoverVpercent * height)) / 100;
  if (s.prefs->hoverVmax != 0) e = std::min(static_cast<float>(s.prefs->hoverVmax), e);
  return e;
}

bool is_cursorIn_hoverZoneUp_margin(const IRect* r, int32_t m, double x, double y) {
  float e = hover_edgeSizeV(r);
  if (x < r->left - m || x >= r->right + m || y < r->bottom - m || y > r->top + m ||
      y < r->top - m - e) {
    return false;
  }
  s.sCurZoneUp = *r;
  s.sCurZoneUp.bottom = static_cast<int32_t>(r->top - e);
  return true;
}

bool is_cursorIn_hoverZoneDown_margin(const IRect* r, int32_t m, double x, double y) {
  float e = hover_edgeSizeV(r);
  if (x < r->left - m || x >= r->right + m || y < r->bottom - m || y > r->top + m ||
      y > r->bottom + m + e) {
    return false;
  }
  s.sCurZoneDown = *r;
  s.sCurZoneDown.top = static_cast<int32_t>(r->bottom + e);
  return true;
}

// The down test runs first, so when both bands hold the point the up band's speed wins.
bool hover_isPoint_inZoneWithMargin(int32_t margin, double x, double y) {
  bool hit = false;
  auto test = [&](bool (*inZone)(const IRect*, int32_t, double, double), const IRect& base) {
    if (!inZone(&base, margin, x, y)) return;
    s.sHoverSpeedY = calcHoverSpeedY_pty_rect(&base, y);
    hit = true;
  };
  if (!reversed()) {
    if (s.sHaveDownRect) test(is_cursorIn_hoverZoneDown_margin, downBase(s.sCurDownRect));
    if (s.sHaveUpRect) test(is_cursorIn_hoverZoneUp_margin, upBase(s.sCurUpRect));
  } else {
    // The top band appears where the area can scroll down, and the other way round.
    if (s.sHaveUpRect) test(is_cursorIn_hoverZoneDown_margin, downBase(s.sCurUpRect));
    if (s.sHaveDownRect) test(is_cursorIn_hoverZoneUp_margin, upBase(s.sCurDownRect));
  }
  return hit;
}

// The depth into the band from its inner boundary, less the user's tweak, sets the speed on
// a curve that starts flat and reaches hoverVspeed at the outer edge.
float calcHoverSpeedY_pty_rect(const IRect* r, double y) {
  float e = hover_edgeSizeV(r);
  s.sLastEdgeSizeV = e;
  float tweak = static_cast<float>(state_hoverSpeedTweak());
  float downTop = r->bottom + e;
  bool upper = y > downTop;
  float d;
  if (upper) {
    if (tweak >= y - (r->top - e)) tweak = static_cast<float>(y - (r->top - e) - 1);
    if (y - r->top > tweak) tweak = static_cast<float>(y - r->top);
    d = (static_cast<float>(y - tweak) - static_cast<float>(r->top)) + e;
  } else {
    if (tweak > downTop - y) tweak = static_cast<float>(downTop - y - 1);
    if (r->bottom - y > tweak) tweak = static_cast<float>(r->bottom - y);
    d = downTop - static_cast<float>(tweak + y);
  }
  float b = d / e;
  double speed = std::pow(static_cast<double>(b), static_cast<double>(0.4f + b) * 5.0);
  if (state_hoverFaster()) speed = std::max(speed, 0.8);
  if (!upper) speed = -speed;
  float v = static_cast<float>(s.prefs->hoverVspeed * speed);
  if (reversed()) v = -v;
  if (state_hoverReverse()) v = -v;
  if (s.sTimeHoverScrollStarted != 0) {
    double t = utils_now() - s.sTimeHoverScrollStarted;
    if (t < kEaseIn) {
      constexpr double pi = std::numbers::pi;
      v = static_cast<float>(v *
                             (std::sin(static_cast<float>(t / kEaseIn) * pi * 0.5 - pi / 2) + 1));
    }
  }
  return v;
}

// A cursor that is still, or rushes through a zone, starts nothing: over the last 0.3 s it
// must have moved at least 2 px on an axis and no more than 20 on either.
bool isCursorSpeedInRange_timeNow(double now) {
  float sumX = 0;
  float sumY = 0;
  double newer = now;
  int32_t index = s.sPanXYindex;
  for (int n = 0; n < kPanHistorySize - 1; ++n) {
    if (--index < 0) index = kPanHistorySize - 1;
    const PanMovement& m = s.sPanXYhistory[index];
    if (newer - m.time > 0.1) return false;
    sumX += m.dx;
    sumY += m.dy;
    if (now - m.time >= 0.3) {
      if (sumX > 20 || sumY > 20) return false;
      return sumX >= 2 || sumY >= 2;
    }
    newer = m.time;
  }
  return false;
}

void startHoverTimer() {
  RunLoops& runLoops = *platform().runLoops;
  if (s.hoverTimer && runLoops.timerGetInterval(s.hoverTimer) == s.hoverTimerFreq) return;
  stopHoverTimer();
  s.hoverTimer = runLoops.timerCreate(utils_now(), s.hoverTimerFreq, hoverTimerProc, nullptr);
  if (!s.hoverTimer) return;
  if (CFRunLoopRef current = runLoops.getCurrent()) {
    runLoops.addTimer(current, s.hoverTimer, RunLoopMode::kCommon);
  }
}

void stopHoverTimer() {
  if (!s.hoverTimer) return;
  platform().runLoops->timerInvalidate(s.hoverTimer);
  s.hoverTimer = nullptr;
}

void setHoverLow(double interval) {
  s.hoverTimerFreq = interval;
  if (prefs_hoverOn()) {
    startHoverTimer();
  } else {
    stopHoverTimer();
  }
  s.sTimeHoverScrollStarted = 0;
  state_setDoingHover(false);
  state_setDoingAutoScroll(false);
  preventSleep_yesno(false);
}

void hoverTimerProc(CFRunLoopTimerRef, void*) {
  CGPoint p = platform().cocoa->mouseLocation();
  double now = utils_now();
  s.sHoverScrollDeltaX = static_cast<float>(p.x - s.sLastCursorPoint.x);
  s.sHoverScrollDeltaY = static_cast<float>(p.y - s.sLastCursorPoint.y);
  s.sLastCursorPoint = p;
  s.sPanXYhistory[s.sPanXYindex] = {std::fabs(s.sHoverScrollDeltaX),
                                    std::fabs(s.sHoverScrollDeltaY), now};
  if (++s.sPanXYindex == kPanHistorySize) s.sPanXYindex = 0;

  double wanted;
  if (hover_isPoint_inZoneWithMargin(0, p.x, p.y)) {
    if (s.sPauseHoverUntilOutOfZone || !state_canHover()) {
      wanted = kIdleInterval;
    } else {
      if (!state_doingHover()) {
        if (s.hoverTimerFreq != kScrollingInterval) {
          dispatchMainWithAutoreleasePool([] {
            s.hoverTimerFreq = kScrollingInterval;
            startHoverTimer();
          });
        }
        int32_t tweak = 0;
        if (state_doingAutoScroll()) {
          // The speed the user tuned in this window's last autoscroll, if recent.
          if (s.sLastSpeedTweakWnum == bgDelegate::lastWindowNumber() &&
              now - s.sLastSpeedTweakTime < kSpeedTweakRemembered) {
            tweak = state_lastAutoScrollSpeedTweak();
          }
        } else if (!prefs_hoverOn() || !isCursorSpeedInRange_timeNow(now)) {
          return;
        }
        s.sTimeHoverScrollStarted = now;
        state_setHoverFaster(false);
        state_setHoverSpeedTweak(tweak);
        state_setHoverReverse(false);
        s.sHoverSpeedY = 0;
        s.sPauseHoverUntilOutOfZone = false;
        state_setDoingHover(true);
        preventSleep_yesno(true);
        dispatchMainWithAutoreleasePool([] { bgDelegate::postVAEvent(1); });
      }
      if (s.sHoverSpeedY != 0) scrollForCoast_x_y(0, s.sHoverSpeedY);
      return;
    }
  } else {
    s.sPauseHoverUntilOutOfZone = false;
    bool still = s.sHoverScrollDeltaX == 0 && s.sHoverScrollDeltaY == 0;
    wanted = still ? kRestingInterval : kIdleInterval;
  }
  if (wanted != s.hoverTimerFreq) scheduleSetHoverLow(wanted);
}

// Horizontal zones need a setting that no preference key sets: their bars are dropped. For
// the next pass, the zones are to show only while the cursor is in or near one; that pass
// hides them again first unless the hover modifier forces them.
void hover_updateRects(Bars* bars) {
  s.sHaveUpRect = false;
  s.sHaveDownRect = false;
  bars->deactivateHoverZones = s.sDeactivateHoverZones;
  if (bars->up.found) {
    if (bars->up.rect != s.sCurUpRect) ++bars->changeCount;
    s.sCurUpRect = bars->up.rect;
    s.sHaveUpRect = true;
  }
  if (bars->down.found) {
    if (bars->down.rect != s.sCurDownRect) ++bars->changeCount;
    s.sCurDownRect = bars->down.rect;
    s.sHaveDownRect = true;
  }
  bars->left.found = 0;
  bars->right.found = 0;
  if (!prefs_hoverOn() || state_doingHover() || state_forcingZonesVisible() ||
      state_draggingHoverZone()) {
    return;
  }
  setHoverLow(kIdleInterval);
  CGPoint p = platform().cocoa->mouseLocation();
  bool in = hover_isPoint_inZoneWithMargin(0, p.x, p.y);
  bool near =
      hover_isPoint_inZoneWithMargin(static_cast<int32_t>(s.sLastEdgeSizeV / 2.5), p.x, p.y);
  s.sDeactivateHoverZones = !(in || near);
}

void hover_hideZones(bool hide) {
  s.sDeactivateHoverZones = hide;
}

// The cursor goes into the zone at a depth that autoScrollSpeed sets (25 is halfway, 0 is
// 2 px inside), then the timer starts ticking at full rate.
void hover_startAutoScroll(int32_t dir) {
  bool up = dir == kDirectionUp;
  auto have = [up] { return up ? s.sHaveUpRect : s.sHaveDownRect; };
  if (!have()) {
    bgDelegate::runTimerForWindowCenter();
    if (!have()) return;
  }
  IRect base = up ? upBase(s.sCurUpRect) : downBase(s.sCurDownRect);
  state_setDoingAutoScroll(true);
  s.sPauseHoverUntilOutOfZone = false;
  float e = hover_edgeSizeV(&base);
  float depth = e * s.prefs->autoScrollSpeed / 50;
  depth = std::min(std::max(depth, 2.0f), e);
  double y =
      up ? static_cast<float>(base.top) - e + depth : e + static_cast<float>(base.bottom) - depth;
  double x = platform().cocoa->mouseLocation().x;
  if (x < base.left || x > base.right) x = base.left + (base.right - base.left) / 2;
  warpCursorToCocoaPoint(CGPoint{x, y});
  s.hoverTimerFreq = kScrollingInterval;
  startHoverTimer();
}

bool hover_willEventStopHover() {
  if (!state_doingHover()) return false;
  CGPoint p = platform().cocoa->mouseLocation();
  if (!hover_isPoint_inZoneWithMargin(0, p.x, p.y)) return true;
  s.sPauseHoverUntilOutOfZone = true;
  return std::fabs(s.sHoverSpeedY) >= kStopsHoverAt;
}

void hover_draggedWindow_direction_pid(NSWindowRef window, int32_t dir, int32_t pid) {
  state_setDraggingHoverZone(false);
  CGRect frame = platform().overlayWindows->frame(window);
  if (dir == kDirectionDown) {
    s.sDownOfst = static_cast<int32_t>(frame.origin.y) - s.sCurDownRect.bottom;
  } else {
    s.sUpOfst = s.sCurUpRect.top - static_cast<int32_t>(frame.origin.y + frame.size.height);
  }
  prefs_saveUpOfst_downOfst_pid(s.sUpOfst, s.sDownOfst, pid);
}

void hover_setUpOfst_down(int32_t up, int32_t down) {
  s.sUpOfst = up;
  s.sDownOfst = down;
}

void hover_setLastSpeedTweakWnum(int32_t windowNumber) {
  s.sLastSpeedTweakWnum = windowNumber;
  s.sLastSpeedTweakTime = utils_now();
}
