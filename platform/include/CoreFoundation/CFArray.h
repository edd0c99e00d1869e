// Ordered collections of pointers, of CF objects or of anything else.
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

// What an array does with its values; null members do nothing (equality is then that of the pointers).
typedef struct {
  CFTypeRef (*retain)(CFTypeRef value);
  void (*release)(CFTypeRef value);
  Boolean (*equal)(CFTypeRef a, CFTypeRef b);
} CFArrayCallBacks;

// The values are CF objects: retained, released and compared as such.
extern const CFArrayCallBacks kCFTypeArrayCallBacks;

CFTypeID CFArrayGetTypeID(void);
// An empty array. Capacity is a hint, 0 for none; null callbacks hold raw pointers. [create: caller releases]
CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity, const CFArrayCallBacks* callBacks);
// Adds the value at the end, retained as the callbacks say: with none it is kept as a raw pointer.
void CFArrayAppendValue(CFMutableArrayRef array, const void* value);
CFIndex CFArrayGetCount(CFArrayRef array);
// The value at an index from 0; an index outside aborts. [get: borrowed]
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);

CF_EXTERN_C_END
