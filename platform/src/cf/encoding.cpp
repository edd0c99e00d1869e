// Conversions between UTF-8 and the encodings that strings can have.
#include "cf/encoding.h"

#include <iconv.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace vel::platform {
namespace {

constexpr char32_t invalid = 0xFFFFFFFF;

// Takes one character off the front of `text`, which is not empty.
char32_t take(std::string_view& text) {
  const auto lead = static_cast<unsigned char>(text.front());
  text.remove_prefix(1);
  if (lead < 0x80) {
    return lead;
  }
  // How many bytes follow the lead byte, and the smallest character that needs so many.
  const int more = lead >= 0xC0 && lead < 0xE0   ? 1
                   : lead >= 0xE0 && lead < 0xF0 ? 2
                   : lead >= 0xF0 && lead < 0xF5 ? 3
                                                 : 0;
  constexpr std::array<char32_t, 4> smallest = {0, 0x80, 0x800, 0x10000};
  if (more == 0 || text.size() < static_cast<std::size_t>(more)) {
    return invalid;
  }
  char32_t character = lead & (0x3FU >> more);
  for (int i = 0; i < more; ++i) {
    const auto byte = static_cast<unsigned char>(text.front());
    if ((byte & 0xC0) != 0x80) {
      return invalid;
    }
    text.remove_prefix(1);
    character = character << 6 | (byte & 0x3FU);
  }
  const bool surrogate = character >= 0xD800 && character < 0xE000;
  return character < smallest[static_cast<std::size_t>(more)] || surrogate || character > 0x10FFFF ? invalid
                                                                                                   : character;
}

void append(std::string& utf8, char32_t character) {
  if (character < 0x80) {
    utf8 += static_cast<char>(character);
  } else if (character < 0x800) {
    utf8 += static_cast<char>(0xC0 | character >> 6);
    utf8 += static_cast<char>(0x80 | (character & 0x3F));
  } else { // MacRoman has nothing beyond the 16-bit characters
    utf8 += static_cast<char>(0xE0 | character >> 12);
    utf8 += static_cast<char>(0x80 | (character >> 6 & 0x3F));
    utf8 += static_cast<char>(0x80 | (character & 0x3F));
  }
}

// The characters of MacRoman's bytes from 0x80 on. Read from iconv once, because threads may share a table but not a
// converter.
const std::array<char32_t, 128>& macRoman() {
  static const std::array<char32_t, 128> table = [] {
    std::array<char32_t, 128> characters;
    characters.fill(invalid);
    const iconv_t converter = iconv_open("UTF-32LE", "MACINTOSH");
    if (reinterpret_cast<std::intptr_t>(converter) == -1) {
      return characters;
    }
    for (std::size_t i = 0; i < characters.size(); ++i) {
      char byte = static_cast<char>(0x80 + i);
      std::array<char, 4> character = {};
      char* input = &byte;
      char* output = character.data();
      std::size_t inputLeft = 1;
      std::size_t outputLeft = character.size();
      if (iconv(converter, &input, &inputLeft, &output, &outputLeft) == 0 && outputLeft == 0) {
        std::memcpy(&characters[i], character.data(), character.size());
      }
    }
    iconv_close(converter);
    return characters;
  }();
  return table;
}

} // namespace

bool isAscii(std::string_view bytes) {
  unsigned char all = 0;
  for (const char byte : bytes) { // no early end, so that the loop is vectorised
    all |= static_cast<unsigned char>(byte);
  }
  return all < 0x80;
}

std::optional<std::size_t> utf16Length(std::string_view utf8) {
  if (isAscii(utf8)) {
    return utf8.size();
  }
  std::size_t length = 0;
  while (!utf8.empty()) {
    const char32_t character = take(utf8);
    if (character == invalid) {
      return std::nullopt;
    }
    length += character < 0x10000 ? 1 : 2;
  }
  return length;
}

std::optional<std::string> macRomanToUtf8(std::string_view bytes) {
  std::string utf8;
  utf8.reserve(bytes.size() * 3);
  for (const char byte : bytes) {
    const auto code = static_cast<unsigned char>(byte);
    const char32_t character = code < 0x80 ? code : macRoman()[code - 0x80U];
    if (character == invalid) {
      return std::nullopt;
    }
    append(utf8, character);
  }
  return utf8;
}

std::optional<std::string> utf8ToMacRoman(std::string_view utf8) {
  std::string bytes;
  while (!utf8.empty()) {
    const char32_t character = take(utf8);
    if (character < 0x80) {
      bytes += static_cast<char>(character);
      continue;
    }
    const auto& table = macRoman();
    const auto* found = std::find(table.begin(), table.end(), character);
    if (character == invalid || found == table.end()) {
      return std::nullopt;
    }
    bytes += static_cast<char>(0x80 + std::distance(table.begin(), found));
  }
  return bytes;
}

} // namespace vel::platform
