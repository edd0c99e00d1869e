// The exported functions: reports as CoreFoundation strings and on standard output.
#include "profile/profile_description.h"

#include "profile/KIPLogDecoder.h"

#include <cstdio>
#include <vector>

extern "C" {

unsigned char __vel_profile_delta_enabled = 0;

CFStringRef CopyProfileDescription(const _VelProfileReport* report) {
  const std::string text = KIPLogDecoder::to_string(*report);
  return CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingUTF8);
}

void vel_profile_print(const _VelProfileReport* report) {
  const CFStringRef description = CopyProfileDescription(report);
  if (description == nullptr) {
    return;
  }
  if (const char* text = CFStringGetCStringPtr(description, kCFStringEncodingMacRoman)) {
    std::puts(text);
  } else {
    // There is no direct pointer because the text is not ASCII. As UTF-8 it has the bytes of the record.
    const CFIndex longest = CFStringGetMaximumSizeForEncoding(CFStringGetLength(description), kCFStringEncodingUTF8);
    std::vector<char> copy(static_cast<std::size_t>(longest) + 1);
    if (CFStringGetCString(description, copy.data(), longest + 1, kCFStringEncodingUTF8)) {
      std::puts(copy.data());
    }
  }
  CFRelease(description);
}

} // extern "C"
