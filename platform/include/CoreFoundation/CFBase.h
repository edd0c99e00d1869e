// Types that every CoreFoundation header shares, allocators, and the reference count.
//
// Ownership: functions named Create or Copy return an object that the caller releases [create: caller releases];
// functions named Get return an object that another owner keeps alive [get: borrowed]. Counts are atomic, so any
// function here may be called on any thread; one object may not be changed on two threads at once.
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define CF_EXTERN_C_BEGIN extern "C" {
#define CF_EXTERN_C_END }
#else
#define CF_EXTERN_C_BEGIN
#define CF_EXTERN_C_END
#include <stdbool.h>
#endif

CF_EXTERN_C_BEGIN

typedef unsigned char Boolean;
typedef uint8_t UInt8;
typedef int32_t SInt32;
typedef uint32_t UInt32;

typedef signed long CFIndex;
typedef unsigned long CFTypeID;
typedef unsigned long CFOptionFlags;
typedef unsigned long CFHashCode;

// Any CF object.
typedef const void* CFTypeRef;

typedef const struct CFAllocatorObject* CFAllocatorRef;
typedef const struct CFStringObject* CFStringRef;
typedef const struct CFNumberObject* CFNumberRef;
typedef const struct CFBooleanObject* CFBooleanRef;
typedef const struct CFUUIDObject* CFUUIDRef;
typedef const struct CFDataObject* CFDataRef;
typedef const struct CFArrayObject* CFArrayRef;
typedef struct CFArrayObject* CFMutableArrayRef;
typedef const struct CFDictionaryObject* CFDictionaryRef;
typedef struct CFDictionaryObject* CFMutableDictionaryRef;
typedef struct CFErrorObject* CFErrorRef;

// The default allocator is written as null and means the system allocator.
#define kCFAllocatorDefault ((CFAllocatorRef)0)
// The allocator on the C heap; never freed.
extern const CFAllocatorRef kCFAllocatorSystemDefault;

// `size` bytes from `allocator` (null: the system allocator), aligned for any type; null when it has none or
// when the size is not positive. The hint is not used.
void* CFAllocatorAllocate(CFAllocatorRef allocator, CFIndex size, CFOptionFlags hint);
// Frees memory that CFAllocatorAllocate returned for the same allocator. A null pointer is ignored.
void CFAllocatorDeallocate(CFAllocatorRef allocator, void* pointer);

// Adds a reference; returns the object. Null aborts.
CFTypeRef CFRetain(CFTypeRef object);
// Drops a reference; the last one destroys the object. Null, or an object that is already destroyed, aborts.
void CFRelease(CFTypeRef object);
// True for the same object, or for two of one type with the same value. Null aborts.
Boolean CFEqual(CFTypeRef a, CFTypeRef b);
// A hash that equal objects share.
CFHashCode CFHash(CFTypeRef object);
// The type of an object, to compare with CFStringGetTypeID() and similar. Null aborts.
CFTypeID CFGetTypeID(CFTypeRef object);

CF_EXTERN_C_END
