// The two halves of a wall-clock text: what all times of one second share, and the microseconds.
#pragma once

#include "digits.h"

#include <ctime>

namespace vel::profile {

// "Nov 21 08:15:02."
inline constexpr std::size_t second_text_length = 16;

// Writes that text for seconds since the epoch, at most 2^64 / 1000000 of them, in the process's time zone.
void write_second_text(std::uint64_t second, char (&out)[second_text_length]) noexcept;

// Six digits with leading zeros.
inline char* put_six_digits(char* p, std::uint32_t value) noexcept {
  store(p, (eight_digits(value) | ascii_zeros) >> 16);
  return p + 6;
}

} // namespace vel::profile
