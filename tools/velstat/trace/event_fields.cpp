// Writes fields as in the JSON lines of velstat decode, without those that add nothing.
#include "velstat/trace/event_fields.h"

#include <profile/fields.h>
#include <sources/json_fields.h>
#include <sources/record.h>

namespace vel::stat {

void appendMember(sources::OutputBuffer& out, std::string_view key, std::uint64_t number) {
  out.append('"');
  out.append(key);
  out.append("\":");
  out.appendNumber(number);
}

void appendFields(sources::OutputBuffer& out, const unsigned char* record, const profile::Row* left) {
  using profile::FieldKind;
  profile::FieldCursor cursor(record);
  profile::Field field;
  while (cursor.next(field) && field.group == 0) {
    const FieldKind kind = field.row->kind;
    if (field.row == left || kind == FieldKind::quoted_number || kind == FieldKind::bytes ||
        kind == FieldKind::sliced_bytes) {
      continue;
    }
    out.append('"');
    out.append(field.row->key);
    out.append("\":");
    sources::appendJsonField(out, field);
    out.append(',');
  }
  appendMember(out, "sequence_num", sources::sequenceNumber(record));
}

} // namespace vel::stat
