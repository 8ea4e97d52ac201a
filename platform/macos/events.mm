// Quartz events, sources, taps and posting (Quartz Event Services), and the Cocoa view of
// an event (NSEvent). Port references are the system's own objects, cast.
#import <AppKit/AppKit.h>

#include <ApplicationServices/ApplicationServices.h>

#include "bridge.h"
#include "platform/api/events.h"
#include "ports.h"

namespace macos {
namespace {

::CGEventRef cg(port::CGEventRef event) {
  return reinterpret_cast<::CGEventRef>(event);
}
port::CGEventRef ours(::CGEventRef event) {
  return reinterpret_cast<port::CGEventRef>(event);
}
::CGEventSourceRef cg(port::CGEventSourceRef source) {
  return reinterpret_cast<::CGEventSourceRef>(source);
}
::CFMachPortRef cg(port::CFMachPortRef tap) {
  return reinterpret_cast<::CFMachPortRef>(tap);
}
NSEvent* ns(port::NSEventRef event) {
  return reinterpret_cast<NSEvent*>(event);
}

// The port's callback takes the port's types; the system calls this one, which passes the
// same pointers on. A record lives as long as its tap, which is the life of the process.
struct TapRecord {
  port::CGEventTapCallBack callback;
  void* userInfo;
};

::CGEventRef tapTrampoline(::CGEventTapProxy proxy, ::CGEventType type, ::CGEventRef event,
                           void* info) {
  auto* record = static_cast<TapRecord*>(info);
  return cg(record->callback(reinterpret_cast<port::CGEventTapProxy>(proxy), type, ours(event),
                             record->userInfo));
}

class QuartzEvents final : public port::QuartzEvents {
 public:
  port::CGEventType getType(port::CGEventRef event) override { return CGEventGetType(cg(event)); }
  void setType(port::CGEventRef event, port::CGEventType type) override {
    CGEventSetType(cg(event), static_cast<::CGEventType>(type));
  }
  port::CGEventFlags getFlags(port::CGEventRef event) override {
    return CGEventGetFlags(cg(event));
  }
  void setFlags(port::CGEventRef event, port::CGEventFlags flags) override {
    CGEventSetFlags(cg(event), flags);
  }
  port::CGPoint getLocation(port::CGEventRef event) override {
    return toPortPoint(CGEventGetLocation(cg(event)));
  }
  void setLocation(port::CGEventRef event, port::CGPoint location) override {
    CGEventSetLocation(cg(event), CGPointMake(location.x, location.y));
  }
  port::CGPoint getUnflippedLocation(port::CGEventRef event) override {
    return toPortPoint(CGEventGetUnflippedLocation(cg(event)));
  }
  port::CGEventTimestamp getTimestamp(port::CGEventRef event) override {
    return CGEventGetTimestamp(cg(event));
  }
  int64_t getIntegerValueField(port::CGEventRef event, port::CGEventField field) override {
    return CGEventGetIntegerValueField(cg(event), static_cast<::CGEventField>(field));
  }
  void setIntegerValueField(port::CGEventRef event, port::CGEventField field,
                            int64_t value) override {
    CGEventSetIntegerValueField(cg(event), static_cast<::CGEventField>(field), value);
  }
  double getDoubleValueField(port::CGEventRef event, port::CGEventField field) override {
    return CGEventGetDoubleValueField(cg(event), static_cast<::CGEventField>(field));
  }
  void setDoubleValueField(port::CGEventRef event, port::CGEventField field,
                           double value) override {
    CGEventSetDoubleValueField(cg(event), static_cast<::CGEventField>(field), value);
  }

  port::CGEventRef createCopy(port::CGEventRef event) override {
    return ours(CGEventCreateCopy(cg(event)));
  }
  port::CGEventRef create(port::CGEventSourceRef source) override {
    return ours(CGEventCreate(cg(source)));
  }
  port::CGEventRef createScrollWheelEvent2(port::CGEventSourceRef source,
                                           port::CGScrollEventUnit units, uint32_t wheelCount,
                                           int32_t wheel1, int32_t wheel2,
                                           int32_t wheel3) override {
    return ours(CGEventCreateScrollWheelEvent2(cg(source), static_cast<::CGScrollEventUnit>(units),
                                               wheelCount, wheel1, wheel2, wheel3));
  }
  port::CGEventRef createMouseEvent(port::CGEventSourceRef source, port::CGEventType type,
                                    port::CGPoint location, port::CGMouseButton button) override {
    return ours(CGEventCreateMouseEvent(cg(source), static_cast<::CGEventType>(type),
                                        CGPointMake(location.x, location.y),
                                        static_cast<::CGMouseButton>(button)));
  }
  port::CGEventRef createKeyboardEvent(port::CGEventSourceRef source, uint16_t keycode,
                                       bool keyDown) override {
    return ours(CGEventCreateKeyboardEvent(cg(source), keycode, keyDown));
  }
  void retain(port::CGEventRef event) override { CFRetain(cg(event)); }
  void release(port::CGEventRef event) override { CFRelease(cg(event)); }

