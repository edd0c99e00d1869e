// Results, handles and options of the I/O registry.
#pragma once

#include <mach/mach.h>

#include <stdint.h>

typedef kern_return_t IOReturn;
typedef uint32_t IOOptionBits;
typedef unsigned int boolean_t;

// A handle to a registry object; 0 is none. Every function that returns one adds a reference that the caller gives
// back with IOObjectRelease.
typedef mach_port_t io_object_t;
typedef io_object_t io_service_t;
typedef io_object_t io_registry_entry_t;
typedef io_object_t io_connect_t;

#define kIOReturnSuccess ((IOReturn)0)
#define kIOReturnError ((IOReturn)0xE00002BC)
#define kIOReturnNoMemory ((IOReturn)0xE00002BD)
#define kIOReturnNoResources ((IOReturn)0xE00002BE)
#define kIOReturnNoDevice ((IOReturn)0xE00002C0)
#define kIOReturnNotPrivileged ((IOReturn)0xE00002C1)
#define kIOReturnBadArgument ((IOReturn)0xE00002C2)
#define kIOReturnExclusiveAccess ((IOReturn)0xE00002C5)
#define kIOReturnUnsupported ((IOReturn)0xE00002C7)
#define kIOReturnIOError ((IOReturn)0xE00002CA)
#define kIOReturnNotOpen ((IOReturn)0xE00002CD)
#define kIOReturnBusy ((IOReturn)0xE00002D5)
#define kIOReturnTimeout ((IOReturn)0xE00002D6)
#define kIOReturnNotReady ((IOReturn)0xE00002D8)
#define kIOReturnNotPermitted ((IOReturn)0xE00002E2)
#define kIOReturnUnderrun ((IOReturn)0xE00002E7)
#define kIOReturnNotFound ((IOReturn)0xE00002F0)
