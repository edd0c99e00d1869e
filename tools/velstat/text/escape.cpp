// Escapes control characters and invalid UTF-8, and measures text in columns.
#include "velstat/text/escape.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace vel::stat {

namespace {

// Characters that are not seen themselves but change what is: controls, marks that turn the writing direction, line
// separators, zero-width characters.
bool isPrintable(std::uint32_t c) {
  const bool control = c < 0x20 || (c >= 0x7F && c < 0xA0);
  const bool invisible = (c >= 0x200B && c <= 0x200F) || (c >= 0x2028 && c <= 0x202E) || (c >= 0x2060 && c <= 0x206F) ||
                         c == 0x061C || c == 0xFEFF || c == 0xAD || (c >= 0xFFF0 && c <= 0xFFFB) ||
                         (c >= 0xE0000 && c <= 0xE0FFF);
  return !control && !invisible;
}

} // namespace

CodePoint decodeUTF8(std::string_view bytes) {
  const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(bytes[i]); };
  const std::uint8_t first = byte(0);
  if (first < 0x80) {
    return {first, 1, true};
  }
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  const CodePoint invalid = {first, 1, false};
  if (first < 0xC2 || first > 0xF4 || bytes.size() < length) {
    return invalid;
  }
  std::uint32_t value = first & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) {
      return invalid;
    }
    value = value << 6 | (byte(i) & 0x3FU);
  }
  const std::uint32_t least = length == 4 ? 0x10000 : length == 3 ? 0x800 : 0x80;
  const bool surrogate = value >= 0xD800 && value < 0xE000;
  if (value < least || value > 0x10FFFF || surrogate) {
    return invalid;
  }
  return {value, length, true};
}

std::string escape(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    const CodePoint point = decodeUTF8(text);
    if (point.valid && point.value == '\\') {
      out += "\\\\";
    } else if (point.valid && point.value == '\n') {
      out += "\\n";
    } else if (point.valid && point.value == '\t') {
      out += "\\t";
    } else if (point.valid && isPrintable(point.value)) {
      out += text.substr(0, point.length);
    } else if (!point.valid || point.value < 0x80) {
      fmt::format_to(std::back_inserter(out), "\\x{:02X}", point.value);
    } else {
      fmt::format_to(std::back_inserter(out), "\\u{{{:X}}}", point.value);
    }
    text.remove_prefix(point.length);
  }
  return out;
}

std::size_t columns(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

} // namespace vel::stat
