// Declarations only, for the Linux compile check: Authorization Services as the adapter
// calls them, written from Apple's Security reference. Nothing here is defined.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

// Page: Security > Authorization Services (AuthorizationCreate, AuthorizationFree, the
// rights and flags).
typedef const struct AuthorizationOpaqueRef* AuthorizationRef;
typedef UInt32 AuthorizationFlags;
enum {
  kAuthorizationFlagDefaults = 0,
  kAuthorizationFlagInteractionAllowed = (1 << 0),
  kAuthorizationFlagExtendRights = (1 << 1),
  kAuthorizationFlagPartialRights = (1 << 2),
  kAuthorizationFlagDestroyRights = (1 << 3),
  kAuthorizationFlagPreAuthorize = (1 << 4)
};
enum { errAuthorizationSuccess = 0 };
typedef const char* AuthorizationString;
typedef struct {
  AuthorizationString name;
  size_t valueLength;
  void* value;
  UInt32 flags;
} AuthorizationItem;
typedef struct {
  UInt32 count;
  AuthorizationItem* items;
} AuthorizationItemSet;
typedef AuthorizationItemSet AuthorizationRights;
typedef AuthorizationItemSet AuthorizationEnvironment;
#define kAuthorizationEmptyEnvironment NULL
OSStatus AuthorizationCreate(const AuthorizationRights* rights,
                             const AuthorizationEnvironment* environment, AuthorizationFlags flags,
                             AuthorizationRef* authorization);
OSStatus AuthorizationFree(AuthorizationRef authorization, AuthorizationFlags flags);

#ifdef __cplusplus
}
#endif
