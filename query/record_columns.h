// The columns of the tables of records: those that all records have, and the fields of a layout.
#pragma once

#include <profile/fields.h>
#include <profile/render.h>
#include <profile/wall_time.h>
#include <query/record_filter.h>
#include <query/virtual_table.h>
#include <sources/source.h>

#include <memory>
#include <vector>

namespace vel::query {

// The current record of a cursor.
struct RecordRow {
  const unsigned char* record = nullptr;
  const sources::Details* details = nullptr; // null unless a column needs them
};

// The objects that are needed to compute the columns of one cursor. [one thread at a time]
struct RecordTools {
  RecordTools(const sources::Sources& from, const profile::TimePolicy& given);

  const std::vector<sources::InputInfo>& inputs;
  profile::BulkRenderer text;
  profile::WallClock calendar; // of calendar times
  std::unique_ptr<char[]> room;
};

struct RecordColumn {
  ColumnInfo info;
  void (*write)(Result, const RecordRow&, const RecordColumn&, RecordTools&);
  FilteredBy filteredBy = {};
  bool needsDetails = false;
  const profile::Row* field = nullptr; // of a layout
};

// The columns of the table `records`, and of a layout's table.
std::vector<RecordColumn> recordColumns();
std::vector<RecordColumn> layoutColumns(const profile::Layout& layout);

// Converts a name of the decoder to a name in SQL: '-' becomes '_'.
std::string sqlName(std::string_view name);

} // namespace vel::query
