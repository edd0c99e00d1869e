// The one way to read a number from a record: byte by byte, little-endian, at any offset.
#pragma once

#include <cstddef>
#include <cstdint>
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

// The same for a size of 1 to 8 that is known at run time alone.
constexpr std::uint64_t load_sized(const unsigned char* at, std::size_t size) noexcept {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < size; ++i) {
    value |= std::uint64_t{at[i]} << (8 * i);
  }
  return value;
}

} // namespace vel::profile
