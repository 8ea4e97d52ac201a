#include "VAshow.h"

#include "VAcursor.h"
#include "VAhover.h"
#include "VAstate.h"
#include "VAutils.h"
#include "bgDelegate.h"
#include "platform/api/platform.h"

using namespace port;

namespace {
VAshowStatics s;

constexpr double kZoneAlpha = 0.3;
constexpr double kFadeStep = 0.03;
constexpr double kFadeInterval = 0.05;
constexpr int32_t kScrollBarWidth = 15;
constexpr uint32_t kWidthAndHeightSizable = 18;
constexpr uint32_t kFlexibleSideMargins = 5;
// With the window's alpha, a faint reddish band with a stronger rim.
constexpr FilledViewStyle kZoneStyle{0.5, 0.2, 0.2, 0.5, 0.7, 5.0};

OverlayWindows& windows() {
  return *platform().overlayWindows;
}

bool sameRect(const CGRect& a, const CGRect& b) {
  return a.origin.x == b.origin.x && a.origin.y == b.origin.y && a.size.width == b.size.width &&
         a.size.height == b.size.height;
}

void showOrHide(NSWindowRef window, bool show, int64_t above) {
  if (show) {
    windows().orderWindowAbove(window, above);
  } else if (windows().isVisible(window)) {
    windows().orderOut(window);
  }
}

void finishFade() {
  s.sDoingFadeUp = false;
  s.sDoingFadeDown = false;
  windows().setAlphaValue(s.upW, kZoneAlpha);
  windows().setAlphaValue(s.downW, kZoneAlpha);
  VAshow::makeZonesClickable(true);
  if (!state_draggingHoverZone()) VAshow::hideZones();
  bgDelegate::forceRunTimer();
}
}  // namespace

VAshowStatics& VAshow_statics() {
  return s;
}

void VAshow_reset() {
  s = VAshowStatics{};
}

NSWindowRef newWindow() {
  CGRect frame{{0, 0}, {100, 100}};
  NSWindowRef window = windows().createBorderlessWindow(frame, true);
  if (!window) return nullptr;
  windows().setOpaque(window, false);
  windows().setCollectionBehavior(window, kAgentWindowCollectionBehavior);
  windows().setAlphaValue(window, kZoneAlpha);
  windows().setBackgroundColor(window, 0, 0);
  windows().setFilledViewAsContentView(
      window, frame, kWidthAndHeightSizable, kZoneStyle,
      {VAhoverView_mouseDown, VAhoverView_mouseDragged, VAhoverView_mouseUp});
  windows().addImageSubview(window, frame, windows().openHandCursorImage(), kFlexibleSideMargins);
  CGRect bounds = windows().contentViewBounds(window);
  CGRect image = windows().imageSubviewFrame(window);
  windows().setImageSubviewFrameOrigin(
      window, CGPoint{(bounds.size.width - image.size.width) * 0.5, bounds.origin.y});
  return window;
}

// The windows stop short of the area's right edge so as not to cover its vertical bar; the
// zone itself does not.
void set_window_rect(NSWindowRef window, IRect r) {
  if (!window) return;
  float e = hover_edgeSizeV(&r);
  if (window == s.upW) {
    r.right -= kScrollBarWidth;
    r.bottom = static_cast<int32_t>(static_cast<float>(r.top) - e);
  } else if (window == s.downW) {
    r.right -= kScrollBarWidth;
    r.top = static_cast<int32_t>(e + static_cast<float>(r.bottom));
  }
  CGRect frame{{static_cast<double>(r.left), static_cast<double>(r.bottom)},
               {static_cast<double>(r.right - r.left), static_cast<double>(r.top - r.bottom)}};
  if (!sameRect(frame, windows().frame(window))) windows().setFrame(window, frame, false);
}

void VAshow::showActiveZones(const Bars* bars) {
  if (bars->up.found) {
    if (!s.upW) {
      s.upW = newWindow();
      windows().setIdentifier(s.upW, "zoneUp");
    }
    set_window_rect(s.upW, rectWith_rect_ofst_dir(bars->up.rect, bars->upOfst, kDirectionUp));
  }
  if (bars->down.found) {
    if (!s.downW) {
      s.downW = newWindow();
      windows().setIdentifier(s.downW, "zoneDown");
    }
    set_window_rect(s.downW,
                    rectWith_rect_ofst_dir(bars->down.rect, bars->downOfst, kDirectionDown));
  }
  if (state_draggingHoverZone()) return;
  int64_t above = static_cast<int64_t>(bars->windowNumber);
  showOrHide(s.upW, bars->up.found && (s.sDoingFadeUp || !bars->deactivateHoverZones), above);
  showOrHide(s.downW, bars->down.found && (s.sDoingFadeDown || !bars->deactivateHoverZones), above);
}

bool VAshow::areZonesShown() {
  return windows().isVisible(s.upW) || windows().isVisible(s.downW);
}

CGRect VAshow::upZoneRect() {
  return windows().frame(s.upW);
}

CGRect VAshow::downZoneRect() {
  return windows().frame(s.downW);
}

void VAshow::makeZonesClickable(bool clickable) {
  windows().setIgnoresMouseEvents(s.upW, !clickable);
  windows().setIgnoresMouseEvents(s.downW, !clickable);
}

void VAshow::fadeZones(int mask) {
  makeZonesClickable(false);
  fadeZones2(mask);
}

// When both fade, the up window's alpha follows the down window's new one, 0.03 ahead. With
// neither window in the mask nothing would ever fade and the steps would go on for good:
// that fade finishes at once.
void VAshow::fadeZones2(int mask) {
  if (state_draggingHoverZone()) return;
  if (!(mask & (kDirectionUp | kDirectionDown))) return finishFade();
  double running;
  if (mask & kDirectionDown) {
    double alpha = windows().alphaValue(s.downW);
    if (alpha < 0.05) return finishFade();
    running = alpha - kFadeStep;
    windows().setAlphaValue(s.downW, running);
    s.sDoingFadeDown = true;
  } else {
    running = windows().alphaValue(s.upW);
    if (running < 0.05) return finishFade();
  }
  if (mask & kDirectionUp) {
    windows().setAlphaValue(s.upW, running - kFadeStep);
    s.sDoingFadeUp = true;
  }
  Dispatch& dispatch = *platform().dispatch;
  dispatch.after(kFadeInterval, dispatch.getMainQueue(), [mask] { fadeZones2(mask); });
}

void VAshow::hideZones() {
  if (windows().isVisible(s.upW)) windows().orderOut(s.upW);
  if (windows().isVisible(s.downW)) windows().orderOut(s.downW);
}

int32_t VAshow_getDirectionForWindow(NSWindowRef window) {
  if (!window) return 4;
  if (window == s.downW) return kDirectionDown;
  if (window == s.upW) return kDirectionUp;
  return 8;
}

void VAhoverView_mouseDown(NSWindowRef, NSEventRef event) {
  s.sDragOfstY = static_cast<float>(platform().cocoa->locationInWindow(event).y);
}

// Only up and down: the zone stays over its area.
void VAhoverView_mouseDragged(NSWindowRef window, NSEventRef event) {
  CGPoint screen = windows().convertBaseToScreen(window, platform().cocoa->locationInWindow(event));
  CGRect frame = windows().frame(window);
  windows().setFrameOrigin(window, CGPoint{frame.origin.x, screen.y - s.sDragOfstY});
}

void VAhoverView_mouseUp(NSWindowRef window, NSEventRef) {
  bgDelegate::draggedWindow(window);
}
