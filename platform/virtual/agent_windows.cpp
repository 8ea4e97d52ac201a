#include "agent_windows.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace vsession {

using namespace port;

namespace {
// A PNG's size from its header: the signature, then the IHDR chunk's width and height.
std::optional<CGSize> pngSize(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::array<unsigned char, 24> header{};
  if (!in.read(reinterpret_cast<char*>(header.data()), header.size())) return std::nullopt;
  static constexpr unsigned char kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  if (!std::equal(std::begin(kSignature), std::end(kSignature), header.begin()) ||
      !std::equal(header.begin() + 12, header.begin() + 16, "IHDR")) {
    return std::nullopt;
  }
  auto word = [&](size_t at) {
    return (uint32_t{header[at]} << 24) | (uint32_t{header[at + 1]} << 16) |
           (uint32_t{header[at + 2]} << 8) | uint32_t{header[at + 3]};
  };
  return CGSize{static_cast<double>(word(16)), static_cast<double>(word(20))};
}

[[noreturn]] void misuse(const char* what) {
  std::fprintf(stderr, "virtual session: %s\n", what);
  std::abort();
}
}  // namespace

VirtualOverlayWindows::VirtualOverlayWindows(Trace& trace, Scheduler& scheduler,
                                             std::string resourcePath,
                                             std::filesystem::path resourcesFolder)
    : trace_(trace),
      scheduler_(scheduler),
      resourcePath_(std::move(resourcePath)),
      resourcesFolder_(std::move(resourcesFolder)) {}

NSImageRef VirtualOverlayWindows::imageWithContentsOfFile(const std::string& path) {
  std::string prefix = resourcePath_ + "/";
  if (path.compare(0, prefix.size(), prefix) != 0) return nullptr;
  std::filesystem::path file = resourcesFolder_ / path.substr(prefix.size());
  std::optional<CGSize> size = pngSize(file);
  if (!size) return nullptr;
  ++liveImages_;
  return &images_.emplace_back(Image{"anchor", *size, 1});
}

CGSize VirtualOverlayWindows::imageSize(NSImageRef image) {
  return image ? image->size : CGSize{};
}

void VirtualOverlayWindows::setImageSize(NSImageRef image, CGSize size) {
  if (image) image->size = size;
}

void VirtualOverlayWindows::releaseImage(NSImageRef image) {
  if (!image || image == &openHand_) return;
  if (image->references <= 0) misuse("an image was released once too often");
  if (--image->references == 0) --liveImages_;
}

NSWindowRef VirtualOverlayWindows::createBorderlessWindow(CGRect contentRect, bool) {
  OverlayWindow& w = windows_.emplace_back();
  w.id = static_cast<int64_t>(windows_.size());
  w.frame = contentRect;
  return &w;
}

void VirtualOverlayWindows::setIdentifier(NSWindowRef window, const char* identifier) {
  if (window) window->identifier = identifier ? identifier : "";
}

void VirtualOverlayWindows::setFilledViewAsContentView(NSWindowRef window, CGRect, uint32_t,
                                                       const FilledViewStyle& style,
                                                       ViewMouseHandlers handlers) {
  if (!window) return;
  window->filledView = true;
  window->style = style;
  window->handlers = handlers;
  changed(window);
}

void VirtualOverlayWindows::addImageSubview(NSWindowRef window, CGRect frame, NSImageRef image,
                                            uint32_t) {
  if (!window) return;
  window->imageSubview = frame;
  window->subviewImage = image;
}

CGRect VirtualOverlayWindows::imageSubviewFrame(NSWindowRef window) {
  return window ? window->imageSubview : CGRect{};
}

void VirtualOverlayWindows::setImageSubviewFrameOrigin(NSWindowRef window, CGPoint origin) {
  if (window) window->imageSubview.origin = origin;
}

CGRect VirtualOverlayWindows::contentViewBounds(NSWindowRef window) {
  return window ? CGRect{{0, 0}, window->frame.size} : CGRect{};
}

CGRect VirtualOverlayWindows::frame(NSWindowRef window) {
  return window ? window->frame : CGRect{};
}

