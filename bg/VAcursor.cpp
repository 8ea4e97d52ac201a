#include "VAcursor.h"

#include "Commonprefs.h"
#include "VAutils.h"
#include "acc/blockAtomic.h"
#include "platform/api/platform.h"

using namespace port;

namespace {
VAcursorStatics s;

constexpr int32_t kOverlayWindowLevel = 8;
constexpr double kHandAlpha = 0.7;
constexpr double kTrackingInterval = 0.05;  // 50,000,000 ns
// The framebuffer shows the system's hand cursors with their hot spot here.
constexpr double kHandHotSpotX = 13.0;
constexpr double kHandHotSpotY = 8.0;

int32_t tracking() {
  return s.sTrackingCursor;
}
void setTracking(int32_t v) {
  s.sTrackingCursor = v;
}

// NSMouseInRect, unflipped: the left and top edges belong to the rectangle.
bool mouseInRect(CGPoint p, const CGRect& r) {
  return p.x >= r.origin.x && p.x < r.origin.x + r.size.width && p.y > r.origin.y &&
         p.y <= r.origin.y + r.size.height;
}
}  // namespace

VAcursorStatics& VAcursor_statics() {
  return s;
}

void VAcursor_reset() {
  s = VAcursorStatics{};
}

NSWindowRef newOverlayCursorWindow(CGSize size) {
  OverlayWindows& windows = *platform().overlayWindows;
  NSWindowRef window = windows.createBorderlessWindow(CGRect{{0, 0}, size}, false);
  if (!window) {
    platform().systemLog->log("Could not create cursor.");
    return nullptr;
  }
  windows.setOpaque(window, false);
  windows.setBackgroundColor(window, 1.0, 0.0);
  windows.setHasShadow(window, false);
  windows.setLevel(window, kOverlayWindowLevel);
  windows.setCollectionBehavior(window, kAgentWindowCollectionBehavior);
  windows.setImageViewAsContentView(window, CGRect{{0, 0}, size});
  windows.setIgnoresMouseEvents(window, true);
  windows.orderFront(window);
  return window;
}

void cursor_showOpenHand() {
  dispatchMainWithAutoreleasePool([] {
    cursor_setOverlayImage(platform().overlayWindows->openHandCursorImage());
    s.sHideOverlayCursor = 0;
    if (tracking() == 0) {
      setTracking(1);
      cursor_runTracking();
    }
  });
}

void overlayWindow_setImage(NSWindowRef* window, NSImageRef image, double alpha) {
  OverlayWindows& windows = *platform().overlayWindows;
  if (!*window) {
    *window = newOverlayCursorWindow(windows.imageSize(image));
    if (!*window) return;
  }
  windows.setAlphaValue(*window, alpha);
  windows.setContentImage(*window, image);
}

void overlayWindow_showAt(NSWindowRef window, const Relaxed<int32_t>* hideCounter, double x,
                          double y) {
  if (hideCounter->load() != 0 || !window) return;
  OverlayWindows& windows = *platform().overlayWindows;
  windows.setFrameOrigin(window, CGPoint{x, y - 15});
  windows.orderFront(window);
}

void cursor_setOverlayImage(NSImageRef image) {
  overlayWindow_setImage(&s.sOverlayWindow, image, kHandAlpha);
}

void cursor_runTracking() {
  Dispatch& dispatch = *platform().dispatch;
  if (tracking() == 0) {
    // The loop's last step takes the hand away.
    dispatchMainWithAutoreleasePool([] { hide_overlayCursor(); });
    return;
  }
  if (!s.sTrackingQueue) s.sTrackingQueue = dispatch.queueCreate("com.tarnwick.trackCursor");
  dispatch.after(kTrackingInterval, s.sTrackingQueue, [] {
    CGPoint location = platform().cocoa->mouseLocation();
    if (tracking() == 1) {
      dispatchMainWithAutoreleasePool(
          [location] { cursor_showOverlayAtPoint(location.x, location.y); });
    }
    cursor_runTracking();
  });
}

