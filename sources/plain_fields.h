// Values of fields as plain text, for the cells of CSV and for brief lines.
#pragma once

#include <profile/fields.h>
#include <sources/output_buffer.h>

#include <string_view>

namespace vel::sources {

// Appends a number in decimal digits, bytes in hexadecimal, an action by name, or a text as the characters of its JSON
// string. The output is always printable ASCII.
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

// Appends text in quotation marks, with quotation marks inside it doubled.
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

// Quotes the text only if it contains a comma or a quotation mark.
void appendCsvCell(OutputBuffer& out, std::string_view text);

} // namespace vel::sources
