// Immutable strings. The content is kept as UTF-8.
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef uint32_t CFStringEncoding;
enum {
  kCFStringEncodingMacRoman = 0,
  kCFStringEncodingASCII = 0x0600,
  kCFStringEncodingUTF8 = 0x08000100,
};

CFTypeID CFStringGetTypeID(void);

// A string from NUL-terminated bytes in `encoding`. Null when the bytes are not valid in it (ASCII refuses bytes of
// 0x80 and above, UTF-8 is strict) or the encoding is none of the above. [create: caller releases]
CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding);

// The content as NUL-terminated bytes in `encoding` when it is stored that way already, else null. Valid while the
// string lives. [get: borrowed]
const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding encoding);
// Copies the content, converted to `encoding`, with its NUL into `buffer` of `size` bytes; false when it does not fit
// or cannot be converted.
Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size, CFStringEncoding encoding);
// Length in UTF-16 code units.
CFIndex CFStringGetLength(CFStringRef string);
// The most bytes that `length` UTF-16 code units need in `encoding`, without the NUL; -1 for an unknown encoding.
CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);

// The one constant string with this text; never freed. Use CFSTR. [get: borrowed]
CFStringRef CFStringGetConstantString(const char* text);
#define CFSTR(literal) CFStringGetConstantString("" literal "")

CF_EXTERN_C_END
