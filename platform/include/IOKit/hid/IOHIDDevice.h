// HID devices.
#pragma once

#include <CoreFoundation/CFBase.h>
#include <IOKit/IOTypes.h>

CF_EXTERN_C_BEGIN

typedef struct IOHIDDeviceObject* IOHIDDeviceRef;

// The HID device on a registry entry, or null if the entry is not a HID device. [create: caller releases] [any thread]
IOHIDDeviceRef IOHIDDeviceCreate(CFAllocatorRef allocator, io_service_t service);

CF_EXTERN_C_END
