// Declarations only, for the Linux compile check: the framebuffer's shared cursor memory,
// written from Apple's IOKit graphics reference (IOFramebufferShared.h). Nothing here is
// defined. The layout is as the page gives it as far as the fields the adapter reads; a Mac
// build takes the real layout from the SDK.
#pragma once

#include <IOKit/graphics/IOGraphicsLib.h>

#ifdef __cplusplus
extern "C" {
#endif

// Page: IOKit > IOFramebufferShared (StdFBShmem_t).
enum { kIOFBNumCursorFrames = 4 };
typedef struct {
  int32_t cursorSema;
  int frame;
  char cursorShow;
  char cursorObscured;
  char shieldFlag;
  char shielded;
  IOGBounds saveRect;
  IOGBounds shieldRect;
  IOGPoint cursorLoc;
  IOGBounds cursorRect;
  IOGBounds oldCursorRect;
  IOGBounds screenBounds;
  int version;
  int structSize;
  uint64_t vblTime;
  uint64_t vblDelta;
  unsigned int reservedC[27];
  unsigned int vblCount;
  unsigned int reservedB[3];
  unsigned char hardwareCursorCapable;
  unsigned char hardwareCursorActive;
  unsigned char hardwareCursorShields;
  unsigned char reservedA;
  IOGSize cursorSize[kIOFBNumCursorFrames];
  IOGPoint hotSpot[kIOFBNumCursorFrames];
} StdFBShmem_t;

#ifdef __cplusplus
}
#endif
