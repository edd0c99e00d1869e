// A fixed-point number as a stream writes a double by default: six significant digits, rounded half to even, trailing
// zeros dropped, an exponent below 0.0001. The value is exact in integers, so no floating-point printing is needed.
#pragma once

#include "digits.h"

#include <string_view>

namespace vel::profile {

// 1/65536 to 6/65536, the magnitudes below 0.0001.
inline constexpr std::string_view smallest_fixed_points[] = {
    "1.52588e-05", "3.05176e-05", "4.57764e-05", "6.10352e-05", "7.62939e-05", "9.15527e-05",
};

// How many decimals six significant digits have, for a magnitude of at least 7/65536.
constexpr unsigned decimals_of(std::uint32_t magnitude) noexcept {
  const std::uint32_t whole = magnitude >> 16;
  if (whole != 0) {
    return whole >= 10000 ? 1 : whole >= 1000 ? 2 : whole >= 100 ? 3 : whole >= 10 ? 4 : 5;
  }
  // The least magnitudes that are not below 0.1, 0.01 and 0.001.
  return magnitude >= 6554 ? 6 : magnitude >= 656 ? 7 : magnitude >= 66 ? 8 : 9;
}

inline char* put_magnitude(char* p, std::uint32_t magnitude) noexcept {
  constexpr std::uint64_t powers[] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000, 1000000000};
  if (magnitude < 7) {
    const std::string_view text = magnitude == 0 ? std::string_view("0") : smallest_fixed_points[magnitude - 1];
    std::memcpy(p, text.data(), text.size());
    return p + text.size();
  }
  unsigned decimals = decimals_of(magnitude);
  const std::uint64_t scaled = magnitude * powers[decimals];
  const std::uint32_t rest = scaled & 0xffff;
  std::uint32_t six = static_cast<std::uint32_t>(scaled >> 16);
  six += rest > 0x8000 || (rest == 0x8000 && (six & 1) != 0);
  if (six == 1000000) { // rounded up to the next power of ten
    six = 100000;
    --decimals;
  }
  const std::uint64_t digits = eight_digits(six); // two zeros, then the six
  const std::uint64_t text = (digits | ascii_zeros) >> 16;
  const unsigned trailing_zeros = static_cast<unsigned>(std::countl_zero(digits)) / 8;
  if (decimals >= 6) {
    std::memcpy(p, "0.000", 5);
    p += decimals - 4;
    store(p, text);
    return p + 6 - trailing_zeros;
  }
  const unsigned whole_digits = 6 - decimals;
  store(p, text);
  p += whole_digits;
  if (trailing_zeros >= decimals) {
    return p;
  }
  *p = '.';
  store(p + 1, text >> (8 * whole_digits));
  return p + 1 + decimals - trailing_zeros;
}

inline char* put_fixed_point_width_10(char* p, std::uint32_t word) noexcept {
  char number[24];
  const bool negative = word >> 31 != 0;
  number[0] = '-';
  char* const end = put_magnitude(number + negative, negative ? 0 - word : word);
  const std::size_t length = static_cast<std::size_t>(end - number);
  store(p, 0x2020202020202020);
  std::memcpy(p + 8, "  ", 2);
  p += length < 10 ? 10 - length : 0;
  std::memcpy(p, number, 16);
  return p + length;
}

} // namespace vel::profile
