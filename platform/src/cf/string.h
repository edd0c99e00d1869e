// Strings: UTF-8 bytes with a NUL, in one piece of memory with their object.
#pragma once

#include "cf/object.h"

#include <CoreFoundation/CFString.h>

#include <string_view>

struct CFStringObject final : vel::platform::Object {
  static vel::platform::Type kind;

  // `utf8` is valid UTF-8 of `length` UTF-16 units; its bytes and a NUL fit after the object.
  CFStringObject(CFAllocatorRef allocator, std::string_view utf8, std::size_t length);

  bool equals(const Object& other) const override;
  CFHashCode hash() const override;

  const char* text() const { return reinterpret_cast<const char*>(this + 1); }
  std::string_view view() const { return {text(), size_}; }
  std::size_t length() const { return length_; }
  // All other characters take more bytes than UTF-16 units.
  bool ascii() const { return length_ == size_; }

private:
  std::size_t size_;
  std::size_t length_;
};
