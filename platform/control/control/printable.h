// The characters that may reach a terminal unescaped: one table for the log's sinks and all others that show untrusted
// text.
#pragma once

#include <cstdint>

namespace vel::control {

// False for characters that are invisible but change what is shown: the control characters of ASCII and of Latin-1,
// marks that turn the writing direction, line separators, zero-width characters, tags. [any thread]
constexpr bool isPrintable(std::uint32_t codePoint) {
  const auto within = [codePoint](std::uint32_t first, std::uint32_t last) {
    return first <= codePoint && codePoint <= last;
  };
  const bool control = codePoint < 0x20 || within(0x7F, 0x9F);
  const bool invisible = codePoint == 0xAD || codePoint == 0x061C || within(0x200B, 0x200F) || within(0x2028, 0x202E) ||
                         within(0x2060, 0x206F) || codePoint == 0xFEFF || within(0xFFF0, 0xFFFB) ||
                         within(0xE0000, 0xE0FFF);
  return !control && !invisible;
}

} // namespace vel::control
