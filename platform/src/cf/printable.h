// Untrusted text, made safe for a terminal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vel::platform {

// The first character of a text that is not empty; a byte that is not part of valid UTF-8 counts as a character.
struct Character {
  std::uint32_t value; // code point or byte
  std::size_t length;  // in bytes
  bool valid;
};
Character firstCharacter(std::string_view text);

// Characters that a terminal would act on or not show, except tabs and newlines, become \xNN or \u{NNNN}; bytes that
// are not part of valid UTF-8 become \xNN.
std::string printable(std::string_view text);

} // namespace vel::platform
