// The arithmetic of digits, over the whole range for which it claims to be exact.
#include "digits.h"
#include "fixed_point_text.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <string>

namespace {

using namespace vel::profile;

// The first number for which a multiplication and a shift give another quotient than the division.
constexpr unsigned first_difference(unsigned factor, unsigned shift, unsigned divisor) {
  unsigned n = 0;
  while (n * factor >> shift == n / divisor) {
    ++n;
  }
  return n;
}
static_assert(first_difference(10486, 20, 100) == 43699);
static_assert(first_difference(103, 10, 10) == 179);

// What a function writes; it may touch up to 15 bytes beyond.
template <class Put>
std::string written(Put put) {
  char out[64];
  return std::string(out, put(out));
}

[[gnu::format(printf, 1, 2)]] std::string printed(const char* format, ...) {
  char out[64];
  std::va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(out, sizeof out, format, arguments);
  va_end(arguments);
  return std::string(out, static_cast<std::size_t>(length));
}

std::string characters_of(std::uint64_t digits) {
  char out[8];
  store(out, digits | ascii_zeros);
  return std::string(out, sizeof out);
}

TEST(Digits, EveryGroupOfFour_InBothHalves) {
  for (std::uint32_t group = 0; group < 10000; ++group) {
    for (const std::uint32_t value : {group, group * 10000, group * 10001, 99990000 + group}) {
      ASSERT_EQ(characters_of(eight_digits(value)), printed("%08u", value));
      ASSERT_EQ(written([&](char* p) { return put_below_1e8(p, value); }), printed("%u", value));
    }
  }
}

TEST(Digits, EveryByte) {
  for (unsigned byte = 0; byte < 256; ++byte) {
    EXPECT_EQ(written([&](char* p) { return put_byte_comma(p, static_cast<unsigned char>(byte)); }),
              printed("%u,", byte));
    EXPECT_EQ(std::string(right_aligned_bytes[byte].text, 3), printed("%3u", byte));
  }
}

TEST(Digits, NumbersOfEveryLength) {
  std::uint64_t power = 1;
  for (unsigned digits = 1; digits <= 20; ++digits, power *= 10) {
    for (const std::uint64_t value : {power - 1, power, power + 1, power * 7 + 8, 0 - power}) {
      const std::uint32_t word = static_cast<std::uint32_t>(value);
      EXPECT_EQ(written([&](char* p) { return put_u64(p, value); }), std::to_string(value));
      EXPECT_EQ(written([&](char* p) { return put_u64_width_10(p, value); }),
                printed("%10llu", static_cast<unsigned long long>(value)));
      EXPECT_EQ(written([&](char* p) { return put_u32(p, word); }), std::to_string(word));
      EXPECT_EQ(written([&](char* p) { return put_u32_width_10(p, word); }), printed("%10u", word));
    }
  }
}

TEST(FixedPoint, EveryFraction_WithWholePartsOfEveryLength) {
  for (const std::uint32_t whole : {0, 1, 9, 10, 87, 99, 999, 1234, 9999, 10000, 12345, 32767}) {
    for (std::uint32_t fraction = 0; fraction < 65536; ++fraction) {
      const std::uint32_t magnitude = whole << 16 | fraction;
      const double value = magnitude / 65536.0;
      ASSERT_EQ(written([&](char* p) { return put_fixed_point_width_10(p, magnitude); }), printed("%10g", value));
      ASSERT_EQ(written([&](char* p) { return put_fixed_point_width_10(p, 0 - magnitude); }),
                printed("%10g", magnitude == 0 ? 0.0 : -value));
    }
  }
}

TEST(FixedPoint, TheLeastNumber) {
  EXPECT_EQ(written([](char* p) { return put_fixed_point_width_10(p, 0x80000000); }), "    -32768");
}

} // namespace
