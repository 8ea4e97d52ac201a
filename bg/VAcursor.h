// The overlay cursor: an open hand drawn in a small click-through window of the agent's
// own that follows the pointer every 50 ms while a grab is armed or running (the agent
// cannot change another application's cursor), and the test whether the system cursor
// now shown is a hand.
#pragma once

#include <cstdint>
#include <optional>

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
// Whether the system cursor shown now has the hot spot of the system's hand cursors.
bool isHandCursorCurrent();
// The size and hot spot of the system cursor shown now, on the screen under the pointer;
// nothing when no screen is there or its framebuffer cannot be read.
std::optional<port::FramebufferCursor> currentGlobalCursor();

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
};

VAcursorStatics& VAcursor_statics();
void VAcursor_reset();
