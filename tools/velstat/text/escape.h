// Makes text from devices and files safe for a terminal.
#pragma once

#include <velstat/text/sink.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace vel::stat {

// One code point at the start of the bytes.
struct CodePoint {
  std::uint32_t value = 0;
  std::size_t length = 1; // in bytes
  bool valid = false;     // if not, this is one byte that does not begin a UTF-8 sequence
};
CodePoint decodeUTF8(std::string_view bytes); // must not be empty

// The number of bytes at the start of the text that are printable ASCII and not one of the two exceptions. Most text
// consists only of such bytes and can be written in one piece.
std::size_t plainLength(std::string_view text, char except, char orExcept);

// Printable characters unchanged; anything that could move the cursor, hide text or break a line, bytes that are not
// UTF-8, and the backslash itself as escapes (\n, \x1B, \u{202E}, \\).
void appendEscaped(Sink& out, std::string_view text);
std::string escape(std::string_view text);

// The same for a key or a path, which may be as long as its file and is shown many times: one that takes more than
// `widestKey` columns is shown as its beginning, its end and its length ("com.tavik…count (300000 bytes)").
constexpr std::size_t widestKey = 80;
std::string escapeKey(std::string_view key);

// The columns of an escaped text on a terminal that shows each character in one column.
std::size_t columns(std::string_view text);

} // namespace vel::stat
