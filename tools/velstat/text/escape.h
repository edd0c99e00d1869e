// Text from devices and files, made fit for a terminal.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vel::stat {

// One code point at the start of the bytes.
struct CodePoint {
  std::uint32_t value = 0;
  std::size_t length = 1; // in bytes
  bool valid = false;     // else the first byte begins no UTF-8 sequence, and stands alone
};
CodePoint decodeUTF8(std::string_view bytes); // not of an empty text

// Printable characters as they are; anything that could move the cursor, hide text or break a line, bytes that are not
// UTF-8, and the backslash itself as escapes (\n, \x1B, \u{202E}, \\).
std::string escape(std::string_view text);

// How many columns an escaped text takes, as far as a terminal shows each character in one.
std::size_t columns(std::string_view text);

} // namespace vel::stat