// The hand's window sits below the pointer's hot spot, its top near the pointer.
void cursor_showOverlayAtPoint(double x, double y) {
  overlayWindow_showAt(s.sOverlayWindow, &s.sHideOverlayCursor, x, y);
}

void hide_overlayCursor() {
  s.sHideOverlayCursor.fetchAdd(1);
  if (tracking() == 1) setTracking(0);
  dispatchMainWithAutoreleasePool([] {
    if (s.sOverlayWindow) platform().overlayWindows->orderOut(s.sOverlayWindow);
  });
}

void cursor_backToNormalOScursor() {
  dispatchMainWithAutoreleasePool([] { hide_overlayCursor(); });
}

// The screens come from the cache of NSScreen frames, in the same order.
std::optional<CursorShape> currentGlobalCursor() {
  WindowServer& server = *platform().windowServer;
  CGPoint mouse = platform().cocoa->mouseLocation();
  const VAutilsStatics& screens = VAutils_statics();
  for (int32_t i = 0; i < screens.sNumScreens; ++i) {
    if (!mouseInRect(mouse, screens.sScreenFrames[i])) continue;
    CursorShape cursor;
    if (server.readFramebufferCursor(server.screenNumber(i), &cursor)) return cursor;
    if (server.currentSystemCursor(&cursor)) return cursor;
    return std::nullopt;
  }
  return std::nullopt;
}

void cursor_noteSystemCursor() {
  if (s.sHandHotSpots.empty()) s.sHandHotSpots = platform().windowServer->handCursorHotSpots();
  std::optional<CursorShape> cursor = currentGlobalCursor();
  bool hand = false;
  if (cursor) {
    CGPoint spot = cursor->hotSpot;
    hand = spot.x == kHandHotSpotX && spot.y == kHandHotSpotY;
    for (CGPoint known : s.sHandHotSpots) hand = hand || (spot.x == known.x && spot.y == known.y);
  }
  s.sHandCursorShown = hand;
}

namespace {
constexpr double kCursorWatchInterval = 0.1;
constexpr double kCursorWatchRest = 1.1;  // as long as the run timer waits to call it rest

void cursorWatchStep() {
  if (!prefs_hoverEngineOn()) {
    s.sWatchingCursor = false;
    return;
  }
  cursor_noteSystemCursor();
  CGPoint p = platform().cocoa->mouseLocation();
  double now = utils_now();
  if (p.x != s.sWatchedPoint.x || p.y != s.sWatchedPoint.y) {
    s.sWatchedPoint = p;
    s.sWatchedPointSince = now;
  } else if (now - s.sWatchedPointSince >= kCursorWatchRest) {
    s.sWatchingCursor = false;
    return;
  }
  Dispatch& dispatch = *platform().dispatch;
  dispatch.after(kCursorWatchInterval, dispatch.getMainQueue(),
                 BlockWithAutoreleasePool([] { cursorWatchStep(); }));
}
}  // namespace

// A pass with the pointer where the watch last saw it (or the first pass, which has seen it
// nowhere yet) looks once and starts nothing: at rest, the watch costs no wake-up.
void cursor_watchSystemCursor() {
  if (s.sWatchingCursor) return;
  CGPoint p = platform().cocoa->mouseLocation();
  bool first = s.sWatchedPointSince == 0;
  if (first || (p.x == s.sWatchedPoint.x && p.y == s.sWatchedPoint.y)) {
    s.sWatchedPoint = p;
    s.sWatchedPointSince = utils_now();
    cursor_noteSystemCursor();
    return;
  }
  s.sWatchingCursor = true;
  cursorWatchStep();
}

void cursor_noteSystemCursorSoon() {
  dispatchMainWithAutoreleasePool([] { cursor_noteSystemCursor(); });
}

bool isHandCursorCurrent() {
  return s.sHandCursorShown;
}
