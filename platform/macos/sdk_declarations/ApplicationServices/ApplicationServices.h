// Declarations only, for the Linux compile check: Core Graphics and the accessibility
// interface of HIServices that the macOS adapter calls, written from Apple's
// Application Services reference. Nothing here is defined.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <CoreGraphics/CoreGraphics.h>

#ifdef __cplusplus
extern "C" {
#endif

// Page: Application Services > Accessibility > AXUIElement.h.
typedef const struct __AXUIElement* AXUIElementRef;
enum AXError : int32_t { kAXErrorSuccess = 0 };  // CF_ENUM in the SDK
CFTypeID AXUIElementGetTypeID(void);
AXUIElementRef AXUIElementCreateSystemWide(void);
AXUIElementRef AXUIElementCreateApplication(pid_t pid);
AXError AXUIElementCopyElementAtPosition(AXUIElementRef application, float x, float y,
                                         AXUIElementRef* element);
AXError AXUIElementCopyAttributeValue(AXUIElementRef element, CFStringRef attribute,
                                      CFTypeRef* value);
AXError AXUIElementCopyAttributeNames(AXUIElementRef element, CFArrayRef* names);
AXError AXUIElementGetPid(AXUIElementRef element, pid_t* pid);
AXError AXUIElementSetMessagingTimeout(AXUIElementRef element, float timeoutInSeconds);
Boolean AXIsProcessTrustedWithOptions(CFDictionaryRef options);
extern const CFStringRef kAXTrustedCheckOptionPrompt;
// Deprecated in 10.9, where AXIsProcessTrustedWithOptions replaces it.
Boolean AXAPIEnabled(void);

// Page: Application Services > Accessibility > AXValue.h.
typedef const struct __AXValue* AXValueRef;
enum AXValueType : uint32_t {  // CF_ENUM in the SDK
  kAXValueTypeIllegal = 0,
  kAXValueTypeCGPoint = 1,
  kAXValueTypeCGSize = 2,
  kAXValueTypeCGRect = 3,
  kAXValueTypeCFRange = 4,
  kAXValueTypeAXError = 5
};
CFTypeID AXValueGetTypeID(void);
AXValueType AXValueGetType(AXValueRef value);
Boolean AXValueGetValue(AXValueRef value, AXValueType theType, void* valuePtr);

#ifdef __cplusplus
}
#endif
