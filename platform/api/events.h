// Quartz events, taps and posting (CGEvent, CGEventSource, CGEventTap, CGEventPost) and
// the Cocoa view of an event (NSEvent). Type numbers, field numbers and flag masks are
// the real Quartz values.
#pragma once

#include <cstdint>
#include <string_view>

#include "geometry.h"
#include "run_loop.h"

namespace port {

struct CGEvent;
using CGEventRef = CGEvent*;
struct CGEventSource;
using CGEventSourceRef = CGEventSource*;
struct EventTapProxy;
using CGEventTapProxy = EventTapProxy*;
struct MachPort;
using CFMachPortRef = MachPort*;  // an event tap
struct NSEvent;
using NSEventRef = NSEvent*;

using CGEventType = uint32_t;
using CGEventMask = uint64_t;
using CGEventFlags = uint64_t;
using CGEventField = uint32_t;
using CGEventTimestamp = uint64_t;  // nanoseconds
using pid_t = int32_t;

using CGEventTapCallBack = CGEventRef (*)(CGEventTapProxy proxy, CGEventType type, CGEventRef event,
                                          void* userInfo);

enum CGEventTapLocation : uint32_t {
  kCGHIDEventTap = 0,
  kCGSessionEventTap = 1,
  kCGAnnotatedSessionEventTap = 2,
};
enum CGEventTapPlacement : uint32_t { kCGHeadInsertEventTap = 0, kCGTailAppendEventTap = 1 };
enum CGEventTapOptions : uint32_t { kCGEventTapOptionDefault = 0, kCGEventTapOptionListenOnly = 1 };
enum CGEventSourceStateID : int32_t {
  kCGEventSourceStatePrivate = -1,
  kCGEventSourceStateCombinedSessionState = 0,
  kCGEventSourceStateHIDSystemState = 1,
};
enum CGScrollEventUnit : uint32_t { kCGScrollEventUnitPixel = 0, kCGScrollEventUnitLine = 1 };
enum CGMouseButton : uint32_t {
  kCGMouseButtonLeft = 0,
  kCGMouseButtonRight = 1,
  kCGMouseButtonCenter = 2
};

// CGEventType.
inline constexpr CGEventType kCGEventNull = 0;
inline constexpr CGEventType kCGEventLeftMouseDown = 1;
inline constexpr CGEventType kCGEventLeftMouseUp = 2;
inline constexpr CGEventType kCGEventRightMouseDown = 3;
inline constexpr CGEventType kCGEventRightMouseUp = 4;
inline constexpr CGEventType kCGEventMouseMoved = 5;
inline constexpr CGEventType kCGEventLeftMouseDragged = 6;
inline constexpr CGEventType kCGEventRightMouseDragged = 7;
inline constexpr CGEventType kCGEventKeyDown = 10;
inline constexpr CGEventType kCGEventKeyUp = 11;
inline constexpr CGEventType kCGEventFlagsChanged = 12;
inline constexpr CGEventType kCGEventScrollWheel = 22;
inline constexpr CGEventType kCGEventTabletPointer = 23;
inline constexpr CGEventType kCGEventTabletProximity = 24;
inline constexpr CGEventType kCGEventOtherMouseDown = 25;
inline constexpr CGEventType kCGEventOtherMouseUp = 26;
inline constexpr CGEventType kCGEventOtherMouseDragged = 27;
inline constexpr CGEventType kNSEventTypeGesture = 29;
inline constexpr CGEventType kCGEventTapDisabledByTimeout = 0xFFFFFFFE;
inline constexpr CGEventType kCGEventTapDisabledByUserInput = 0xFFFFFFFF;

// Parenthesised so that the system's macro of the same name, where a file sees both, does
// not expand here.
constexpr CGEventMask(CGEventMaskBit)(CGEventType type) {
  return CGEventMask{1} << type;
}

// CGEventField.
inline constexpr CGEventField kCGMouseEventNumber = 0;
inline constexpr CGEventField kCGMouseEventClickState = 1;
inline constexpr CGEventField kCGMouseEventButtonNumber = 3;
inline constexpr CGEventField kCGMouseEventDeltaX = 4;
inline constexpr CGEventField kCGMouseEventDeltaY = 5;
inline constexpr CGEventField kCGMouseEventSubtype = 7;
inline constexpr CGEventField kCGKeyboardEventAutorepeat = 8;
inline constexpr CGEventField kCGTabletEventPointButtons = 18;
inline constexpr CGEventField kCGKeyboardEventKeycode = 9;
inline constexpr CGEventField kCGScrollWheelEventDeltaAxis1 = 11;
inline constexpr CGEventField kCGScrollWheelEventDeltaAxis2 = 12;
inline constexpr CGEventField kCGEventSourceUserData = 42;
inline constexpr CGEventField kCGEventSourceUnixProcessID = 41;
inline constexpr CGEventField kCGScrollWheelEventIsContinuous = 88;
inline constexpr CGEventField kCGScrollWheelEventFixedPtDeltaAxis1 = 93;
inline constexpr CGEventField kCGScrollWheelEventFixedPtDeltaAxis2 = 94;
inline constexpr CGEventField kCGScrollWheelEventPointDeltaAxis1 = 96;
inline constexpr CGEventField kCGScrollWheelEventPointDeltaAxis2 = 97;
inline constexpr CGEventField kCGScrollWheelEventScrollPhase = 99;
inline constexpr CGEventField kCGScrollWheelEventScrollCount = 100;
inline constexpr CGEventField kCGScrollWheelEventMomentumPhase = 123;
inline constexpr CGEventField kCGEventFieldCount = 160;  // fields a record can hold

// CGEventMouseSubtype.
inline constexpr int64_t kCGEventMouseSubtypeTabletPoint = 1;

// CGEventFlags.
inline constexpr CGEventFlags kCGEventFlagMaskAlphaShift = 0x10000;
inline constexpr CGEventFlags kCGEventFlagMaskShift = 0x20000;
inline constexpr CGEventFlags kCGEventFlagMaskControl = 0x40000;
inline constexpr CGEventFlags kCGEventFlagMaskAlternate = 0x80000;
inline constexpr CGEventFlags kCGEventFlagMaskCommand = 0x100000;
inline constexpr CGEventFlags kCGEventFlagMaskSecondaryFn = 0x800000;

// NSEventPhase.
inline constexpr uint32_t kNSEventPhaseNone = 0;
inline constexpr uint32_t kNSEventPhaseBegan = 1;
inline constexpr uint32_t kNSEventPhaseStationary = 2;
inline constexpr uint32_t kNSEventPhaseChanged = 4;
inline constexpr uint32_t kNSEventPhaseEnded = 8;
inline constexpr uint32_t kNSEventPhaseCancelled = 16;
inline constexpr uint32_t kNSEventPhaseMayBegin = 32;

// CGEvent, CGEventSource, CGEventPost and CGEventTap.
class QuartzEvents {
 public:
  virtual ~QuartzEvents() = default;

