// The fields of a record that search, filters and counts use. docs/record-format.md describes the whole record.
#pragma once

#include <profile/record_view.h>

namespace vel::sources {

inline constexpr std::size_t recordSize = profile::record_size;

inline std::uint32_t sequenceNumber(const unsigned char* record) noexcept {
  return profile::sequence_number(record);
}

inline std::uint64_t timeStamp(const unsigned char* record) noexcept {
  return profile::timestamp(record);
}

} // namespace vel::sources
