// Byte strings: the bytes are allocated right after their object.
#pragma once

#include "cf/object.h"

#include <CoreFoundation/CFData.h>

#include <cstdint>
#include <span>

// Immutable. Equal to another one with the same bytes; the hash is made from the bytes.
struct CFDataObject final : vel::platform::Object {
  static vel::platform::Type kind;

  // Copies the bytes. The caller has allocated room for them after the object.
  CFDataObject(CFAllocatorRef allocator, std::span<const std::uint8_t> bytes);

  bool equals(const Object& other) const override;
  CFHashCode hash() const override;

  // [borrowed: while the object lives]
  std::span<const std::uint8_t> bytes() const { return {reinterpret_cast<const std::uint8_t*>(this + 1), size_}; }

private:
  std::size_t size_;
};
