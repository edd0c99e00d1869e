#include "sources/plain_fields.h"

#include <sources/json_fields.h>

namespace vel::sources {

void appendPlainField(OutputBuffer& out, const profile::Field& field) {
  using profile::FieldKind;
  switch (field.row->kind) {
  case FieldKind::number:
  case FieldKind::constant:
  case FieldKind::quoted_number:
  case FieldKind::character:
    out.appendNumber(field.number);
    break;
  case FieldKind::text:
    appendJsonCharacters(out, field.bytes);
    break;
  case FieldKind::subtype_name:
    out.append(field.bytes);
    break;
  case FieldKind::bytes:
  case FieldKind::sliced_bytes:
    appendHex(out, field.bytes);
    break;
  case FieldKind::fixed_point:
    out.appendNumber(field.real);
    break;
  }
}

void appendHex(OutputBuffer& out, std::string_view bytes) {
  constexpr char digits[] = "0123456789abcdef";
  char* p = out.room(bytes.size() * 2);
  for (const char character : bytes) {
    const auto byte = static_cast<unsigned char>(character);
    *p++ = digits[byte >> 4];
    *p++ = digits[byte & 15];
  }
  out.claim(bytes.size() * 2);
}

void appendCsvQuoted(OutputBuffer& out, std::string_view text) {
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

void appendCsvCell(OutputBuffer& out, std::string_view text) {
  if (text.find_first_of(",\"") == std::string_view::npos) {
    out.append(text);
  } else {
    appendCsvQuoted(out, text);
  }
}

} // namespace vel::sources
