// Declarations only, for the Linux compile check: the Service Management job calls and the
// SMAppService class the adapter uses, written from Apple's Service Management reference.
// Nothing here is defined.
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

// Page: os > API_AVAILABLE, the availability annotation the SDK's headers spell with it.
#ifndef API_AVAILABLE
#define API_AVAILABLE(...)
#endif

#ifdef __OBJC__
#import <Foundation/Foundation.h>
// Page: Service Management > SMAppService (macOS 13): the main application as a login item,
// and a launch daemon by its property list in the bundle; the status of either.
typedef NS_ENUM(NSInteger, SMAppServiceStatus) {
  SMAppServiceStatusNotRegistered = 0,
  SMAppServiceStatusEnabled = 1,
  SMAppServiceStatusRequiresApproval = 2,
  SMAppServiceStatusNotFound = 3,
} API_AVAILABLE(macos(13.0));
API_AVAILABLE(macos(13.0))
@interface SMAppService : NSObject
+ (SMAppService*)mainAppService;
+ (void)openSystemSettingsLoginItems;
- (SMAppServiceStatus)status;
+ (SMAppService*)daemonServiceWithPlistName:(NSString*)plistName;
- (BOOL)registerAndReturnError:(NSError**)error;
- (BOOL)unregisterAndReturnError:(NSError**)error;
@end
#endif