  port::CGEventSourceRef sourceCreate(port::CGEventSourceStateID state) override {
    return reinterpret_cast<port::CGEventSourceRef>(
        CGEventSourceCreate(static_cast<::CGEventSourceStateID>(state)));
  }
  void sourceSetUserData(port::CGEventSourceRef source, int64_t userData) override {
    CGEventSourceSetUserData(cg(source), userData);
  }
  void sourceRelease(port::CGEventSourceRef source) override { CFRelease(cg(source)); }

  void post(port::CGEventTapLocation location, port::CGEventRef event) override {
    CGEventPost(static_cast<::CGEventTapLocation>(location), cg(event));
  }
  // CGEventPostToPid is available from 10.11.
  void postToPid(port::pid_t pid, port::CGEventRef event) override {
    CGEventPostToPid(pid, cg(event));
  }

  port::CFMachPortRef tapCreate(port::CGEventTapLocation location,
                                port::CGEventTapPlacement placement,
                                port::CGEventTapOptions options, port::CGEventMask mask,
                                port::CGEventTapCallBack callback, void* userInfo) override {
    auto* record = new TapRecord{callback, userInfo};
    ::CFMachPortRef tap = CGEventTapCreate(
        static_cast<::CGEventTapLocation>(location), static_cast<::CGEventTapPlacement>(placement),
        static_cast<::CGEventTapOptions>(options), mask, tapTrampoline, record);
    if (tap == nullptr) delete record;
    return reinterpret_cast<port::CFMachPortRef>(tap);
  }
  // A tap that could not be made is null; the calls on it do nothing, as Core Foundation
  // would crash on them.
  void tapEnable(port::CFMachPortRef tap, bool enable) override {
    if (tap != nullptr) CGEventTapEnable(cg(tap), enable);
  }
  bool tapIsEnabled(port::CFMachPortRef tap) override {
    return tap != nullptr && CGEventTapIsEnabled(cg(tap));
  }
  port::CFRunLoopSourceRef machPortCreateRunLoopSource(port::CFMachPortRef tap,
                                                       int64_t order) override {
    if (tap == nullptr) return nullptr;
    return reinterpret_cast<port::CFRunLoopSourceRef>(
        CFMachPortCreateRunLoopSource(kCFAllocatorDefault, cg(tap), order));
  }
};

// The strings NSEvent hands back are autoreleased, so their UTF-8 bytes live as long as the
// autorelease pool the tap callback runs in, which outlives the handling of the event.
std::string_view utf8(NSString* text) {
  const char* bytes = [text UTF8String];
  return bytes ? std::string_view(bytes) : std::string_view();
}

class CocoaEvents final : public port::CocoaEvents {
 public:
  port::NSEventRef eventWithCGEvent(port::CGEventRef event) override {
    return reinterpret_cast<port::NSEventRef>([NSEvent eventWithCGEvent:cg(event)]);
  }
  port::CGEventType type(port::NSEventRef event) override {
    return static_cast<port::CGEventType>([ns(event) type]);
  }
  uint64_t modifierFlags(port::NSEventRef event) override { return [ns(event) modifierFlags]; }
  uint32_t phase(port::NSEventRef event) override {
    return static_cast<uint32_t>([ns(event) phase]);
  }
  uint32_t momentumPhase(port::NSEventRef event) override {
    return static_cast<uint32_t>([ns(event) momentumPhase]);
  }
  double scrollingDeltaX(port::NSEventRef event) override { return [ns(event) scrollingDeltaX]; }
  double scrollingDeltaY(port::NSEventRef event) override { return [ns(event) scrollingDeltaY]; }
  bool hasPreciseScrollingDeltas(port::NSEventRef event) override {
    return [ns(event) hasPreciseScrollingDeltas];
  }
  double deltaX(port::NSEventRef event) override { return [ns(event) deltaX]; }
  double deltaY(port::NSEventRef event) override { return [ns(event) deltaY]; }
  int64_t buttonNumber(port::NSEventRef event) override { return [ns(event) buttonNumber]; }
  int64_t eventNumber(port::NSEventRef event) override { return [ns(event) eventNumber]; }
  int16_t subtype(port::NSEventRef event) override { return [ns(event) subtype]; }
  uint64_t buttonMask(port::NSEventRef event) override { return [ns(event) buttonMask]; }
  std::string_view characters(port::NSEventRef event) override {
    return utf8([ns(event) characters]);
  }
  std::string_view charactersIgnoringModifiers(port::NSEventRef event) override {
    return utf8([ns(event) charactersIgnoringModifiers]);
  }
  port::CGPoint locationInWindow(port::NSEventRef event) override {
    return toPortPoint([ns(event) locationInWindow]);
  }

  port::CGPoint mouseLocation() override { return toPortPoint([NSEvent mouseLocation]); }
  uint64_t currentModifierFlags() override { return [NSEvent modifierFlags]; }
  uint64_t pressedMouseButtons() override { return [NSEvent pressedMouseButtons]; }
};

}  // namespace

port::QuartzEvents& quartzEvents() {
  static QuartzEvents instance;
  return instance;
}

port::CocoaEvents& cocoaEvents() {
  static CocoaEvents instance;
  return instance;
}

}  // namespace macos
