// Applies SQL constraints with the selection of `velstat decode`, before SQLite sees a record.
#pragma once

#include <sources/selection.h>

#include <sqlite3.h>

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vel::query {

// Which part of the selection a column filters by; at most one member is set.
struct FilteredBy {
  std::vector<std::string> sources::SelectionRequest::*names = nullptr; // "category = 'zorb'"
  std::vector<std::string> sources::SelectionRequest::*ids = nullptr;   // "category_id = 7"
  sources::Range sources::SelectionRequest::*range = nullptr;           // "timestamp >= 5"

  bool operator==(const FilteredBy&) const = default;
};

// Chooses the constraints that narrow the selection, and describes them as EXPLAIN QUERY PLAN shows them:
// "category= timestamp>=", in the order of the values that xFilter will get. `columns` has an entry for each column.
struct FilterColumn {
  std::string_view name;
  FilteredBy by;
};
std::string planFilter(sqlite3_index_info& index, std::span<const FilterColumn> columns);

// The selection for a plan and its values. It may pass more records than the SQL asks for, never fewer: SQLite checks
// each record again, except for the constraints that planFilter() told it to omit. Nothing: no record can pass.
std::optional<sources::Selection> makeSelection(std::string_view plan, std::span<sqlite3_value*> values,
                                                std::span<const FilterColumn> columns);

} // namespace vel::query
