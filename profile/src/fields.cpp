// Fields from the same rows that the text is made from.
#include "profile/fields.h"

#include "profile/record_view.h"

#include <algorithm>

namespace vel::profile {

namespace {

// The firmware's fractions: signed 32 bits, 16 of them after the point.
double from_fixed_point(std::uint32_t word) noexcept {
  return static_cast<double>(static_cast<std::int32_t>(word)) * 1.52587890625e-05;
}

std::string_view view(const unsigned char* at, std::size_t size) noexcept {
  return {reinterpret_cast<const char*>(at), size};
}

// Inlined into the cursor's step: a call and a copy for each field would take a tenth of the time of a JSON line.
[[gnu::always_inline]] inline void read_into(Field& field, const unsigned char* bytes, const Row& row,
                                             DecimalText& digits) noexcept {
  const unsigned char* const at = bytes + row.offset;
  field.row = &row;
  field.number = 0;
  field.real = 0.0;
  field.bytes = {};
  switch (row.kind) {
  case FieldKind::number:
  case FieldKind::quoted_number:
    field.number = load_sized(at, row.size);
    break;
  case FieldKind::constant:
    field.number = row.parameter;
    break;
  case FieldKind::text:
    field.bytes = view(at, row.size);
    field.bytes = field.bytes.substr(0, field.bytes.find('\0'));
    break;
  case FieldKind::subtype_name:
    field.number = load_sized(at, row.size);
    field.bytes =
        name_of(subtype_names(category(bytes), component(bytes)), static_cast<std::uint32_t>(field.number), digits);
    break;
  case FieldKind::bytes:
    field.bytes = view(at, row.size);
    break;
  case FieldKind::sliced_bytes:
    field.bytes = view(at, std::min<std::size_t>(row.size, load<std::uint16_t>(bytes + row.parameter)));
    break;
  case FieldKind::character:
    field.number = *at;
    field.bytes = view(at, 1);
    break;
  case FieldKind::fixed_point:
    field.number = load_sized(at, row.size);
    field.real = from_fixed_point(static_cast<std::uint32_t>(field.number));
    break;
  }
}

} // namespace

Field read_field(const void* record, const Row& row, DecimalText& digits) noexcept {
  Field field{};
  read_into(field, static_cast<const unsigned char*>(record), row, digits);
  return field;
}

FieldCursor::FieldCursor(const void* record) noexcept
    : record_(static_cast<const unsigned char*>(record)), shown_(shown_layouts(record)) {}

bool FieldCursor::next(Field& field) noexcept {
  if (group_ < shown_.count && row_ == shown_.items[group_]->rows.size()) {
    ++group_;
    row_ = 0;
  }
  if (group_ >= shown_.count) {
    return false;
  }
  const Layout& layout = *shown_.items[group_];
  read_into(field, record_, layout.rows[row_++], digits_);
  field.layout = &layout;
  field.group = group_;
  return true;
}

} // namespace vel::profile
