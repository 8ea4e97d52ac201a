// Declarations only, for the Linux compile check: the power assertion calls the adapter
// makes, written from Apple's IOKit power management reference (IOPMLib.h). Nothing here is
// defined.
#pragma once

#include <IOKit/IOKitLib.h>

#ifdef __cplusplus
extern "C" {
#endif

// Page: IOKit > IOPMLib > Power assertions.
typedef uint32_t IOPMAssertionID;
typedef uint32_t IOPMAssertionLevel;
enum { kIOPMAssertionLevelOff = 0, kIOPMAssertionLevelOn = 255 };
#define kIOPMAssertionTypeNoDisplaySleep CFSTR("NoDisplaySleepAssertion")
IOReturn IOPMAssertionCreateWithName(CFStringRef assertionType, IOPMAssertionLevel assertionLevel,
                                     CFStringRef assertionName, IOPMAssertionID* assertionID);
IOReturn IOPMAssertionRelease(IOPMAssertionID assertionID);

#ifdef __cplusplus
}
#endif
