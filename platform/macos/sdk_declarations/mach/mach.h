// Declarations only, for the Linux compile check: the Mach types and the task port the
// adapter's IOKit calls take, written from Apple's Kernel reference. Nothing is defined.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Page: Kernel > Mach > mach_task_self and the port and address types.
typedef int kern_return_t;
typedef uint32_t mach_port_t;
typedef mach_port_t task_port_t;
typedef uint64_t mach_vm_address_t;
typedef uint64_t mach_vm_size_t;
#define KERN_SUCCESS 0
mach_port_t mach_task_self(void);

#ifdef __cplusplus
}
#endif
