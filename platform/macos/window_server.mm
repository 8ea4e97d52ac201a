// The window server, screens and cursor: Quartz Window Services, NSWindow's window at a
// point, NSScreen, cursor warping and the framebuffer's shared cursor memory.
#import <AppKit/AppKit.h>

#include <ApplicationServices/ApplicationServices.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/graphics/IOFramebufferShared.h>
#include <IOKit/graphics/IOGraphicsLib.h>
#include <mach/mach.h>

#include "bridge.h"
#include "platform/api/window_server.h"
#include "ports.h"

namespace macos {
namespace {

// The mapping options the cursor memory is read with: anywhere, read-only.
constexpr IOOptionBits kCursorMapOptions = 4097;

class WindowServer final : public port::WindowServer {
 public:
  std::vector<port::WindowInfo> copyOnScreenWindowList() override {
    std::vector<port::WindowInfo> windows;
    CFArrayRef list = CGWindowListCopyWindowInfo(kCGWindowListOptionOnScreenOnly, kCGNullWindowID);
    if (list == nullptr) return windows;
    for (NSDictionary* entry in (NSArray*)list) {
      port::WindowInfo info;
      info.number = [[entry objectForKey:(id)kCGWindowNumber] longLongValue];
      info.layer = [[entry objectForKey:(id)kCGWindowLayer] intValue];
      info.ownerPid = [[entry objectForKey:(id)kCGWindowOwnerPID] intValue];
      info.sharingState = [[entry objectForKey:(id)kCGWindowSharingState] intValue];
      ::CGRect bounds;
      if (CGRectMakeWithDictionaryRepresentation(
              (CFDictionaryRef)[entry objectForKey:(id)kCGWindowBounds], &bounds))
        info.bounds = toPortRect(bounds);
      if (NSNumber* alpha = [entry objectForKey:(id)kCGWindowAlpha])
        info.alpha = [alpha doubleValue];
      info.ownerName = toString([entry objectForKey:(id)kCGWindowOwnerName]);
      windows.push_back(info);
    }
    CFRelease(list);
    return windows;
  }

  int64_t windowNumberAtPoint(port::CGPoint cocoaPoint, int64_t belowWindowNumber) override {
    return [NSWindow windowNumberAtPoint:toNSPoint(cocoaPoint)
             belowWindowWithWindowNumber:belowWindowNumber];
  }

  std::vector<port::CGRect> screenFrames() override {
    std::vector<port::CGRect> frames;
    for (NSScreen* screen in [NSScreen screens]) frames.push_back(toPortRect([screen frame]));
    return frames;
  }

  void warpMouseCursorPosition(port::CGPoint quartzPoint) override {
    CGWarpMouseCursorPosition(CGPointMake(quartzPoint.x, quartzPoint.y));
  }

  uint32_t screenNumber(size_t index) override {
    NSArray* screens = [NSScreen screens];
    if (index >= [screens count]) return 0;
    NSScreen* screen = [screens objectAtIndex:index];
    return [[[screen deviceDescription] objectForKey:@"NSScreenNumber"] unsignedIntValue];
  }

  // CGDisplayIOServicePort is deprecated from 10.9; it is the only public way from a
  // display to its framebuffer service.
  bool readFramebufferCursor(uint32_t displayID, port::CursorShape* cursor) override {
    // On Apple silicon a display has no framebuffer service: the port is 0.
    io_service_t service = CGDisplayIOServicePort(displayID);
    if (service == 0) return false;
    io_connect_t connection = 0;
    if (IOFramebufferOpen(service, mach_task_self(), kIOFBSharedConnectType, &connection) !=
        KERN_SUCCESS)
      return false;
    mach_vm_address_t address = 0;
    mach_vm_size_t size = 0;
    bool read = false;
    if (IOConnectMapMemory(connection, kIOFBCursorMemory, mach_task_self(), &address, &size,
                           kCursorMapOptions) == KERN_SUCCESS) {
      const auto* shared = reinterpret_cast<const StdFBShmem_t*>(address);
      int frame = shared->frame;
      if (frame >= 0 && frame < kIOFBNumCursorFrames) {
        cursor->size = {double(shared->cursorSize[frame].width),
                        double(shared->cursorSize[frame].height)};
        cursor->hotSpot = {double(shared->hotSpot[frame].x), double(shared->hotSpot[frame].y)};
        read = true;
      }
      IOConnectUnmapMemory(connection, kIOFBCursorMemory, mach_task_self(), address);
    }
    IOServiceClose(connection);
    return read;
  }

  bool currentSystemCursor(port::CursorShape* cursor) override {
    NSCursor* current = [NSCursor currentSystemCursor];
    if (current == nil) return false;
    NSSize size = [[current image] size];
    NSPoint hotSpot = [current hotSpot];
    cursor->size = {size.width, size.height};
    cursor->hotSpot = {hotSpot.x, hotSpot.y};
    return true;
  }

  std::vector<port::CGPoint> handCursorHotSpots() override {
    std::vector<port::CGPoint> spots;
    for (NSCursor* hand :
         {[NSCursor pointingHandCursor], [NSCursor openHandCursor], [NSCursor closedHandCursor]}) {
      NSPoint hotSpot = [hand hotSpot];
      spots.push_back({hotSpot.x, hotSpot.y});
    }
    return spots;
  }
};

}  // namespace

port::WindowServer& windowServer() {
  static WindowServer instance;
  return instance;
}

}  // namespace macos
