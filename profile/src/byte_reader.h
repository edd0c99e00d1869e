// The one way to read a number from a record: byte by byte, little-endian, at any offset.
#pragma once

#include <cstddef>
#include <type_traits>

namespace vel::profile {

template <class T>
constexpr T load(const unsigned char* at) noexcept {
  static_assert(std::is_unsigned_v<T>);
  T value = 0;
  for (std::size_t i = 0; i < sizeof(T); ++i) {
    value = static_cast<T>(value | static_cast<T>(at[i]) << (8 * i));
  }
  return value;
}

} // namespace vel::profile
