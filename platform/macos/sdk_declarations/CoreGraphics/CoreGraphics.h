// Declarations only, for the Linux compile check: the subset of Core Graphics the macOS
// adapter calls (geometry, Quartz Event Services, Quartz Display Services and Quartz Window
// Services), written from Apple's Core Graphics reference. Nothing here is defined.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#ifdef __cplusplus
extern "C" {
#endif

// Page: Core Graphics > CGGeometry.
typedef double CGFloat;
struct CGPoint {
  CGFloat x;
  CGFloat y;
};
typedef struct CGPoint CGPoint;
struct CGSize {
  CGFloat width;
  CGFloat height;
};
typedef struct CGSize CGSize;
struct CGRect {
  CGPoint origin;
  CGSize size;
};
typedef struct CGRect CGRect;
CGPoint CGPointMake(CGFloat x, CGFloat y);
bool CGRectMakeWithDictionaryRepresentation(CFDictionaryRef dict, CGRect* rect);

// Page: Core Graphics > CGEvent (Quartz Event Services).
typedef struct __CGEvent* CGEventRef;
typedef struct __CGEventSource* CGEventSourceRef;
typedef struct __CGEventTapProxy* CGEventTapProxy;
// The SDK declares these with CF_ENUM, which in C++ makes each a distinct enumeration type
// that a plain integer does not convert to; CF_OPTIONS types stay plain integers.
enum CGEventType : uint32_t { kCGEventNull = 0 };
typedef uint64_t CGEventMask;
typedef uint64_t CGEventFlags;
enum CGEventField : uint32_t { kCGMouseEventNumber = 0 };
typedef uint64_t CGEventTimestamp;
enum CGEventTapLocation : uint32_t {
  kCGHIDEventTap = 0,
  kCGSessionEventTap,
  kCGAnnotatedSessionEventTap
};
enum CGEventTapPlacement : uint32_t { kCGHeadInsertEventTap = 0, kCGTailAppendEventTap };
enum CGEventTapOptions : uint32_t { kCGEventTapOptionDefault = 0, kCGEventTapOptionListenOnly = 1 };
enum CGEventSourceStateID : int32_t {
  kCGEventSourceStatePrivate = -1,
  kCGEventSourceStateCombinedSessionState = 0,
  kCGEventSourceStateHIDSystemState = 1
};
enum CGScrollEventUnit : uint32_t { kCGScrollEventUnitPixel = 0, kCGScrollEventUnitLine = 1 };
enum CGMouseButton : uint32_t { kCGMouseButtonLeft = 0, kCGMouseButtonRight, kCGMouseButtonCenter };
typedef uint16_t CGKeyCode;
typedef int32_t pid_t;
#define CGEventMaskBit(eventType) ((CGEventMask)1 << (eventType))
typedef CGEventRef (*CGEventTapCallBack)(CGEventTapProxy proxy, CGEventType type, CGEventRef event,
                                         void* userInfo);
CGEventType CGEventGetType(CGEventRef event);
void CGEventSetType(CGEventRef event, CGEventType type);
CGEventFlags CGEventGetFlags(CGEventRef event);
void CGEventSetFlags(CGEventRef event, CGEventFlags flags);
CGPoint CGEventGetLocation(CGEventRef event);
void CGEventSetLocation(CGEventRef event, CGPoint location);
CGPoint CGEventGetUnflippedLocation(CGEventRef event);
CGEventTimestamp CGEventGetTimestamp(CGEventRef event);
int64_t CGEventGetIntegerValueField(CGEventRef event, CGEventField field);
void CGEventSetIntegerValueField(CGEventRef event, CGEventField field, int64_t value);
double CGEventGetDoubleValueField(CGEventRef event, CGEventField field);
void CGEventSetDoubleValueField(CGEventRef event, CGEventField field, double value);
CGEventRef CGEventCreate(CGEventSourceRef source);
CGEventRef CGEventCreateCopy(CGEventRef event);
CGEventRef CGEventCreateScrollWheelEvent2(CGEventSourceRef source, CGScrollEventUnit units,
                                          uint32_t wheelCount, int32_t wheel1, int32_t wheel2,
                                          int32_t wheel3);
CGEventRef CGEventCreateMouseEvent(CGEventSourceRef source, CGEventType mouseType,
                                   CGPoint mouseCursorPosition, CGMouseButton mouseButton);
CGEventRef CGEventCreateKeyboardEvent(CGEventSourceRef source, CGKeyCode virtualKey, bool keyDown);
void CGEventPost(CGEventTapLocation tap, CGEventRef event);
void CGEventPostToPid(pid_t pid, CGEventRef event);
CFMachPortRef CGEventTapCreate(CGEventTapLocation tap, CGEventTapPlacement place,
                               CGEventTapOptions options, CGEventMask eventsOfInterest,
                               CGEventTapCallBack callback, void* userInfo);
void CGEventTapEnable(CFMachPortRef tap, bool enable);
bool CGEventTapIsEnabled(CFMachPortRef tap);

// Page: Core Graphics > CGEventSource.
CGEventSourceRef CGEventSourceCreate(CGEventSourceStateID stateID);
void CGEventSourceSetUserData(CGEventSourceRef source, int64_t userData);

// Page: Core Graphics > Quartz Display Services.
typedef uint32_t CGDirectDisplayID;
typedef int32_t CGError;
typedef uint32_t io_service_t;  // a Mach port name, as IOKit declares it
CGError CGWarpMouseCursorPosition(CGPoint newCursorPosition);
io_service_t CGDisplayIOServicePort(CGDirectDisplayID display);

// Page: Core Graphics > Quartz Window Services.
typedef uint32_t CGWindowID;
typedef uint32_t CGWindowListOption;
enum { kCGWindowListOptionOnScreenOnly = 1 << 0 };
enum { kCGNullWindowID = 0 };
CFArrayRef CGWindowListCopyWindowInfo(CGWindowListOption option, CGWindowID relativeToWindow);
extern const CFStringRef kCGWindowNumber;
extern const CFStringRef kCGWindowLayer;
extern const CFStringRef kCGWindowOwnerPID;
extern const CFStringRef kCGWindowSharingState;
extern const CFStringRef kCGWindowBounds;
extern const CFStringRef kCGWindowAlpha;
extern const CFStringRef kCGWindowOwnerName;

#ifdef __cplusplus
}
#endif
