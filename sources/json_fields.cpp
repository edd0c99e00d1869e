// Converts typed fields to JSON values, with one switch over the kinds for all layouts.
#include "sources/json_fields.h"

#include <profile/fields.h>
#include <profile/record_view.h>

#include <array>

namespace vel::sources {

namespace {

constexpr char hexDigits[] = "0123456789abcdef";

// Each byte's digits and a comma. All four characters are copied at once; those after the comma are overwritten by the
// next number.
struct ListItem {
  std::array<char, 4> text;
  unsigned char size;
};
constexpr std::array<ListItem, 256> listItems = [] {
  std::array<ListItem, 256> items{};
  for (unsigned byte = 0; byte < items.size(); ++byte) {
    ListItem& item = items[byte];
    for (unsigned divisor = byte >= 100 ? 100 : byte >= 10 ? 10 : 1; divisor != 0; divisor /= 10) {
      item.text[item.size++] = static_cast<char>('0' + byte / divisor % 10);
    }
    item.text[item.size++] = ',';
  }
  return items;
}();

void appendValue(OutputBuffer& out, const profile::Field& field) {
  using profile::FieldKind;
  switch (field.row->kind) {
  case FieldKind::number:
    if (field.row->size == 8) {
      appendJsonU64(out, field.number);
    } else {
      out.appendNumber(field.number);
    }
    break;
  case FieldKind::constant:
  case FieldKind::quoted_number:
  case FieldKind::character:
    out.appendNumber(field.number);
    break;
  case FieldKind::text:
    appendJsonBytesAsString(out, field.bytes);
    break;
  case FieldKind::subtype_name:
    out.append("{\"id\":");
    out.appendNumber(field.number);
    out.append(",\"name\":");
    appendJsonBytesAsString(out, field.bytes);
    out.append('}');
    break;
  case FieldKind::bytes:
  case FieldKind::sliced_bytes:
    appendJsonList(out, field.bytes);
    break;
  case FieldKind::fixed_point: // a multiple of 2^-16 below 2^15 in size: its shortest form reads back exactly
    out.appendNumber(field.real);
    break;
  }
}

} // namespace

void appendJsonBytesAsString(OutputBuffer& out, std::string_view bytes) {
  constexpr std::size_t longest = 6; // \u00ff
  char* const begin = out.room(bytes.size() * longest + 2);
  char* p = begin;
  *p++ = '"';
  for (const char character : bytes) {
    const unsigned char byte = static_cast<unsigned char>(character);
    if (byte == '"' || byte == '\\') {
      *p++ = '\\';
      *p++ = character;
    } else if (byte >= 0x20 && byte < 0x7f) {
      *p++ = character;
    } else {
      std::memcpy(p, "\\u00", 4);
      p[4] = hexDigits[byte >> 4];
      p[5] = hexDigits[byte & 15];
      p += longest;
    }
  }
  *p++ = '"';
  out.claim(static_cast<std::size_t>(p - begin));
}

void appendJsonField(OutputBuffer& out, const profile::Field& field) {
  appendValue(out, field);
}

void appendJsonList(OutputBuffer& out, std::string_view bytes) {
  char* const begin = out.room(bytes.size() * 4 + 2);
  char* p = begin;
  *p++ = '[';
  for (const char character : bytes) {
    const ListItem& item = listItems[static_cast<unsigned char>(character)];
    std::memcpy(p, item.text.data(), item.text.size());
    p += item.size;
  }
  p -= bytes.empty() ? 0 : 1; // the last comma
  *p++ = ']';
  out.claim(static_cast<std::size_t>(p - begin));
}

void appendJsonU64(OutputBuffer& out, std::uint64_t number) {
  out.append('"');
  out.appendNumber(number);
  out.append('"');
}

void appendJsonPayload(OutputBuffer& out, const unsigned char* record) {
  out.append('[');
  profile::FieldCursor cursor(record);
  profile::Field field;
  bool open = false;
  unsigned group = 0;
  while (cursor.next(field)) {
    if (!open || field.group != group) {
      out.append(open ? "}},{\"layout\":\"" : "{\"layout\":\"");
      out.append(field.layout->name);
      out.append("\",\"fields\":{\"");
      open = true;
      group = field.group;
    } else {
      out.append(",\"");
    }
    out.append(field.row->key);
    out.append("\":");
    appendValue(out, field);
  }
  out.append(open ? "}}]" : "]");
}

RecordNames::RecordNames(const unsigned char* record) noexcept
    : category(name_of(profile::category_names(), profile::category(record), digits_[0])),
      component(name_of(profile::component_names(profile::category(record)), profile::component(record), digits_[1])),
      event(name_of(profile::event_names(profile::category(record), profile::component(record)), profile::event(record),
                    digits_[2])),
      type(name_of(profile::datatype_names(), profile::type(record), digits_[3])) {}

} // namespace vel::sources
