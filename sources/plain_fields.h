// Values of fields as plain text, for the cells of CSV and for brief lines.
#pragma once

#include <profile/fields.h>
#include <sources/output_buffer.h>

#include <string_view>

namespace vel::sources {

// A number in digits, bytes as hexadecimal digits, an action by its name; of a text the characters of its JSON string.
// Printable ASCII always.
void appendPlainField(OutputBuffer& out, const profile::Field& field);

// "0a0b"
inline void appendHex(OutputBuffer& out, std::string_view bytes) {
  constexpr char digits[] = "0123456789abcdef";
  char* p = out.room(bytes.size() * 2);
  for (const char character : bytes) {
    const auto byte = static_cast<unsigned char>(character);
    *p++ = digits[byte >> 4];
    *p++ = digits[byte & 15];
  }
  out.claim(bytes.size() * 2);
}

// Text between quotation marks, those inside it doubled.
inline void appendCsvQuoted(OutputBuffer& out, std::string_view text) {
  char* const begin = out.room(text.size() * 2 + 2);
  char* p = begin;
  *p++ = '"';
  for (const char character : text) {
    *p++ = character;
    if (character == '"') {
      *p++ = character;
    }
  }
  *p++ = '"';
  out.claim(static_cast<std::size_t>(p - begin));
}

// The same only if the text would end the cell.
void appendCsvCell(OutputBuffer& out, std::string_view text);

} // namespace vel::sources
