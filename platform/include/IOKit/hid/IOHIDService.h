// The HID event system's services and sessions, as its plug-ins see them.
#pragma once

#include <CoreFoundation/CFBase.h>
#include <IOKit/IOTypes.h>

CF_EXTERN_C_BEGIN

typedef struct IOHIDServiceObject* IOHIDServiceRef;
typedef struct IOHIDSessionObject* IOHIDSessionRef;

// The properties of a service never change, so everything here may be called on any thread.

// A service property, or null. [create: caller releases] and [get: borrowed]
CFTypeRef IOHIDServiceCopyProperty(IOHIDServiceRef service, CFStringRef key);
CFTypeRef IOHIDServiceGetProperty(IOHIDServiceRef service, CFStringRef key);
// Whether the service has this usage on this usage page.
boolean_t IOHIDServiceConformsTo(IOHIDServiceRef service, uint32_t usagePage, uint32_t usage);
// The registry entry id of the service as a number, or null. [get: borrowed]
CFTypeRef IOHIDServiceGetRegistryID(IOHIDServiceRef service);

CF_EXTERN_C_END
