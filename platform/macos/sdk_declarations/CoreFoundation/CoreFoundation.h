// Declarations only, for the Linux compile check: the subset of Core Foundation the macOS
// adapter calls, written from Apple's Core Foundation reference. Nothing here is defined.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Page: Kernel > MacTypes (the fixed-size types every framework header uses).
typedef unsigned char Boolean;
typedef uint8_t UInt8;
typedef int16_t SInt16;
typedef uint16_t UInt16;
typedef int32_t SInt32;
typedef uint32_t UInt32;
typedef int64_t SInt64;
typedef uint64_t UInt64;
typedef int32_t OSStatus;
typedef int16_t OSErr;
typedef uint32_t FourCharCode;
typedef FourCharCode OSType;
typedef unsigned char* StringPtr;

// Page: Core Foundation > Base Utilities (CFType, CFAllocator, CFIndex). The ownership
// annotation CFBase.h gives a function that returns an object its caller must release.
#define CF_RETURNS_RETAINED __attribute__((cf_returns_retained))
typedef long CFIndex;
typedef unsigned long CFTypeID;
typedef unsigned long CFHashCode;
typedef unsigned long CFOptionFlags;
typedef const void* CFTypeRef;
typedef const struct __CFAllocator* CFAllocatorRef;
extern const CFAllocatorRef kCFAllocatorDefault;
CFTypeRef CFRetain(CFTypeRef cf);
void CFRelease(CFTypeRef cf);
Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2);
CFHashCode CFHash(CFTypeRef cf);
CFTypeID CFGetTypeID(CFTypeRef cf);
CFTypeRef CFAutorelease(CFTypeRef cf);

// Page: Core Foundation > CFString.
typedef const struct __CFString* CFStringRef;
typedef uint32_t CFStringEncoding;
CFStringRef __CFStringMakeConstantString(const char* cStr);
#define CFSTR(cStr) __CFStringMakeConstantString("" cStr "")

// Page: Core Foundation > CFBoolean and CFNumber.
typedef const struct __CFBoolean* CFBooleanRef;
extern const CFBooleanRef kCFBooleanTrue;
extern const CFBooleanRef kCFBooleanFalse;
CFTypeID CFBooleanGetTypeID(void);
typedef const struct __CFNumber* CFNumberRef;
Boolean CFNumberIsFloatType(CFNumberRef number);

// Page: Core Foundation > CFArray, CFDictionary and CFData.
typedef const struct __CFArray* CFArrayRef;
CFIndex CFArrayGetCount(CFArrayRef theArray);
const void* CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx);
typedef const struct __CFDictionary* CFDictionaryRef;
typedef struct __CFDictionary* CFMutableDictionaryRef;
typedef const struct __CFData* CFDataRef;
CFDataRef CFDataCreate(CFAllocatorRef allocator, const uint8_t* bytes, CFIndex length);
const uint8_t* CFDataGetBytePtr(CFDataRef theData);
CFIndex CFDataGetLength(CFDataRef theData);
typedef CFTypeRef CFPropertyListRef;

// Page: Core Foundation > CFURL and CFError.
typedef const struct __CFURL* CFURLRef;
CFStringRef CFURLGetString(CFURLRef anURL);
typedef struct __CFError* CFErrorRef;
CFStringRef CFErrorCopyDescription(CFErrorRef err);

// Page: Core Foundation > Time Utilities.
typedef double CFTimeInterval;
typedef CFTimeInterval CFAbsoluteTime;
CFAbsoluteTime CFAbsoluteTimeGetCurrent(void);

// Page: Core Foundation > CFRunLoop, CFRunLoopSource and CFRunLoopTimer.
typedef struct __CFRunLoop* CFRunLoopRef;
typedef struct __CFRunLoopSource* CFRunLoopSourceRef;
typedef struct __CFRunLoopTimer* CFRunLoopTimerRef;
typedef CFStringRef CFRunLoopMode;
extern const CFRunLoopMode kCFRunLoopDefaultMode;
extern const CFRunLoopMode kCFRunLoopCommonModes;
CFRunLoopRef CFRunLoopGetCurrent(void);
CFRunLoopRef CFRunLoopGetMain(void);
void CFRunLoopRun(void);
typedef SInt32 CFRunLoopRunResult;
enum {
  kCFRunLoopRunFinished = 1,
  kCFRunLoopRunStopped = 2,
  kCFRunLoopRunTimedOut = 3,
  kCFRunLoopRunHandledSource = 4,
};
CFRunLoopRunResult CFRunLoopRunInMode(CFRunLoopMode mode, CFTimeInterval seconds,
                                      Boolean returnAfterSourceHandled);
