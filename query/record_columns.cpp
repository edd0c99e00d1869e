// Tables of columns: name, type, and how the value is read from a record.
#include "query/record_columns.h"

#include <profile/names.h>
#include <profile/record_view.h>

#include <algorithm>

namespace vel::query {

namespace {

using profile::FieldKind;
using sources::SelectionRequest;

using Names = std::vector<std::string> SelectionRequest::*;

constexpr FilteredBy byNames(Names list) {
  return {.names = list};
}
constexpr FilteredBy byIds(Names list) {
  return {.ids = list};
}

void writeName(Result result, profile::NameTable table, unsigned id) {
  profile::DecimalText digits;
  result.text(name_of(table, id, digits));
}

// A column whose value comes from the record's details.
using Write = decltype(RecordColumn::write);
RecordColumn detail(ColumnInfo info, Write write) {
  RecordColumn column{std::move(info), write};
  column.needsDetails = true;
  return column;
}

std::vector<RecordColumn> commonHead() {
  return {
      {{"category", "TEXT", "the category's name, or its id in digits"},
       [](Result result, const RecordRow& row, const RecordColumn&, RecordTools&) {
         writeName(result, profile::category_names(), profile::category(row.record));
       },
       byNames(&SelectionRequest::categories)},
      {{"component", "TEXT", "likewise"},
       [](Result result, const RecordRow& row, const RecordColumn&, RecordTools&) {
         writeName(result, profile::component_names(profile::category(row.record)), profile::component(row.record));
       },
       byNames(&SelectionRequest::components)},
      {{"event", "TEXT", "likewise"},
       [](Result result, const RecordRow& row, const RecordColumn&, RecordTools&) {
         writeName(result, profile::event_names(profile::category(row.record), profile::component(row.record)),
                   profile::event(row.record));
       },
       byNames(&SelectionRequest::events)},
      {{"type", "TEXT", "the datatype's name, or its id in digits"},
       [](Result result, const RecordRow& row, const RecordColumn&, RecordTools&) {
         writeName(result, profile::datatype_names(), profile::type(row.record));
       },
       byNames(&SelectionRequest::types)},
      {{"timestamp", "INTEGER", "co-processor's clock, in microseconds", false, true},
       [](Result result, const RecordRow& row, const RecordColumn&, RecordTools&) {
         result.number(profile::timestamp(row.record));
       },
       {.range = &SelectionRequest::time}},
      {{"sequence_num", "INTEGER", "the record's number in its log"},
       [](Result result, const RecordRow& row, const RecordColumn&, RecordTools&) {
         result.number(profile::sequence_number(row.record));
       },
       {.range = &SelectionRequest::sequence}},
  };
}

template <std::uint8_t (*Id)(const unsigned char*) noexcept>
RecordColumn idColumn(const char* columnName, Names list) {
  return {
      {columnName, "INTEGER", "the id, from 0 to 255"},
      [](Result result, const RecordRow& row, const RecordColumn&, RecordTools&) { result.integer(Id(row.record)); },
      byIds(list)};
}

std::vector<RecordColumn> placeColumns() {
  return {
      detail({"calendar_time", "TEXT", "local, as in Nov 21 08:15:02.000417"},
             [](Result result, const RecordRow& row, const RecordColumn&, RecordTools& tools) {
               if (row.details->calendar) {
                 result.text(tools.calendar.text(*row.details->calendar));
               }
             }),
      detail({"calendar", "INTEGER", "the same in microseconds since 1970", false, true},
             [](Result result, const RecordRow& row, const RecordColumn&, RecordTools&) {
               if (row.details->calendar) {
                 result.number(*row.details->calendar);
               }
             }),
      detail({"run", "INTEGER", "part of a log between restarts, from 0"},
             [](Result result, const RecordRow& row, const RecordColumn&, RecordTools&) {
               result.integer(row.details->run);
             }),
      detail({"missing", "INTEGER", "sequence numbers left out just before"},
             [](Result result, const RecordRow& row, const RecordColumn&, RecordTools&) {
               result.integer(row.details->missing);
             }),
      detail({"source", "TEXT", "the input, as it was named"},
             [](Result result, const RecordRow& row, const RecordColumn&, RecordTools& tools) {
               result.text(tools.inputs[row.details->location.input].name);
             }),
      detail({"report", "INTEGER", "report of the capture, from 0, or NULL"},
             [](Result result, const RecordRow& row, const RecordColumn&, RecordTools&) {
               if (row.details->location.report != sources::Location::noReport) {
                 result.integer(row.details->location.report);
               }
             }),
      detail({"position", "INTEGER", "line in the report, from 0, or byte offset"},
             [](Result result, const RecordRow& row, const RecordColumn&, RecordTools&) {
               result.number(row.details->location.at);
             }),
  };
}

std::vector<RecordColumn> commonTail() {
  std::vector<RecordColumn> columns = {
      idColumn<profile::type>("type_id", &SelectionRequest::types),
      idColumn<profile::category>("category_id", &SelectionRequest::categories),
      idColumn<profile::component>("component_id", &SelectionRequest::components),
      idColumn<profile::event>("event_id", &SelectionRequest::events),
  };
  for (RecordColumn& column : placeColumns()) {
    columns.push_back(std::move(column));
  }
  columns.push_back(
      {{"record", "BLOB", "the 48 bytes"}, [](Result result, const RecordRow& row, const RecordColumn&, RecordTools&) {
         result.blob(row.record, profile::record_size);
       }});
  columns.push_back({{"text", "TEXT", "the exact line", true},
                     [](Result result, const RecordRow& row, const RecordColumn&, RecordTools& tools) {
                       result.text({tools.room.get(), tools.text.render(row.record, 1, tools.room.get())});
                     }});
  return columns;
}

profile::Field fieldOf(const RecordRow& row, const RecordColumn& column, profile::DecimalText& digits) {
  return read_field(row.record, *column.field, digits);
}

void writeField(Result result, const RecordRow& row, const RecordColumn& column, RecordTools&) {
  profile::DecimalText digits;
  const profile::Field field = fieldOf(row, column, digits);
  switch (column.field->kind) {
  case FieldKind::number:
  case FieldKind::constant:
  case FieldKind::quoted_number:
  case FieldKind::character:
    return result.number(field.number);
  case FieldKind::text:
  case FieldKind::subtype_name:
    return result.bytesAsText(field.bytes);
  case FieldKind::bytes:
  case FieldKind::sliced_bytes:
    return result.blob(field.bytes.data(), field.bytes.size());
  case FieldKind::fixed_point:
    return result.real(field.real);
  }
}

void writeFieldId(Result result, const RecordRow& row, const RecordColumn& column, RecordTools&) {
  profile::DecimalText digits;
  result.number(fieldOf(row, column, digits).number);
}

const char* typeOf(FieldKind kind) {
  switch (kind) {
  case FieldKind::text:
  case FieldKind::subtype_name:
    return "TEXT";
  case FieldKind::bytes:
  case FieldKind::sliced_bytes:
    return "BLOB";
  case FieldKind::fixed_point:
    return "REAL";
  default:
    return "INTEGER";
  }
}

std::string aboutField(const profile::Row& row) {
  switch (row.kind) {
  case FieldKind::constant:
    return "always " + std::to_string(row.parameter);
  case FieldKind::character:
    return "one byte of the record, as a number";
  case FieldKind::fixed_point:
    return "a number with 16 bits of fraction";
  default:
    return std::to_string(row.size) + (row.size == 1 ? " byte" : " bytes") + " of the record";
  }
}

void append(std::vector<RecordColumn>& columns, std::vector<RecordColumn> more) {
  std::move(more.begin(), more.end(), std::back_inserter(columns));
}

} // namespace

RecordTools::RecordTools(const sources::Sources& from, const profile::TimePolicy& given)
    : inputs(from.inputs()), text(given, profile::Framing::none), calendar({0, 0}),
      room(std::make_unique<char[]>(profile::frame_capacity)) {}

std::string sqlName(std::string_view name) {
  std::string changed(name);
  std::replace(changed.begin(), changed.end(), '-', '_');
  return changed;
}

std::vector<RecordColumn> recordColumns() {
  std::vector<RecordColumn> columns = commonHead();
  append(columns, commonTail());
  return columns;
}

std::vector<RecordColumn> layoutColumns(const profile::Layout& layout) {
  std::vector<RecordColumn> columns = commonHead();
  for (const profile::Row& row : layout.rows) {
    const bool isWide = row.kind == FieldKind::number && row.size == 8;
    RecordColumn column{{sqlName(row.key), typeOf(row.kind), aboutField(row), false, isWide}, writeField};
    column.field = &row;
    if (row.kind == FieldKind::subtype_name) {
      column.info.about = "the name, or the id in digits";
      columns.push_back(column);
      column.info = {sqlName(row.key) + "_id", "INTEGER", aboutField(row)};
      column.write = writeFieldId;
    }
    columns.push_back(std::move(column));
  }
  append(columns, commonTail());
  return columns;
}

} // namespace vel::query
