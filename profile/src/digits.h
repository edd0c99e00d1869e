// Numbers as decimal text. Every function writes at `p` and returns the end of what it wrote; it may touch up to 15
// bytes beyond that. Numbers of a record come in all sizes, and a mispredicted branch costs more than all of a number's
// arithmetic, so nothing here branches on a number's size where a width is given.
#pragma once

#include "copy_bytes.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace vel::profile {

static_assert(std::endian::native == std::endian::little, "digits are packed with the first one in the lowest byte");

// The eight digits of a number below 10^8, one in each byte, each 0 to 9, the first in the lowest byte.
//
// A word is cut into halves three times: the number into two groups of four digits, in lanes of 32 bits; each group
// into two pairs, in lanes of 16 bits; each pair into two digits, in bytes. Each cut divides all lanes at once, by a
// multiplication and a shift:
//
//   n * 10486 / 2^20 is a little more than n / 100, and has the same integer part for n < 43699.  Here n < 10^4.
//   n *   103 / 2^10 is a little more than n /  10, and has the same integer part for n <   179.  Here n < 100.
//
// The products stay inside their lanes (9999 * 10486 < 2^32, 99 * 103 < 2^16). The shift moves low bits of a lane into
// the lane below it, where the mask removes them. The remainder, n - 100 * quotient, goes into the upper half of the
// lane. tests/profile/digits_test.cpp tries all 10,000 groups and both bounds.
constexpr std::uint64_t eight_digits(std::uint32_t value) noexcept {
  const std::uint64_t fours = value / 10000 | static_cast<std::uint64_t>(value % 10000) << 32;
  const std::uint64_t hundreds = ((fours * 10486) >> 20) & 0x0000007f0000007f;
  const std::uint64_t pairs = hundreds | (fours - hundreds * 100) << 16;
  const std::uint64_t tens = ((pairs * 103) >> 10) & 0x000f000f000f000f;
  return tens | (pairs - tens * 10) << 8;
}

// Added to digits, or combined with them by `|`, these make characters.
inline constexpr std::uint64_t ascii_zeros = 0x3030303030303030;

// The bits that the leading zeros of eight digits take; a multiple of 8. The last digit is not a leading zero, so 0 has
// one digit: the bit set in its byte ends the count there.
constexpr unsigned leading_zero_bits(std::uint64_t digits) noexcept {
  return static_cast<unsigned>(std::countr_zero(digits | std::uint64_t{1} << 56)) & ~7U;
}

inline void store(char* p, std::uint64_t bytes) noexcept {
  copy_bytes(p, &bytes, sizeof bytes);
}

// The digits of a byte.
struct ByteDigits {
  char text[3];
  unsigned length;
};

constexpr ByteDigits spell_byte(unsigned value) {
  ByteDigits digits{};
  for (unsigned divisor = 100; divisor != 0; divisor /= 10) {
    if (value >= divisor || divisor == 1) {
      digits.text[digits.length++] = static_cast<char>('0' + value / divisor % 10);
    }
  }
  return digits;
}

// "0," to "255,": the text in the low four bytes and its length above them, so that one load gives both.
constexpr std::array<std::uint64_t, 256> make_byte_commas() {
  std::array<std::uint64_t, 256> commas{};
  for (unsigned value = 0; value < commas.size(); ++value) {
    const ByteDigits digits = spell_byte(value);
    std::uint64_t text = ',';
    for (unsigned i = digits.length; i-- > 0;) {
      text = text << 8 | static_cast<unsigned char>(digits.text[i]);
    }
    commas[value] = text | std::uint64_t{digits.length + 1} << 32;
  }
  return commas;
}
inline constexpr std::array<std::uint64_t, 256> byte_commas = make_byte_commas();

// The same numbers in three characters, padded on the left with blanks.
struct PaddedByte {
  char text[4];
};

constexpr std::array<PaddedByte, 256> make_right_aligned_bytes() {
  std::array<PaddedByte, 256> texts{};
  for (unsigned value = 0; value < texts.size(); ++value) {
    texts[value] = {{value >= 100 ? static_cast<char>('0' + value / 100) : ' ',
                     value >= 10 ? static_cast<char>('0' + value / 10 % 10) : ' ', static_cast<char>('0' + value % 10),
                     ' '}};
  }
  return texts;
}
inline constexpr std::array<PaddedByte, 256> right_aligned_bytes = make_right_aligned_bytes();

// A byte and the comma after it.
inline char* put_byte_comma(char* p, unsigned char value) noexcept {
  const std::uint64_t comma = byte_commas[value];
  const auto text = static_cast<std::uint32_t>(comma);
  copy_bytes(p, &text, sizeof text);
  return p + (comma >> 32);
}