void CFRunLoopWakeUp(CFRunLoopRef rl);
void CFRunLoopAddSource(CFRunLoopRef rl, CFRunLoopSourceRef source, CFRunLoopMode mode);
void CFRunLoopAddTimer(CFRunLoopRef rl, CFRunLoopTimerRef timer, CFRunLoopMode mode);
Boolean CFRunLoopContainsTimer(CFRunLoopRef rl, CFRunLoopTimerRef timer, CFRunLoopMode mode);
void CFRunLoopPerformBlock(CFRunLoopRef rl, CFTypeRef mode, void (^block)(void));
typedef void (*CFRunLoopTimerCallBack)(CFRunLoopTimerRef timer, void* info);
typedef struct {
  CFIndex version;
  void* info;
  const void* (*retain)(const void* info);
  void (*release)(const void* info);
  CFStringRef (*copyDescription)(const void* info);
} CFRunLoopTimerContext;
CFRunLoopTimerRef CFRunLoopTimerCreate(CFAllocatorRef allocator, CFAbsoluteTime fireDate,
                                       CFTimeInterval interval, CFOptionFlags flags, CFIndex order,
                                       CFRunLoopTimerCallBack callout,
                                       CFRunLoopTimerContext* context);
void CFRunLoopTimerSetNextFireDate(CFRunLoopTimerRef timer, CFAbsoluteTime fireDate);
CFAbsoluteTime CFRunLoopTimerGetNextFireDate(CFRunLoopTimerRef timer);
CFTimeInterval CFRunLoopTimerGetInterval(CFRunLoopTimerRef timer);
void CFRunLoopTimerInvalidate(CFRunLoopTimerRef timer);
Boolean CFRunLoopTimerIsValid(CFRunLoopTimerRef timer);

// Page: Core Foundation > CFMachPort.
typedef struct __CFMachPort* CFMachPortRef;
CFRunLoopSourceRef CFMachPortCreateRunLoopSource(CFAllocatorRef allocator, CFMachPortRef port,
                                                 CFIndex order);

// Page: Core Foundation > CFMessagePort.
typedef struct __CFMessagePort* CFMessagePortRef;
enum {
  kCFMessagePortSuccess = 0,
  kCFMessagePortSendTimeout = -1,
  kCFMessagePortReceiveTimeout = -2,
  kCFMessagePortIsInvalid = -3,
  kCFMessagePortTransportError = -4,
  kCFMessagePortBecameInvalidError = -5
};
typedef CFDataRef (*CFMessagePortCallBack)(CFMessagePortRef local, SInt32 msgid, CFDataRef data,
                                           void* info);
typedef struct {
  CFIndex version;
  void* info;
  const void* (*retain)(const void* info);
  void (*release)(const void* info);
  CFStringRef (*copyDescription)(const void* info);
} CFMessagePortContext;
CFMessagePortRef CFMessagePortCreateLocal(CFAllocatorRef allocator, CFStringRef name,
                                          CFMessagePortCallBack callout,
                                          CFMessagePortContext* context, Boolean* shouldFreeInfo);
CFMessagePortRef CFMessagePortCreateRemote(CFAllocatorRef allocator, CFStringRef name);
CFRunLoopSourceRef CFMessagePortCreateRunLoopSource(CFAllocatorRef allocator,
                                                    CFMessagePortRef local, CFIndex order);
SInt32 CFMessagePortSendRequest(CFMessagePortRef remote, SInt32 msgid, CFDataRef data,
                                CFTimeInterval sendTimeout, CFTimeInterval rcvTimeout,
                                CFStringRef replyMode, CFDataRef* returnData);
void CFMessagePortInvalidate(CFMessagePortRef ms);

// Page: Core Foundation > Preferences Utilities.
extern const CFStringRef kCFPreferencesAnyApplication;
extern const CFStringRef kCFPreferencesCurrentUser;
extern const CFStringRef kCFPreferencesAnyHost;
CFPropertyListRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef applicationID);
void CFPreferencesSetAppValue(CFStringRef key, CFPropertyListRef value, CFStringRef applicationID);
Boolean CFPreferencesAppSynchronize(CFStringRef applicationID);
CFArrayRef CFPreferencesCopyKeyList(CFStringRef applicationID, CFStringRef userName,
                                    CFStringRef hostName);

#ifdef __cplusplus
}
#endif
