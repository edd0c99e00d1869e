// Immutable byte strings.
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

CFTypeID CFDataGetTypeID(void);
// A copy of `length` bytes. [create: caller releases]
CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length);
// [get: borrowed]
const UInt8* CFDataGetBytePtr(CFDataRef data);
CFIndex CFDataGetLength(CFDataRef data);

CF_EXTERN_C_END
