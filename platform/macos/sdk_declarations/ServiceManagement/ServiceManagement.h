// Declarations only, for the Linux compile check: the Service Management job calls the
// adapter makes, written from Apple's Service Management reference. Nothing here is defined.
// SMJobSubmit and SMJobRemove are deprecated from 10.10; the agent submits its helper job
// through them.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <Security/Authorization.h>

#ifdef __cplusplus
extern "C" {
#endif

// Page: Service Management > SMJobSubmit, SMJobRemove and kSMDomainSystemLaunchd.
extern const CFStringRef kSMDomainSystemLaunchd;
Boolean SMJobSubmit(CFStringRef domain, CFDictionaryRef job, AuthorizationRef auth,
                    CFErrorRef* outError);
Boolean SMJobRemove(CFStringRef domain, CFStringRef jobLabel, AuthorizationRef auth, Boolean wait,
                    CFErrorRef* outError);

#ifdef __cplusplus
}
#endif
