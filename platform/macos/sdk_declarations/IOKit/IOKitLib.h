// Declarations only, for the Linux compile check: the IOKit connection calls the adapter
// makes, written from Apple's IOKit reference (IOKitLib.h). Nothing here is defined.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <mach/mach.h>

#ifdef __cplusplus
extern "C" {
#endif

// Page: IOKit > IOKitLib (IOConnectMapMemory, IOConnectUnmapMemory, IOServiceClose).
typedef kern_return_t IOReturn;
typedef uint32_t IOOptionBits;
typedef mach_port_t io_object_t;
typedef io_object_t io_service_t;
typedef io_object_t io_connect_t;
#define kIOReturnSuccess KERN_SUCCESS
kern_return_t IOConnectMapMemory(io_connect_t connect, uint32_t memoryType, task_port_t intoTask,
                                 mach_vm_address_t* atAddress, mach_vm_size_t* ofSize,
                                 IOOptionBits options);
kern_return_t IOConnectUnmapMemory(io_connect_t connect, uint32_t memoryType, task_port_t fromTask,
                                   mach_vm_address_t atAddress);
kern_return_t IOServiceClose(io_connect_t connect);

#ifdef __cplusplus
}
#endif
