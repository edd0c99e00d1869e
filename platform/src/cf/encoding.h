// Text encodings: everything is kept as UTF-8, the others are converted from and to it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace vel::platform {

bool isAscii(std::string_view bytes);

// The length of UTF-8 text in UTF-16 units; nothing when the bytes are not valid UTF-8 (overlong forms, surrogates and
// values above U+10FFFF are not).
std::optional<std::size_t> utf16Length(std::string_view utf8);

// Every byte is a character in MacRoman; nothing only when the C library cannot convert it.
std::optional<std::string> macRomanToUtf8(std::string_view bytes);
// Nothing when a character is not in MacRoman.
std::optional<std::string> utf8ToMacRoman(std::string_view utf8);

} // namespace vel::platform
