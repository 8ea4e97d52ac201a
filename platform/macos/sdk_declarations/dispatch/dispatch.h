// Declarations only, for the Linux compile check: the subset of Grand Central Dispatch the
// macOS adapter calls, written from Apple's Dispatch reference. Nothing here is defined.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Page: Dispatch > Dispatch Time.
typedef uint64_t dispatch_time_t;
#define DISPATCH_TIME_NOW (0ull)
#define NSEC_PER_SEC 1000000000ull
dispatch_time_t dispatch_time(dispatch_time_t when, int64_t delta);

// Page: Dispatch > Dispatch Queue.
typedef struct dispatch_queue_s* dispatch_queue_t;
typedef struct dispatch_queue_attr_s* dispatch_queue_attr_t;
typedef void (^dispatch_block_t)(void);
dispatch_queue_t dispatch_get_main_queue(void);
dispatch_queue_t dispatch_queue_create(const char* label, dispatch_queue_attr_t attr);
void dispatch_async(dispatch_queue_t queue, dispatch_block_t block);
void dispatch_after(dispatch_time_t when, dispatch_queue_t queue, dispatch_block_t block);

#ifdef __cplusplus
}
#endif
