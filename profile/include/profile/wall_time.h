// Co-processor time stamps as local calendar time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vel::profile {

// Readings of the co-processor's clock and of the wall clock, taken at the same moment, in nanoseconds; the latter
// since the epoch. A time stamp of a record counts microseconds.
struct TimeSync {
  std::int64_t vel;
  std::int64_t calendar;
};

// The wall-clock time of a time stamp in microseconds since the epoch. Wraps around: any input has a result.
std::uint64_t wall_microseconds(std::uint64_t timestamp, const TimeSync& sync) noexcept;

// The texts of wall-clock times, such as "Nov 21 08:15:02.000417", in the process's time zone (as of the last tzset).
// Month names are English whatever the locale. Keeps the text of the last second: its conversion takes a lock that all
// threads share. So a new zone takes effect with the next object. [one thread at a time; as many objects as threads]
class WallClock {
public:
  static constexpr std::size_t text_length = 22; // bytes

  explicit WallClock(const TimeSync& sync) noexcept : sync_(sync) {}

  // The text of a record's time stamp. [borrowed: until the next call]
  std::string_view text(std::uint64_t timestamp) noexcept;

private:
  TimeSync sync_;
  bool has_second_ = false;
  std::uint64_t second_ = 0; // since the epoch
  char text_[24];            // of the last time; written in words of 8 bytes
};

} // namespace vel::profile
