// Maps from pointer to pointer, of CF objects or of anything else. Pairs keep the order in which their keys were first
// set.
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

// What a dictionary does with its keys; null members do nothing (equality is then that of the pointers).
typedef struct {
  CFTypeRef (*retain)(CFTypeRef key);
  void (*release)(CFTypeRef key);
  Boolean (*equal)(CFTypeRef a, CFTypeRef b);
  CFHashCode (*hash)(CFTypeRef key);
} CFDictionaryKeyCallBacks;

// The same for values.
typedef struct {
  CFTypeRef (*retain)(CFTypeRef value);
  void (*release)(CFTypeRef value);
  Boolean (*equal)(CFTypeRef a, CFTypeRef b);
} CFDictionaryValueCallBacks;

// Keys and values are CF objects: retained, released, compared and hashed as such.
extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;

CFTypeID CFDictionaryGetTypeID(void);
// An empty dictionary. Capacity is a hint, 0 for none; null callbacks hold raw pointers. [create: caller releases]
CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks);
// Adds the pair, or replaces the value of a key that is there.
void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value);
// The value, or null. [get: borrowed]
const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key);
CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary);
// Copies all keys and values, in their order, into arrays of CFDictionaryGetCount entries; either may be null.
// [get: borrowed]
void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary, const void** keys, const void** values);

CF_EXTERN_C_END
