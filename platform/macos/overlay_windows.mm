// The agent's own windows and images: borderless, click-through NSWindows showing an
// NSImageView or the hover zones' filled view, NSImage and the open-hand cursor's image.
#import <AppKit/AppKit.h>

#include "bridge.h"
#include "platform/api/overlay_windows.h"
#include "ports.h"

// A plain borderless window: a borderless window never becomes the key or main window, so
// the agent's windows never take the keyboard from the application under them.
@interface VAhoverWindow : NSWindow
@end

@implementation VAhoverWindow
@end

// Fills its bounds and strokes them in one calibrated colour; hands its mouse events on.
@interface VAhoverView : NSView {
  port::FilledViewStyle style_;
  port::ViewMouseHandlers handlers_;
}
- (id)initWithFrame:(NSRect)frame
              style:(const port::FilledViewStyle&)style
           handlers:(port::ViewMouseHandlers)handlers;
@end

@implementation VAhoverView
- (id)initWithFrame:(NSRect)frame
              style:(const port::FilledViewStyle&)style
           handlers:(port::ViewMouseHandlers)handlers {
  if ((self = [super initWithFrame:frame])) {
    style_ = style;
    handlers_ = handlers;
  }
  return self;
}
- (void)drawRect:(NSRect)dirtyRect {
  (void)dirtyRect;
  NSRect bounds = [self bounds];
  NSBezierPath* path = [NSBezierPath bezierPathWithRect:bounds];
  [[NSColor colorWithCalibratedRed:style_.red
                             green:style_.green
                              blue:style_.blue
                             alpha:style_.fillAlpha] set];
  [path fill];
  [[NSColor colorWithCalibratedRed:style_.red
                             green:style_.green
                              blue:style_.blue
                             alpha:style_.strokeAlpha] set];
  [path setLineWidth:style_.lineWidth];
  [path stroke];
}
- (BOOL)isOpaque {
  return NO;
}
- (BOOL)mouseDownCanMoveWindow {
  return YES;
}
// The agent is never the active application: without this the first press on a zone would
// only activate it, and the drag that moves the zone would start on the second.
- (BOOL)acceptsFirstMouse:(NSEvent*)event {
  (void)event;
  return YES;
}
- (void)forward:(void (*)(port::NSWindowRef, port::NSEventRef))handler event:(NSEvent*)event {
  if (handler != nullptr)
    handler(reinterpret_cast<port::NSWindowRef>([self window]),
            reinterpret_cast<port::NSEventRef>(event));
}
- (void)mouseDown:(NSEvent*)event {
  [self forward:handlers_.down event:event];
}
- (void)mouseDragged:(NSEvent*)event {
  [self forward:handlers_.dragged event:event];
}
- (void)mouseUp:(NSEvent*)event {
  [self forward:handlers_.up event:event];
}
@end

namespace macos {
namespace {

NSWindow* ns(port::NSWindowRef window) {
  return reinterpret_cast<NSWindow*>(window);
}
NSImage* ns(port::NSImageRef image) {
  return reinterpret_cast<NSImage*>(image);
}

// The first image view among the content view's subviews, or nil.
NSImageView* imageSubview(NSWindow* window) {
  for (NSView* view in [[window contentView] subviews]) {
    if ([view isKindOfClass:[NSImageView class]]) return (NSImageView*)view;
  }
  return nil;
}

class OverlayWindows final : public port::OverlayWindows {
 public:
  port::NSImageRef imageWithContentsOfFile(const std::string& path) override {
    return reinterpret_cast<port::NSImageRef>(
        [[NSImage alloc] initWithContentsOfFile:toNSString(path)]);
  }
  port::NSImageRef openHandCursorImage() override {
    return reinterpret_cast<port::NSImageRef>([[NSCursor openHandCursor] image]);
  }
  port::CGSize imageSize(port::NSImageRef image) override {
    if (image == nullptr) return {};
    return toPortSize([ns(image) size]);
  }
  void setImageSize(port::NSImageRef image, port::CGSize size) override {
    [ns(image) setSize:toNSSize(size)];
  }
  void releaseImage(port::NSImageRef image) override { [ns(image) release]; }