  virtual CGEventType getType(CGEventRef event) = 0;
  virtual void setType(CGEventRef event, CGEventType type) = 0;
  virtual CGEventFlags getFlags(CGEventRef event) = 0;
  virtual void setFlags(CGEventRef event, CGEventFlags flags) = 0;
  virtual CGPoint getLocation(CGEventRef event) = 0;  // Quartz global coordinates
  virtual void setLocation(CGEventRef event, CGPoint location) = 0;
  virtual CGPoint getUnflippedLocation(CGEventRef event) = 0;  // Cocoa global coordinates
  virtual CGEventTimestamp getTimestamp(CGEventRef event) = 0;
  virtual int64_t getIntegerValueField(CGEventRef event, CGEventField field) = 0;
  virtual void setIntegerValueField(CGEventRef event, CGEventField field, int64_t value) = 0;
  virtual double getDoubleValueField(CGEventRef event, CGEventField field) = 0;
  virtual void setDoubleValueField(CGEventRef event, CGEventField field, double value) = 0;

  virtual CGEventRef createCopy(CGEventRef event) = 0;
  virtual CGEventRef create(CGEventSourceRef source) = 0;
  virtual CGEventRef createScrollWheelEvent2(CGEventSourceRef source, CGScrollEventUnit units,
                                             uint32_t wheelCount, int32_t wheel1, int32_t wheel2,
                                             int32_t wheel3) = 0;
  virtual CGEventRef createMouseEvent(CGEventSourceRef source, CGEventType type, CGPoint location,
                                      CGMouseButton button) = 0;
  virtual CGEventRef createKeyboardEvent(CGEventSourceRef source, uint16_t keycode,
                                         bool keyDown) = 0;
  virtual void retain(CGEventRef event) = 0;   // CFRetain
  virtual void release(CGEventRef event) = 0;  // CFRelease

