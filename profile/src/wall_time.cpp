// Converts time stamps to local calendar time, and writes its text.
#include "profile/wall_time.h"

#include "digits.h"

#include <algorithm>
#include <cstring>
#include <ctime>

namespace vel::profile {

namespace {

constexpr std::size_t buffer_size = WallClock::longest_text + 1; // with the terminating NUL

} // namespace

std::uint64_t wall_microseconds(std::uint64_t timestamp, const TimeSync& sync) noexcept {
  return (timestamp * 1000 + static_cast<std::uint64_t>(sync.calendar) - static_cast<std::uint64_t>(sync.vel)) / 1000;
}

// Writes what strftime would write for "%b %d %T" into a buffer of 30 bytes; nothing if that does not fit. Only the
// month's name depends on the locale. `second` is at most 2^64 / 1000000. Not inlined: because of its tm, the stack
// protector would check the stack for every record.
[[gnu::noinline]] void WallClock::write_date(std::uint64_t second) noexcept {
  constexpr std::size_t after_month = std::string_view("21 08:15:02").size();
  static_assert(sizeof Month::text + after_month == buffer_size);

  const std::time_t time = static_cast<std::time_t>(second);
  std::tm local = {};
  localtime_r(&time, &local); // succeeds: 64 bits of microseconds end long before the years that a tm can hold
  Month& month = months_[local.tm_mon];
  if (month.length == Month::not_asked) {
    month.length = static_cast<std::uint8_t>(std::strftime(month.text, sizeof month.text, "%b ", &local));
  }
  if (month.length == 0) {
    date_length_ = 0;
    return;
  }
  const auto put_two_digits = [](char* p, int value) {
    p[0] = static_cast<char>('0' + value / 10);
    p[1] = static_cast<char>('0' + value % 10);
  };
  std::memcpy(text_, month.text, sizeof month.text);
  char* const p = text_ + month.length;
  put_two_digits(p, local.tm_mday);
  p[2] = ' ';
  put_two_digits(p + 3, local.tm_hour);
  p[5] = ':';
  put_two_digits(p + 6, local.tm_min);
  p[8] = ':';
  put_two_digits(p + 9, local.tm_sec);
  date_length_ = static_cast<std::uint8_t>(month.length + after_month);
}

std::string_view WallClock::text(std::uint64_t timestamp) noexcept {
  constexpr std::size_t fraction_length = std::string_view(".000417").size();
  static_assert(sizeof text_ >= buffer_size - 1 + std::size_t{1} + sizeof(std::uint64_t));

  const std::uint64_t microseconds = wall_microseconds(timestamp, sync_);
  const std::uint64_t second = microseconds / 1000000;
  if (!has_date_ || second != second_) {
    write_date(second);
    text_[date_length_] = '.';
    second_ = second;
    has_date_ = true;
  }
  const std::uint64_t eight = eight_digits(static_cast<std::uint32_t>(microseconds % 1000000)); // two zeros, then six
  store(text_ + date_length_ + 1, (eight | ascii_zeros) >> 16);
  return {text_, std::min(date_length_ + fraction_length, longest_text)};
}

} // namespace vel::profile
