// Declarations only, for the Linux compile check: the framebuffer calls and the shared
// cursor memory the adapter reads, written from Apple's IOKit graphics reference
// (IOGraphicsLib.h, IOGraphicsTypes.h and IOFramebufferShared.h). Nothing here is defined.
// The shared memory's layout is declared only as far as the fields the adapter reads, after
// the leading fields; a Mac build takes the real layout from the SDK.
#pragma once

#include <IOKit/IOKitLib.h>

#ifdef __cplusplus
extern "C" {
#endif

// Page: IOKit > IOGraphicsLib (IOFramebufferOpen).
kern_return_t IOFramebufferOpen(io_service_t service, task_port_t owningTask, unsigned int type,
                                io_connect_t* connect);

// Page: IOKit > IOGraphicsTypes (connection and memory types, IOGPoint, IOGSize, IOGBounds).
enum { kIOFBServerConnectType = 0, kIOFBSharedConnectType = 1 };
enum { kIOFBCursorMemory = 100 };
typedef struct {
  int16_t x;
  int16_t y;
} IOGPoint;
typedef struct {
  int16_t width;
  int16_t height;
} IOGSize;
typedef struct {
  int16_t minx, maxx, miny, maxy;
} IOGBounds;

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