  virtual CGEventSourceRef sourceCreate(CGEventSourceStateID state) = 0;
  virtual void sourceSetUserData(CGEventSourceRef source, int64_t userData) = 0;
  virtual void sourceRelease(CGEventSourceRef source) = 0;

  virtual void post(CGEventTapLocation location, CGEventRef event) = 0;
  virtual void postToPid(pid_t pid, CGEventRef event) = 0;

  // CGEventTapCreate: null if the tap cannot be made.
  virtual CFMachPortRef tapCreate(CGEventTapLocation location, CGEventTapPlacement placement,
                                  CGEventTapOptions options, CGEventMask mask,
                                  CGEventTapCallBack callback, void* userInfo) = 0;
  virtual void tapEnable(CFMachPortRef tap, bool enable) = 0;
  virtual bool tapIsEnabled(CFMachPortRef tap) = 0;
  // CFMachPortCreateRunLoopSource: null if the source cannot be made.
  virtual CFRunLoopSourceRef machPortCreateRunLoopSource(CFMachPortRef tap, int64_t order) = 0;
};

// NSEvent: +eventWithCGEvent: and the properties the handlers read.
class CocoaEvents {
 public:
  virtual ~CocoaEvents() = default;

  virtual NSEventRef eventWithCGEvent(CGEventRef event) = 0;
  virtual CGEventType type(NSEventRef event) = 0;
  virtual uint64_t modifierFlags(NSEventRef event) = 0;
  virtual uint32_t phase(NSEventRef event) = 0;
  virtual uint32_t momentumPhase(NSEventRef event) = 0;
  virtual double scrollingDeltaX(NSEventRef event) = 0;
  virtual double scrollingDeltaY(NSEventRef event) = 0;
  virtual bool hasPreciseScrollingDeltas(NSEventRef event) = 0;
  virtual double deltaX(NSEventRef event) = 0;
  virtual double deltaY(NSEventRef event) = 0;
  virtual int64_t buttonNumber(NSEventRef event) = 0;
  virtual int64_t eventNumber(NSEventRef event) = 0;
  virtual int16_t subtype(NSEventRef event) = 0;
  virtual uint64_t buttonMask(NSEventRef event) = 0;
  virtual std::string_view characters(NSEventRef event) = 0;
  virtual std::string_view charactersIgnoringModifiers(NSEventRef event) = 0;
  virtual CGPoint locationInWindow(NSEventRef event) = 0;

  virtual CGPoint mouseLocation() = 0;          // +[NSEvent mouseLocation], Cocoa coordinates
  virtual uint64_t currentModifierFlags() = 0;  // +[NSEvent modifierFlags]
  virtual uint64_t pressedMouseButtons() = 0;   // +[NSEvent pressedMouseButtons]
};

}  // namespace port