  port::NSWindowRef createBorderlessWindow(port::CGRect contentRect, bool defer) override {
    VAhoverWindow* window = [[VAhoverWindow alloc] initWithContentRect:toNSRect(contentRect)
                                                             styleMask:NSBorderlessWindowMask
                                                               backing:NSBackingStoreBuffered
                                                                 defer:defer];
    return reinterpret_cast<port::NSWindowRef>(window);
  }
  void setIdentifier(port::NSWindowRef window, const char* identifier) override {
    [ns(window) setIdentifier:[NSString stringWithUTF8String:identifier]];
  }
  void setOpaque(port::NSWindowRef window, bool opaque) override { [ns(window) setOpaque:opaque]; }
  void setBackgroundColor(port::NSWindowRef window, double white, double alpha) override {
    [ns(window) setBackgroundColor:[NSColor colorWithCalibratedWhite:white alpha:alpha]];
  }
  void setHasShadow(port::NSWindowRef window, bool hasShadow) override {
    [ns(window) setHasShadow:hasShadow];
  }
  void setLevel(port::NSWindowRef window, int32_t level) override { [ns(window) setLevel:level]; }
  void setIgnoresMouseEvents(port::NSWindowRef window, bool ignores) override {
    [ns(window) setIgnoresMouseEvents:ignores];
  }
  void setCollectionBehavior(port::NSWindowRef window, uint64_t behavior) override {
    [ns(window) setCollectionBehavior:static_cast<NSWindowCollectionBehavior>(behavior)];
  }
  void setImageViewAsContentView(port::NSWindowRef window, port::CGRect frame) override {
    NSImageView* view = [[NSImageView alloc] initWithFrame:toNSRect(frame)];
    [ns(window) setContentView:view];
    [view release];
  }
  void setContentImage(port::NSWindowRef window, port::NSImageRef image) override {
    id view = [ns(window) contentView];
    if ([view isKindOfClass:[NSImageView class]]) [(NSImageView*)view setImage:ns(image)];
  }
  void setFilledViewAsContentView(port::NSWindowRef window, port::CGRect frame,
                                  uint32_t autoresizingMask, const port::FilledViewStyle& style,
                                  port::ViewMouseHandlers handlers) override {
    VAhoverView* view = [[VAhoverView alloc] initWithFrame:toNSRect(frame)
                                                     style:style
                                                  handlers:handlers];
    [view setAutoresizingMask:autoresizingMask];
    [ns(window) setContentView:view];
    [view release];
  }
  void addImageSubview(port::NSWindowRef window, port::CGRect frame, port::NSImageRef image,
                       uint32_t autoresizingMask) override {
    NSImageView* view = [[NSImageView alloc] initWithFrame:toNSRect(frame)];
    [view setImage:ns(image)];
    [view setAutoresizingMask:autoresizingMask];
    [[ns(window) contentView] addSubview:view];
    [view release];
  }
  port::CGRect imageSubviewFrame(port::NSWindowRef window) override {
    NSImageView* view = imageSubview(ns(window));
    return view ? toPortRect([view frame]) : port::CGRect{};
  }
  void setImageSubviewFrameOrigin(port::NSWindowRef window, port::CGPoint origin) override {
    [imageSubview(ns(window)) setFrameOrigin:toNSPoint(origin)];
  }
  port::CGRect contentViewBounds(port::NSWindowRef window) override {
    return toPortRect([[ns(window) contentView] bounds]);
  }
  port::CGRect frame(port::NSWindowRef window) override {
    if (window == nullptr) return {};
    return toPortRect([ns(window) frame]);
  }
  void setFrame(port::NSWindowRef window, port::CGRect frame, bool display) override {
    [ns(window) setFrame:toNSRect(frame) display:display];
  }
  double alphaValue(port::NSWindowRef window) override { return [ns(window) alphaValue]; }
  bool isVisible(port::NSWindowRef window) override { return [ns(window) isVisible]; }
  void orderWindowAbove(port::NSWindowRef window, int64_t windowNumber) override {
    [ns(window) orderWindow:NSWindowAbove relativeTo:windowNumber];
  }
  // -convertBaseToScreen: is deprecated from 10.7; the agent's drag reads points through it.
  port::CGPoint convertBaseToScreen(port::NSWindowRef window, port::CGPoint point) override {
    return toPortPoint([ns(window) convertBaseToScreen:toNSPoint(point)]);
  }
  void setAlphaValue(port::NSWindowRef window, double alpha) override {
    [ns(window) setAlphaValue:alpha];
  }
  void setFrameOrigin(port::NSWindowRef window, port::CGPoint cocoaOrigin) override {
    [ns(window) setFrameOrigin:toNSPoint(cocoaOrigin)];
  }
  void orderFront(port::NSWindowRef window) override { [ns(window) orderFront:nil]; }
  void orderOut(port::NSWindowRef window) override { [ns(window) orderOut:nil]; }
};

}  // namespace

port::OverlayWindows& overlayWindows() {
  static OverlayWindows instance;
  return instance;
}

}  // namespace macos
