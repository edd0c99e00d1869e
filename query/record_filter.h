// The filters of SQL that the selection of `velstat decode` can do before SQLite sees a record.
#pragma once

#include <sources/selection.h>

#include <sqlite3.h>

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vel::query {

// What a column means to the selection; at most one member is set.
struct FilteredBy {
  std::vector<std::string> sources::SelectionRequest::*names = nullptr; // "category = 'zorb'"
  std::vector<std::string> sources::SelectionRequest::*ids = nullptr;   // "category_id = 7"
  sources::Range sources::SelectionRequest::*range = nullptr;           // "timestamp >= 5"

  bool operator==(const FilteredBy&) const = default;
};

// Chooses the constraints that narrow the selection, and describes them as EXPLAIN QUERY PLAN shows:
// "category= timestamp>=", in the order of the values that filter() will get. `columns` has an entry for each column.
struct FilterColumn {
  std::string_view name;
  FilteredBy by;
};
std::string planFilter(sqlite3_index_info& index, std::span<const FilterColumn> columns);

// The selection for a plan and its values. It may let more pass than the SQL asks for, never less: SQLite checks each
// record again, except for what planFilter has told it to omit. Nothing: no record can pass.
std::optional<sources::Selection> makeSelection(std::string_view plan, std::span<sqlite3_value*> values,
                                                std::span<const FilterColumn> columns);

} // namespace vel::query
