// Reading a record: its header by name, and numbers of any size at any offset.
#pragma once

#include "profile/VelProfileReport.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace vel::profile {

inline constexpr std::size_t record_size = sizeof(_VelProfileReport);

// An unsigned little-endian number. Fields are packed, so `at` may be any address.
template <class T>
constexpr T load(const unsigned char* at) noexcept {
  static_assert(std::is_unsigned_v<T>);
  T value = 0;
  for (std::size_t i = 0; i < sizeof(T); ++i) {
    value = static_cast<T>(value | static_cast<T>(at[i]) << (8 * i));
  }
  return value;
}

// The same for a size of 1 to 8 bytes that is passed as an argument.
constexpr std::uint64_t load_sized(const unsigned char* at, std::size_t size) noexcept {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < size; ++i) {
    value |= std::uint64_t{at[i]} << (8 * i);
  }
  return value;
}

// `record` points at 48 bytes. [any thread]
constexpr std::uint8_t type(const unsigned char* record) noexcept {
  return record[offsetof(_VelProfileReport, type)];
}
constexpr std::uint8_t event(const unsigned char* record) noexcept {
  return record[offsetof(_VelProfileReport, event)];
}
constexpr std::uint8_t component(const unsigned char* record) noexcept {
  return record[offsetof(_VelProfileReport, component)];
}
constexpr std::uint8_t category(const unsigned char* record) noexcept {
  return record[offsetof(_VelProfileReport, category)];
}
constexpr std::uint32_t sequence_number(const unsigned char* record) noexcept {
  return load<std::uint32_t>(record + offsetof(_VelProfileReport, sequence_num));
}
constexpr std::uint64_t timestamp(const unsigned char* record) noexcept {
  return load<std::uint64_t>(record + offsetof(_VelProfileReport, timestamp));
}

} // namespace vel::profile
