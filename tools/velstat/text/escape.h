// Text from devices and files, made fit for a terminal.
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
  bool valid = false;     // else the first byte begins no UTF-8 sequence, and stands alone
};
CodePoint decodeUTF8(std::string_view bytes); // not of an empty text

// How many bytes at the start of the text are of ASCII, printable, and none of these two. Most text is all of that kind
// and can be written in one piece.
std::size_t plainLength(std::string_view text, char except, char orExcept);

// Printable characters as they are; anything that could move the cursor, hide text or break a line, bytes that are not
// UTF-8, and the backslash itself as escapes (\n, \x1B, \u{202E}, \\).
void appendEscaped(Sink& out, std::string_view text);
std::string escape(std::string_view text);

// The same of a key or a path, which may be as long as its file and is shown again and again: of one that takes more
// than `widestKey` columns, beginning, end and length ("com.tavik…count (300000 bytes)").
constexpr std::size_t widestKey = 80;
std::string escapeKey(std::string_view key);

// How many columns an escaped text takes, as far as a terminal shows each character in one.
std::size_t columns(std::string_view text);

} // namespace vel::stat
