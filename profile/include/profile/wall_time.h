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

// The texts of wall-clock times, such as "Nov 21 08:15:02.000417", in the process's time zone (as of the last tzset)
// and with the month names of its locale. Keeps the text of the last second and the month names it has asked for: both
// conversions are slow, and that of the second takes a lock that all threads share. So a new zone or locale takes
// effect with the next object. [one thread at a time; as many objects as threads]
class WallClock {
public:
  // The text goes through two buffers of 30 bytes, terminating NULs included: first the date up to its seconds, then
  // all of it. A month of up to 10 bytes leaves room for everything; one of 11 to 17 bytes costs the last digits; with
  // a longer one the date does not fit, and the text is ".000417".
  static constexpr std::size_t longest_text = 29; // bytes

  explicit WallClock(const TimeSync& sync) noexcept : sync_(sync) {}

  // The text of a record's time stamp. [borrowed: until the next call]
  std::string_view text(std::uint64_t timestamp) noexcept;

private:
  // A month's name and a blank.
  struct Month {
    static constexpr std::uint8_t not_asked = 0xff;

    std::uint8_t length = not_asked; // 0: too long for a date
    char text[19];
  };

  void write_date(std::uint64_t second) noexcept;

  TimeSync sync_;
  Month months_[12];
  std::uint64_t second_ = 0; // of the date, since the epoch
  bool has_date_ = false;
  std::uint8_t date_length_ = 0;
  char text_[40]; // of the last time; the microseconds are written in a word of 8 bytes
};

} // namespace vel::profile
