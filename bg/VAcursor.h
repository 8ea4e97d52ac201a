// The overlay cursor: an open hand drawn in a small click-through window of the agent's
// own that follows the pointer every 50 ms while a grab is armed or running (the agent
// cannot change another application's cursor), and the test whether the system cursor
// now shown is a hand.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "acc/relaxed.h"
#include "platform/api/overlay_windows.h"
#include "platform/api/run_loop.h"
#include "platform/api/window_server.h"

// Any thread: shows the hand and starts following the pointer.
void cursor_showOpenHand();
// Any thread: hides the hand.
void cursor_backToNormalOScursor();
// Main thread: asks for the hand to go and ends the follow loop.
void hide_overlayCursor();
void cursor_setOverlayImage(port::NSImageRef image);
// Main thread: moves the hand there and orders it front, unless a hide came after the last
// show.
void cursor_showOverlayAtPoint(double x, double y);
// One step of the follow loop; it re-arms itself every 50 ms until following stops.
void cursor_runTracking();
// Any thread, the event tap's included: whether the system cursor had the hot spot of the
// system's hand cursors when the main thread last looked. Reading the cursor takes system
// calls, and AppKit's answer the main thread, so the tap path never reads it itself.
bool isHandCursorCurrent();
// Main thread: looks at the system cursor now and keeps the answer for isHandCursorCurrent.
void cursor_noteSystemCursor();
// Main thread, from the run timer's passes while hover scrolling is on: looks at the system
// cursor now and then every 100 ms while the pointer moves, so the answer a click finds is
// about that fresh; stops once the pointer has rested for 1.1 s or hover scrolling is off.
void cursor_watchSystemCursor();
// Any thread: asks the main thread to look at the system cursor.
void cursor_noteSystemCursorSoon();
// Main thread: the size and hot spot of the system cursor shown now, on the screen under the
// pointer: from the framebuffer's cursor memory, or where a display has none (Apple silicon)
// from AppKit's current system cursor; nothing when no screen is under the pointer or
// neither can tell.
std::optional<port::CursorShape> currentGlobalCursor();

// How every window of the agent's joins the Spaces: it shows on each of them, and beside an
// application in full screen, wherever the user scrolls.
inline constexpr uint64_t kAgentWindowCollectionBehavior =
    port::kNSWindowCollectionBehaviorCanJoinAllSpaces |
    port::kNSWindowCollectionBehaviorFullScreenAuxiliary;

// A borderless, transparent, shadowless window at level 8 that ignores the mouse, showing
// an image of `size` in an image view, ordered front; null (and "Could not create cursor."
// logged) when it cannot be made. The hand and the vector anchor are such windows.
port::NSWindowRef newOverlayCursorWindow(port::CGSize size);
// Main thread: `*window` (made for the image's size on first use) shows `image` at `alpha`.
void overlayWindow_setImage(port::NSWindowRef* window, port::NSImageRef image, double alpha);
// Main thread: puts the window's origin at (x, y - 15) and orders it front, unless a hide
// was asked for (`*hideCounter` non-zero) since the last show.
void overlayWindow_showAt(port::NSWindowRef window, const Relaxed<int32_t>* hideCounter, double x,
                          double y);

struct VAcursorStatics {
  port::NSWindowRef sOverlayWindow = nullptr;
  // Counted from any thread, read on the main thread: a hide was asked for since the last show.
  Relaxed<int32_t> sHideOverlayCursor = 0;
  // The follow loop runs. Read and written from the main thread, the tracking queue and the
  // callers of the show and hide requests; a stale read costs one step of the loop.
  Relaxed<int32_t> sTrackingCursor = 0;
  port::dispatch_queue_t sTrackingQueue = nullptr;
  // Written on the main thread, read on the event thread when a click may start a vector
  // scroll.
  Relaxed<bool> sHandCursorShown = false;
  std::vector<port::CGPoint> sHandHotSpots;  // AppKit's hand cursors', read once
  bool sWatchingCursor = false;              // main thread
  port::CGPoint sWatchedPoint{};
  double sWatchedPointSince = 0;
};

VAcursorStatics& VAcursor_statics();
void VAcursor_reset();