// The two digits before the last eight of a u32, which are at most 42; blanks take the place of leading zeros.
constexpr std::array<std::uint16_t, 43> make_high_digits() {
  std::array<std::uint16_t, 43> texts{};
  for (unsigned value = 0; value < texts.size(); ++value) {
    const unsigned tens = value >= 10 ? '0' + value / 10 : ' ';
    const unsigned ones = value >= 1 ? '0' + value % 10 : ' ';
    texts[value] = static_cast<std::uint16_t>(tens | ones << 8);
  }
  return texts;
}
inline constexpr std::array<std::uint16_t, 43> high_digits = make_high_digits();

// A u32 in ten characters, two in `high` and eight in `low`. The first `blanks` of them are padding.
struct PaddedU32 {
  std::uint16_t high;
  std::uint64_t low;
  unsigned blanks;
};

inline PaddedU32 pad_u32(std::uint32_t value) noexcept {
  constexpr std::uint64_t zero_to_blank = 0x1010101010101010; // '0' ^ ' ' in each byte
  const std::uint32_t high = value / 100000000;
  const std::uint64_t digits = eight_digits(value % 100000000);
  const unsigned zero_bits = leading_zero_bits(digits | (high != 0)); // a high digit ends the leading zeros
  const unsigned high_blanks = (high < 10) + (high == 0);
  return {high_digits[high], (digits | ascii_zeros) ^ (zero_to_blank & ((std::uint64_t{1} << zero_bits) - 1)),
          high_blanks + zero_bits / 8};
}

// At width 10 a u32 always takes ten characters.
inline char* put_u32_width_10(char* p, std::uint32_t value) noexcept {
  const PaddedU32 text = pad_u32(value);
  copy_bytes(p, &text.high, sizeof text.high);
  store(p + 2, text.low);
  return p + 10;
}

// Without padding: the ten characters of a 128-bit word, shifted down past the blanks.
inline char* put_u32(char* p, std::uint32_t value) noexcept {
  const PaddedU32 text = pad_u32(value);
  const auto ten = static_cast<unsigned __int128>(text.low) << 16 | text.high;
  const auto trimmed = ten >> (8 * text.blanks);
  store(p, static_cast<std::uint64_t>(trimmed));
  store(p + 8, static_cast<std::uint64_t>(trimmed >> 64));
  return p + 10 - text.blanks;
}

// A number below 10^8, without padding.
inline char* put_below_1e8(char* p, std::uint32_t value) noexcept {
  const std::uint64_t digits = eight_digits(value);
  const unsigned zeros = leading_zero_bits(digits);
  store(p, (digits | ascii_zeros) >> zeros);
  return p + 8 - zeros / 8;
}

inline char* put_u64(char* p, std::uint64_t value) noexcept {
  constexpr std::uint64_t e8 = 100000000;
  if (value < e8) {
    return put_below_1e8(p, static_cast<std::uint32_t>(value));
  }
  const std::uint64_t high = value / e8;
  const std::uint64_t low = eight_digits(static_cast<std::uint32_t>(value % e8)) | ascii_zeros;
  if (high < e8) {
    p = put_below_1e8(p, static_cast<std::uint32_t>(high));
  } else {
    p = put_below_1e8(p, static_cast<std::uint32_t>(high / e8));
    store(p, eight_digits(static_cast<std::uint32_t>(high % e8)) | ascii_zeros);
    p += 8;
  }
  store(p, low);
  return p + 8;
}

inline char* put_u64_width_10(char* p, std::uint64_t value) noexcept {
  if (value <= UINT32_MAX) {
    return put_u32_width_10(p, static_cast<std::uint32_t>(value));
  }
  return put_u64(p, value); // at least ten digits
}

// "1,2,3": each byte with a comma, except the last one. No bytes give no text. Loads limit the speed of a dump, so
// eight bytes are loaded at a time.
inline char* put_byte_list(char* p, const unsigned char* bytes, std::size_t count) noexcept {
  if (count == 0) {
    return p;
  }
  std::size_t at = 0;
  for (; at + 8 <= count; at += 8) {
    std::uint64_t eight;
    copy_bytes(&eight, bytes + at, sizeof eight);
    for (unsigned bit = 0; bit < 64; bit += 8) {
      p = put_byte_comma(p, static_cast<unsigned char>(eight >> bit));
    }
  }
  for (; at < count; ++at) {
    p = put_byte_comma(p, bytes[at]);
  }
  return p - 1;
}

} // namespace vel::profile
