// Byte strings: the bytes are allocated right after their object.
#pragma once

#include "cf/object.h"

#include <CoreFoundation/CFData.h>

#include <cstdint>
#include <span>

struct CFDataObject final : vel::platform::Object {
  static vel::platform::Type kind;

  // The bytes fit after the object.
  CFDataObject(CFAllocatorRef allocator, std::span<const std::uint8_t> bytes);

  bool equals(const Object& other) const override;
  CFHashCode hash() const override;

  std::span<const std::uint8_t> bytes() const { return {reinterpret_cast<const std::uint8_t*>(this + 1), size_}; }

private:
  std::size_t size_;
};
