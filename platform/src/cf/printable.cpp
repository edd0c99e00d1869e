// Finds the characters of UTF-8 text, and escapes those that a terminal would act on.
#include "cf/printable.h"

#include "cf/encoding.h"
#include <control/printable.h>

#include <cstdio>

namespace vel::platform {

Character firstCharacter(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  for (std::size_t length = 1; length <= 4 && length <= text.size(); ++length) {
    if (!utf16Length(text.substr(0, length))) {
      continue;
    }
    std::uint32_t value = length == 1 ? first : first & (0x7FU >> length);
    for (const char c : text.substr(1, length - 1)) {
      value = value << 6 | (static_cast<unsigned char>(c) & 0x3FU);
    }
    return {value, length, true};
  }
  return {first, 1, false};
}

std::string printable(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    const Character c = firstCharacter(text);
    if (c.valid && (c.value == '\t' || c.value == '\n' || control::isPrintable(c.value))) {
      out += text.substr(0, c.length);
    } else {
      char escape[16];
      std::snprintf(escape, sizeof escape, c.valid && c.value >= 0x80 ? "\\u{%X}" : "\\x%02X", c.value);
      out += escape;
    }
    text.remove_prefix(c.length);
  }
  return out;
}

} // namespace vel::platform
