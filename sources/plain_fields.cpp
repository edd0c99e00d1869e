#include "sources/plain_fields.h"

#include <sources/json_fields.h>

#include <cstring>

namespace vel::sources {

namespace {

// A JSON string without its quotation marks.
void appendCharacters(OutputBuffer& out, std::string_view bytes) {
  const std::size_t before = out.view().size();
  appendJsonBytesAsString(out, bytes);
  const std::size_t length = out.view().size() - before - 2;
  out.cut(before);
  char* const at = out.room(length + 2);
  std::memmove(at, at + 1, length);
  out.claim(length);
}

} // namespace

// Like JSON values, but without quotes around texts and long numbers, and with names instead of objects of id and name.
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
    appendCharacters(out, field.bytes);
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

void appendCsvCell(OutputBuffer& out, std::string_view text) {
  if (text.find_first_of(",\"") == std::string_view::npos) {
    out.append(text);
  } else {
    appendCsvQuoted(out, text);
  }
}

} // namespace vel::sources
