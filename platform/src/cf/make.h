// Objects for the platform's own use: like the Create functions, but not announced to recordings and failure plans.
// Each is null when the allocator (null: the system allocator) has no memory. [create: caller releases]
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <span>
#include <string_view>

namespace vel::platform {

// Null as well when the bytes are not valid in the encoding; they contain no NUL.
CFStringRef makeString(CFAllocatorRef allocator, std::string_view bytes,
                       CFStringEncoding encoding = kCFStringEncodingUTF8);
CFNumberRef makeNumber(CFAllocatorRef allocator, std::int32_t value);
CFNumberRef makeNumber(CFAllocatorRef allocator, std::int64_t value);
CFNumberRef makeNumber(CFAllocatorRef allocator, double value);
CFDataRef makeData(CFAllocatorRef allocator, std::span<const std::uint8_t> bytes);
CFUUIDRef makeUUID(CFAllocatorRef allocator, const CFUUIDBytes& bytes);
CFMutableArrayRef makeArray(CFAllocatorRef allocator, CFIndex capacity = 0,
                            const CFArrayCallBacks* callBacks = &kCFTypeArrayCallBacks);
// Appends without an announcement.
void append(CFMutableArrayRef array, const void* value);
CFMutableDictionaryRef makeDictionary(CFAllocatorRef allocator, CFIndex capacity = 0,
                                      const CFDictionaryKeyCallBacks* keys = &kCFTypeDictionaryKeyCallBacks,
                                      const CFDictionaryValueCallBacks* values = &kCFTypeDictionaryValueCallBacks);

} // namespace vel::platform
