// The agent's own windows in the virtual session: borderless image windows with frame,
// alpha, level, visibility and mouse transparency, and the images they show (the agent's
// bundle resources and the system's open-hand cursor image). Each change that shows on
// screen becomes one `window` trace line when the thread that made it goes idle, so a
// window set up in one block is one line.
#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/api/overlay_windows.h"
#include "scheduler.h"
#include "trace.h"

namespace port {

struct Image {
  std::string kind;  // what it shows: "hand" or "anchor"
  CGSize size;
  int32_t references = 1;  // the system's own images are never freed
};

struct OverlayWindow {
  int64_t id = 0;
  std::string identifier;
  CGRect frame;  // Cocoa global coordinates
  double alpha = 1;
  int32_t level = 0;
  bool visible = false;
  bool ignoresMouseEvents = false;
  uint64_t collectionBehavior = 0;
  bool hasImageView = false;
  NSImageRef image = nullptr;
  // A filled content view with an image view inside, taking the mouse when the window does.
  bool filledView = false;
  FilledViewStyle style;
  ViewMouseHandlers handlers;
  CGRect imageSubview;
  NSImageRef subviewImage = nullptr;
  int64_t orderedAbove = 0;  // the window number it was last ordered above
  bool changed = false;
};

}  // namespace port

namespace vsession {

class VirtualOverlayWindows final : public port::OverlayWindows {
 public:
  // `resourcePath` is where the agent's bundle keeps its resources; files asked for there
  // are read from `resourcesFolder`.
  VirtualOverlayWindows(Trace& trace, Scheduler& scheduler, std::string resourcePath,
                        std::filesystem::path resourcesFolder);

  port::NSImageRef imageWithContentsOfFile(const std::string& path) override;
  port::NSImageRef openHandCursorImage() override { return &openHand_; }
  port::CGSize imageSize(port::NSImageRef image) override;
  void setImageSize(port::NSImageRef image, port::CGSize size) override;
  void releaseImage(port::NSImageRef image) override;

  port::NSWindowRef createBorderlessWindow(port::CGRect contentRect, bool defer) override;
  void setIdentifier(port::NSWindowRef window, const char* identifier) override;
  void setOpaque(port::NSWindowRef, bool) override {}
  void setBackgroundColor(port::NSWindowRef, double, double) override {}
  void setHasShadow(port::NSWindowRef, bool) override {}
  void setLevel(port::NSWindowRef window, int32_t level) override;
  void setIgnoresMouseEvents(port::NSWindowRef window, bool ignores) override;
  void setCollectionBehavior(port::NSWindowRef window, uint64_t behavior) override {
    if (window) window->collectionBehavior = behavior;
  }
  void setImageViewAsContentView(port::NSWindowRef window, port::CGRect frame) override;
  void setContentImage(port::NSWindowRef window, port::NSImageRef image) override;
  void setFilledViewAsContentView(port::NSWindowRef window, port::CGRect frame, uint32_t,
                                  const port::FilledViewStyle& style,
                                  port::ViewMouseHandlers handlers) override;
  void addImageSubview(port::NSWindowRef window, port::CGRect frame, port::NSImageRef image,
                       uint32_t) override;
  port::CGRect imageSubviewFrame(port::NSWindowRef window) override;
  void setImageSubviewFrameOrigin(port::NSWindowRef window, port::CGPoint origin) override;
  port::CGRect contentViewBounds(port::NSWindowRef window) override;
  port::CGRect frame(port::NSWindowRef window) override;
  void setFrame(port::NSWindowRef window, port::CGRect frame, bool) override;
  double alphaValue(port::NSWindowRef window) override { return window ? window->alpha : 0; }
  bool isVisible(port::NSWindowRef window) override { return window && window->visible; }
  void orderWindowAbove(port::NSWindowRef window, int64_t windowNumber) override;
  port::CGPoint convertBaseToScreen(port::NSWindowRef window, port::CGPoint point) override;
  void setAlphaValue(port::NSWindowRef window, double alpha) override;
  void setFrameOrigin(port::NSWindowRef window, port::CGPoint origin) override;
  void orderFront(port::NSWindowRef window) override;
  void orderOut(port::NSWindowRef window) override;

  // Writes a `window` line for each window changed since the last call.
  void traceChanges();
  const std::deque<port::OverlayWindow>& windows() const { return windows_; }
  // The window showing images of `kind`, or null.
  const port::OverlayWindow* windowShowing(const std::string& kind) const;
  // Images read from files and not yet released.
  size_t liveImages() const { return liveImages_; }
  // The agent's window that takes a mouse event at a Cocoa point: shown, not click-through,
  // with a view that handles the mouse; null when none does.
  port::NSWindowRef windowTakingMouseAt(port::CGPoint cocoa);
  port::NSWindowRef windowNamed(const std::string& identifier);

 private:
  void changed(port::NSWindowRef window);

  Trace& trace_;
  Scheduler& scheduler_;
  std::string resourcePath_;
  std::filesystem::path resourcesFolder_;
  port::Image openHand_{"hand", {32, 32}, 1};
  std::deque<port::Image> images_;
  std::deque<port::OverlayWindow> windows_;
  std::vector<port::NSWindowRef> changed_;
  size_t liveImages_ = 0;
};

}  // namespace vsession
