// Wrap-around conversion, and the text of a local time.
#include "profile/wall_time.h"

#include "wall_text.h"

namespace vel::profile {

std::uint64_t wall_microseconds(std::uint64_t timestamp, const TimeSync& sync) noexcept {
  return (timestamp * 1000 + static_cast<std::uint64_t>(sync.calendar) - static_cast<std::uint64_t>(sync.vel)) / 1000;
}

void write_second_text(std::uint64_t second, char (&out)[second_text_length]) noexcept {
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

std::size_t write_wall_text(std::uint64_t microseconds, char (&out)[wall_text_size]) noexcept {
  char second[second_text_length];
  write_second_text(microseconds / 1000000, second);
  std::memcpy(out, second, sizeof second);
  char* const end = put_six_digits(out + sizeof second, static_cast<std::uint32_t>(microseconds % 1000000));
  *end = '\0';
  return static_cast<std::size_t>(end - out);
}

} // namespace vel::profile
