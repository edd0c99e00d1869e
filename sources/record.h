// What the search, the filters and the counts need to know of a record. docs/record-format.md describes all of it.
#pragma once

#include <profile/VelProfileReport.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vel::sources {

inline constexpr std::size_t recordSize = sizeof(_VelProfileReport);

static_assert(std::endian::native == std::endian::little, "numbers are copied as they stand in the record");

inline std::uint32_t sequenceNumber(const unsigned char* record) noexcept {
  std::uint32_t number = 0;
  std::memcpy(&number, record + offsetof(_VelProfileReport, sequence_num), sizeof number);
  return number;
}

inline std::uint64_t timeStamp(const unsigned char* record) noexcept {
  std::uint64_t time = 0;
  std::memcpy(&time, record + offsetof(_VelProfileReport, timestamp), sizeof time);
  return time;
}

} // namespace vel::sources