void VirtualOverlayWindows::setFrame(NSWindowRef window, CGRect frame, bool) {
  if (!window) return;
  const CGRect& f = window->frame;
  if (f.origin.x == frame.origin.x && f.origin.y == frame.origin.y &&
      f.size.width == frame.size.width && f.size.height == frame.size.height) {
    return;
  }
  window->frame = frame;
  changed(window);
}

void VirtualOverlayWindows::orderWindowAbove(NSWindowRef window, int64_t windowNumber) {
  if (!window) return;
  window->orderedAbove = windowNumber;
  orderFront(window);
}

CGPoint VirtualOverlayWindows::convertBaseToScreen(NSWindowRef window, CGPoint point) {
  if (!window) return point;
  return {window->frame.origin.x + point.x, window->frame.origin.y + point.y};
}

NSWindowRef VirtualOverlayWindows::windowTakingMouseAt(CGPoint p) {
  for (OverlayWindow& w : windows_) {
    const CGRect& f = w.frame;
    if (w.visible && !w.ignoresMouseEvents && w.handlers.down && p.x >= f.origin.x &&
        p.x < f.origin.x + f.size.width && p.y > f.origin.y && p.y <= f.origin.y + f.size.height) {
      return &w;
    }
  }
  return nullptr;
}

NSWindowRef VirtualOverlayWindows::windowNamed(const std::string& identifier) {
  for (OverlayWindow& w : windows_) {
    if (w.identifier == identifier) return &w;
  }
  return nullptr;
}

void VirtualOverlayWindows::changed(NSWindowRef window) {
  if (!window->changed) changed_.push_back(window);
  window->changed = true;
}

void VirtualOverlayWindows::setLevel(NSWindowRef window, int32_t level) {
  if (!window || window->level == level) return;
  window->level = level;
  changed(window);
}

void VirtualOverlayWindows::setIgnoresMouseEvents(NSWindowRef window, bool ignores) {
  if (window) window->ignoresMouseEvents = ignores;
}

void VirtualOverlayWindows::setImageViewAsContentView(NSWindowRef window, CGRect) {
  if (window) window->hasImageView = true;
}

void VirtualOverlayWindows::setContentImage(NSWindowRef window, NSImageRef image) {
  if (!window || !window->hasImageView || window->image == image) return;
  if (image && image->references <= 0) misuse("a released image was shown");
  window->image = image;
  changed(window);
}

void VirtualOverlayWindows::setAlphaValue(NSWindowRef window, double alpha) {
  if (!window || window->alpha == alpha) return;
  window->alpha = alpha;
  changed(window);
}

void VirtualOverlayWindows::setFrameOrigin(NSWindowRef window, CGPoint origin) {
  if (!window || (window->frame.origin.x == origin.x && window->frame.origin.y == origin.y)) {
    return;
  }
  window->frame.origin = origin;
  changed(window);
}

void VirtualOverlayWindows::orderFront(NSWindowRef window) {
  if (!window || window->visible) return;
  window->visible = true;
  changed(window);
}

void VirtualOverlayWindows::orderOut(NSWindowRef window) {
  if (!window || !window->visible) return;
  window->visible = false;
  changed(window);
}

// A window with nothing to show yet has not appeared to the user: its first line comes with
// its image or its view. A window the agent named is traced by its name.
void VirtualOverlayWindows::traceChanges() {
  for (NSWindowRef w : changed_) {
    w->changed = false;
    if (!w->image && !w->filledView) continue;
    const CGRect& f = w->frame;
    std::string kind = !w->identifier.empty() ? w->identifier : w->image->kind;
    trace_.add(scheduler_.now(), "window",
               {{"id", w->id},
                {"windowKind", kind},
                {"level", w->level},
                {"frame", {f.origin.x, f.origin.y, f.size.width, f.size.height}},
                {"alpha", w->alpha},
                {"visible", w->visible}});
  }
  changed_.clear();
}

const OverlayWindow* VirtualOverlayWindows::windowShowing(const std::string& kind) const {
  for (const OverlayWindow& w : windows_) {
    if (w.image && w.image->kind == kind) return &w;
  }
  return nullptr;
}

}  // namespace vsession
