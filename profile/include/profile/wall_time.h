// Co-processor time stamps as local calendar time.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vel::profile {

// Readings of the co-processor's clock and of the wall clock, taken at the same moment, in nanoseconds; the latter
// since the epoch. A time stamp of a record counts microseconds.
struct TimeSync {
  std::int64_t vel;
  std::int64_t calendar;
};

// The wall-clock time of a time stamp in microseconds since the epoch. Wraps around: any input has a result.
std::uint64_t wall_microseconds(std::uint64_t timestamp, const TimeSync& sync) noexcept;

// Room for the text of a wall-clock time and the terminating NUL.
inline constexpr std::size_t wall_text_size = 30;

// Writes "Nov 21 08:15:02.000417" in the process's time zone (as of the last tzset), NUL-terminated, and returns its
// length. Month names are English whatever the locale. [any thread]
std::size_t write_wall_text(std::uint64_t microseconds, char (&out)[wall_text_size]) noexcept;

} // namespace vel::profile
