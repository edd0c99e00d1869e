// Immutable numbers and the two booleans.
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef CFIndex CFNumberType;
enum {
  kCFNumberSInt32Type = 3,
  kCFNumberSInt64Type = 4,
  kCFNumberLongLongType = 11,
  kCFNumberDoubleType = 13,
};

CFTypeID CFNumberGetTypeID(void);
// A number of the given type, read from `value`; null for an unknown type. [create: caller releases]
CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type, const void* value);
// The type that the number was created with.
CFNumberType CFNumberGetType(CFNumberRef number);
// Stores the number through `value` as `type`. A 32-bit read of a wider number stores its low 32 bits; the result is
// false when the value was changed by the conversion.
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value);

CFTypeID CFBooleanGetTypeID(void);
extern const CFBooleanRef kCFBooleanTrue;
extern const CFBooleanRef kCFBooleanFalse;
Boolean CFBooleanGetValue(CFBooleanRef boolean);

CF_EXTERN_C_END
