// Serialised property lists.
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef CFTypeRef CFPropertyListRef;
typedef CFIndex CFPropertyListFormat;
enum { kCFPropertyListBinaryFormat_v1_0 = 200 };

// The property list (strings, numbers, booleans, data, arrays, and dictionaries with string keys) in binary format
// 1.0; the format must be that one and the options 0. Null when anything in it is of another type, when a collection
// does not hold its content as CF objects (with the kCFType... callbacks), or when arrays and dictionaries are nested
// more than 512 deep. No error object is ever made. [create: caller releases]
CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef propertyList,
                                   CFPropertyListFormat format, CFOptionFlags options, CFErrorRef* error);

CF_EXTERN_C_END
