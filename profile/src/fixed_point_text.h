// Fixed-point numbers as a stream writes a double by default: six significant digits, rounded half to even, without
// trailing zeros, with an exponent below 0.0001.
//
// A magnitude m means m / 65536, which a double holds exactly. So the digits that a stream would write are those of the
// exact value, and integers suffice: m * 10^decimals, rounded at bit 16, are its six digits. That product is below
// 10^6 * 2^16 for every m. tests/profile/digits_test.cpp compares all 65,536 fractions, with whole parts of each
// length, with the standard library's text.
#pragma once

#include "digits.h"

#include <algorithm>
#include <string_view>

namespace vel::profile {

// 1/65536 to 6/65536, the magnitudes below 0.0001.
inline constexpr std::string_view smallest_fixed_points[] = {
    "1.52588e-05", "3.05176e-05", "4.57764e-05", "6.10352e-05", "7.62939e-05", "9.15527e-05",
};

// The least magnitudes of at least 0.001, 0.01 and so on up to 10000: 65536 times these, rounded up.
inline constexpr std::uint32_t powers_of_ten[] = {66, 656, 6554, 65536, 655360, 6553600, 65536000, 655360000};

// How many of six significant digits follow the point, counted with the zeros between the point and the first of them:
// 9 for the smallest magnitude that has no exponent, 7 / 65536, to 1 for 10000 and more. Without a branch, as
// magnitudes come in all sizes.
constexpr unsigned decimals_of(std::uint32_t magnitude) noexcept {
  unsigned decimals = 9;
  for (const std::uint32_t power : powers_of_ten) {
    decimals -= magnitude >= power;
  }
  return decimals;
}

// Six significant digits and where their point is.
struct SixDigits {
  std::uint64_t text; // the digits in the lowest six bytes
  unsigned decimals;
  unsigned trailing_zeros; // among the decimals, which the text leaves out

  // The characters of "0.", "0.0" and so on before the first digit, for a value below 1.
  constexpr std::size_t zeros_before() const noexcept { return decimals >= 6 ? decimals - 4 : 0; }
  // A whole number has no point.
  constexpr std::size_t length() const noexcept {
    const bool is_whole = trailing_zeros == decimals;
    return (decimals >= 6 ? decimals + 2 : 7) - trailing_zeros - is_whole;
  }
};

constexpr SixDigits six_digits(std::uint32_t magnitude) noexcept {
  constexpr std::uint64_t powers[] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000, 1000000000};
  unsigned decimals = decimals_of(magnitude);
  const std::uint64_t scaled = magnitude * powers[decimals];
  const std::uint64_t odd = (scaled >> 16) & 1; // adding 0x7fff rounds a half down, 0x8000 up: to the even one
  std::uint32_t six = static_cast<std::uint32_t>((scaled + 0x7fff + odd) >> 16);
  if (six == 1000000) { // 999999.5 and more: 1 with one decimal less
    six = 100000;
    --decimals;
  }
  const std::uint64_t digits = eight_digits(six); // two zeros, then the six
  const unsigned trailing_zeros = static_cast<unsigned>(std::countl_zero(digits)) / 8;
  return {(digits | ascii_zeros) >> 16, decimals, std::min(trailing_zeros, decimals)};
}

// The digits with their point, or with zeros and a point before them. With a point among the digits, those after it
// move up by a byte.
inline void put_digits(char* p, const SixDigits& digits) noexcept {
  copy_bytes(p, "0.000", 5);
  p += digits.zeros_before();
  const unsigned whole_bits = digits.decimals >= 6 ? 56 : 8 * (6 - digits.decimals);
  const std::uint64_t whole = (std::uint64_t{1} << whole_bits) - 1;
  store(p, (digits.text & whole) | (digits.text & ~whole) << 8 | std::uint64_t{'.'} << whole_bits);
}

// Blanks and the sign before a text of `length` that is aligned to the right in width 10; returns the text's end.
inline char* put_opening_width_10(char* p, bool negative, std::size_t length) noexcept {
  store(p, 0x2020202020202020);
  copy_bytes(p + 8, "  ", 2);
  length += negative;
  char* const end = p + std::max<std::size_t>(10, length);
  end[-static_cast<std::ptrdiff_t>(length)] = '-'; // overwritten if there is no sign
  return end;
}

inline char* put_fixed_point_width_10(char* p, std::uint32_t word) noexcept {
  const bool negative = word >> 31 != 0;
  const std::uint32_t magnitude = negative ? 0 - word : word;
  if (magnitude < 7) {
    const std::string_view text = magnitude == 0 ? std::string_view("0") : smallest_fixed_points[magnitude - 1];
    char* const end = put_opening_width_10(p, negative, text.size());
    copy_bytes(end - text.size(), text.data(), text.size());
    return end;
  }
  const SixDigits digits = six_digits(magnitude);
  const std::size_t length = digits.length();
  char* const end = put_opening_width_10(p, negative, length);
  put_digits(end - length, digits);
  return end;
}

} // namespace vel::profile
