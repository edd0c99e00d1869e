// A record's payload as typed values, for renderings other than the text.
#pragma once

#include "profile/layout.h"
#include "profile/names.h"

namespace vel::profile {

// One shown field. Which members hold a value depends on row->kind:
//   number, constant, quoted_number   number
//   text                              bytes (up to the first NUL)
//   subtype_name                      number (the id) and bytes (its name or digits)
//   bytes, sliced_bytes               bytes (the raw bytes)
//   character                         number and bytes (that one byte)
//   fixed_point                       number (the raw 32-bit word) and real
struct Field {
  const Layout* layout;
  unsigned group; // counts the shown layouts from 0, as a record can show one layout twice
  const Row* row;
  std::uint64_t number;
  double real;
  std::string_view bytes; // [borrowed: from the record, or from the cursor until its next step]
};

// One field of the record's payload, whether or not the record shows its layout; without layout and group. `record`
// points at 48 bytes; `digits` holds the bytes of an unnamed subtype. [any thread]
Field read_field(const void* record, const Row& row, DecimalText& digits) noexcept;

// Walks the fields of one record in the order of the text. [one thread at a time]
class FieldCursor {
public:
  // `record` points at 48 bytes that outlive the cursor.
  explicit FieldCursor(const void* record) noexcept;

  // Fills `field` with the next one; false after the last.
  bool next(Field& field) noexcept;

private:
  const unsigned char* record_;
  ShownLayouts shown_;
  unsigned group_ = 0;
  std::size_t row_ = 0;
  DecimalText digits_;
};

} // namespace vel::profile
