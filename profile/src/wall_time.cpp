// Wrap-around conversion, and the text of a local time.
#include "profile/wall_time.h"

#include <ctime>

#include "digits.h"

namespace vel::profile {

namespace {

// "Nov 21 08:15:02."
constexpr std::size_t second_text_length = WallClock::text_length - 6;

// `second` is at most 2^64 / 1000000.
void write_second(char* out, std::uint64_t second) noexcept {
  const std::time_t time = static_cast<std::time_t>(second);
  std::tm local = {};
  localtime_r(&time, &local); // succeeds: 64 bits of microseconds end long before the years that a tm can hold
  // Written here and not by strftime, whose month names change with the process's locale.
  constexpr char months[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
  const auto two_digits = [](char* at, int value) {
    at[0] = static_cast<char>('0' + value / 10);
    at[1] = static_cast<char>('0' + value % 10);
  };
  std::memcpy(out, months + std::ptrdiff_t{3} * local.tm_mon, 3);
  out[3] = ' ';
  two_digits(out + 4, local.tm_mday);
  out[6] = ' ';
  two_digits(out + 7, local.tm_hour);
  out[9] = ':';
  two_digits(out + 10, local.tm_min);
  out[12] = ':';
  two_digits(out + 13, local.tm_sec);
  out[15] = '.';
}

} // namespace

std::uint64_t wall_microseconds(std::uint64_t timestamp, const TimeSync& sync) noexcept {
  return (timestamp * 1000 + static_cast<std::uint64_t>(sync.calendar) - static_cast<std::uint64_t>(sync.vel)) / 1000;
}

std::string_view WallClock::text(std::uint64_t timestamp) noexcept {
  const std::uint64_t microseconds = wall_microseconds(timestamp, sync_);
  const std::uint64_t second = microseconds / 1000000;
  if (!has_second_ || second != second_) {
    write_second(text_, second);
    second_ = second;
    has_second_ = true;
  }
  static_assert(sizeof text_ >= second_text_length + sizeof(std::uint64_t));
  const std::uint64_t eight = eight_digits(static_cast<std::uint32_t>(microseconds % 1000000)); // two zeros, then six
  store(text_ + second_text_length, (eight | ascii_zeros) >> 16);
  return {text_, text_length};
}

} // namespace vel::profile
