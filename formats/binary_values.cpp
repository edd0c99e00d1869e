// Converts the bytes of numbers, dates and text in a binary property list.
#include "formats/binary_values.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <cmath>
#include <limits>

namespace vel::formats {

namespace {

__extension__ using Wide = __int128;

Value wideInteger(Wide number) {
  using Narrow = std::numeric_limits<std::int64_t>;
  if (number >= Narrow::min() && number <= Narrow::max()) {
    return {static_cast<std::int64_t>(number)};
  }
  return taggedValue("$integer", {fmt::format("{}", number)});
}

void appendCodePoint(std::string& out, std::uint32_t c) {
  const auto put = [&](std::uint32_t byte) { out += static_cast<char>(byte); };
  if (c < 0x80) {
    put(c);
  } else if (c < 0x800) {
    put(0xC0 | c >> 6);
    put(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    put(0xE0 | c >> 12);
    put(0x80 | (c >> 6 & 0x3F));
    put(0x80 | (c & 0x3F));
  } else {
    put(0xF0 | c >> 18);
    put(0x80 | (c >> 12 & 0x3F));
    put(0x80 | (c >> 6 & 0x3F));
    put(0x80 | (c & 0x3F));
  }
}

// A date as ISO 8601 text; empty outside the years 0 to 9999.
std::string isoText(double secondsFrom2001) {
  using namespace std::chrono;
  constexpr sys_days epoch = year(2001) / January / 1;
  constexpr double first = duration<double>(sys_days(year(0) / January / 1) - epoch).count();
  constexpr double end = duration<double>(sys_days(year(10000) / January / 1) - epoch).count();
  if (!(secondsFrom2001 >= first && secondsFrom2001 < end - 1e-6)) { // true for NaN
    return {};
  }
  const auto time = sys_time<microseconds>(epoch) + microseconds(std::llround(secondsFrom2001 * 1e6));
  const auto day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss clock(time - day);
  std::string text = fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", static_cast<int>(date.year()),
                                 static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                                 clock.hours().count(), clock.minutes().count(), clock.seconds().count());
  if (clock.subseconds().count() != 0) {
    text += fmt::format(".{:06}", clock.subseconds().count());
  }
  return text + 'Z';
}

} // namespace

std::uint64_t bigEndian(std::span<const std::byte> bytes) {
  std::uint64_t value = 0;
  for (const std::byte byte : bytes) {
    value = value << 8 | std::to_integer<std::uint64_t>(byte);
  }
  return value;
}

Value taggedValue(const char* tag, Value value) {
  Dictionary members;
  members.push_back({tag, std::move(value)});
  return {std::move(members)};
}

Value integerValue(std::span<const std::byte> bytes) {
  if (bytes.size() < 8) {
    return {static_cast<std::int64_t>(bigEndian(bytes))};
  }
  const auto high = static_cast<std::int64_t>(bigEndian(bytes.first(8)));
  return bytes.size() == 8 ? Value{high} : wideInteger(Wide{high} * (Wide{1} << 64) + Wide{bigEndian(bytes.last(8))});
}

Value uidValue(std::span<const std::byte> bytes) {
  return taggedValue("$uid", wideInteger(Wide{bigEndian(bytes)}));
}

double realValue(std::span<const std::byte> bytes) {
  const std::uint64_t bits = bigEndian(bytes);
  return bytes.size() == 4 ? double{std::bit_cast<float>(static_cast<std::uint32_t>(bits))}
                           : std::bit_cast<double>(bits);
}

Value dateValue(std::span<const std::byte> bytes) {
  const double seconds = realValue(bytes);
  std::string text = isoText(seconds);
  if (text.empty()) {
    text = fmt::format("{} seconds from 2001-01-01T00:00:00Z", seconds);
  }
  return taggedValue("$date", {std::move(text)});
}

std::optional<TextFault> appendASCII(std::string& out, std::span<const std::byte> bytes) {
  const auto wrong = std::find_if(bytes.begin(), bytes.end(), [](std::byte b) { return b >= std::byte{0x80}; });
  if (wrong != bytes.end()) {
    return TextFault{static_cast<std::size_t>(wrong - bytes.begin()),
                     fmt::format("byte {:#04x} in ASCII text", std::to_integer<unsigned>(*wrong))};
  }
  out.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  return std::nullopt;
}

std::size_t lengthOfUTF16(std::span<const std::byte> bytes) {
  std::size_t length = 0;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const std::uint64_t unit = bigEndian(bytes.subspan(i, 2));
    const bool half = unit >= 0xD800 && unit < 0xE000; // of a surrogate pair, which takes 4 bytes of UTF-8
    length += unit < 0x80 ? 1 : unit < 0x800 || half ? 2 : 3;
  }
  return length;
}

std::optional<TextFault> appendUTF16(std::string& out, std::span<const std::byte> bytes) {
  const auto unitAt = [&](std::size_t i) { return static_cast<std::uint32_t>(bigEndian(bytes.subspan(i, 2))); };
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    const std::uint32_t unit = unitAt(i);
    if (unit < 0xD800 || unit >= 0xE000) {
      appendCodePoint(out, unit);
      continue;
    }
    const std::uint32_t next = unit < 0xDC00 && i + 2 < bytes.size() ? unitAt(i + 2) : 0;
    if (next < 0xDC00 || next >= 0xE000) {
      return TextFault{i, fmt::format("surrogate {:#06x} without its other half", unit)};
    }
    appendCodePoint(out, 0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00));
    i += 2;
  }
  return std::nullopt;
}

} // namespace vel::formats
