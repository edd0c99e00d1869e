// The I/O registry: look-up, navigation, properties, and connections to a service's user client.
#pragma once

#include <CoreFoundation/CFDictionary.h>
#include <IOKit/IOTypes.h>

CF_EXTERN_C_BEGIN

#define kIOMasterPortDefault ((mach_port_t)0)
#define kIOServicePlane "IOService"
typedef char io_name_t[128];

// Everything here may be called on any thread. An invalid handle, a handle whose references were all given back, or a
// null pointer in place of a result makes a function return kIOReturnBadArgument, or null or 0 if it returns no code.

// Matching dictionaries, for IOServiceGetMatchingService, which consumes them: by registry id, by name, by class name.
// A text must match as a whole. Null for a text that is null or not UTF-8. [create: caller releases]
CFMutableDictionaryRef IORegistryEntryIDMatching(uint64_t entryID);
CFMutableDictionaryRef IOServiceNameMatching(const char* name);
CFMutableDictionaryRef IOServiceMatching(const char* className);

// The first entry, in the order of registration, that meets every condition in `matching`, or 0. Always consumes a
// reference to `matching`; null is allowed and matches nothing. [create: caller releases]
io_service_t IOServiceGetMatchingService(mach_port_t masterPort, CFDictionaryRef matching);

// The parent and the first child of an entry in a plane (only "IOService" exists; another one is kIOReturnBadArgument).
// Stores 0 and returns kIOReturnNoDevice if the entry has none. [create: caller releases]
kern_return_t IORegistryEntryGetParentEntry(io_registry_entry_t entry, const char* plane, io_registry_entry_t* parent);
kern_return_t IORegistryEntryGetChildEntry(io_registry_entry_t entry, const char* plane, io_registry_entry_t* child);
// The entry's name, cut to its buffer and NUL-terminated.
kern_return_t IORegistryEntryGetName(io_registry_entry_t entry, io_name_t name);
// A property's value, or null. Options are not used. [create: caller releases]
CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key, CFAllocatorRef allocator,
                                          IOOptionBits options);
// Drops a reference; returns kIOReturnBadArgument for 0 and for an object without references.
kern_return_t IOObjectRelease(io_object_t object);

// Opens a connection to the service's user client. `type` is passed to the client; the owning task is not used. On
// failure stores 0 and returns the client's code, or kIOReturnUnsupported if the service has no user client. Close it
// with IOServiceClose.
kern_return_t IOServiceOpen(io_service_t service, mach_port_t owningTask, uint32_t type, io_connect_t* connection);
kern_return_t IOServiceClose(io_connect_t connection);
// Calls a method of the user client: `inputCount` 64-bit scalars and `inputStructSize` bytes in; out, through
// `output` and `outputStruct`, at most as many as the counts say on entry, and on return as many as the method
// reported, which may be more than it wrote. Null pointers mean none. A call that fails leaves all counts as they were.
kern_return_t IOConnectCallMethod(io_connect_t connection, uint32_t selector, const uint64_t* input,
                                  uint32_t inputCount, const void* inputStruct, size_t inputStructSize,
                                  uint64_t* output, uint32_t* outputCount, void* outputStruct,
                                  size_t* outputStructSize);

CF_EXTERN_C_END
