// Declarations only, for the Linux compile check: the framebuffer calls and the shared
// cursor memory the adapter reads, written from Apple's IOKit graphics reference
// (IOGraphicsLib.h and IOGraphicsTypes.h). Nothing here is defined.
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

#ifdef __cplusplus
}
#endif
