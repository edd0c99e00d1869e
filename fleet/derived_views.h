// Views that questions share, so that what counts as a fault, for example, is defined once: SQL files in fleet/views/.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vel::fleet {

struct DerivedView {
  std::string name;
  std::string about; // lines
  std::string sql;   // the tables that it reads are written as {table}
};

// In the order in which they must be created: a view comes after those that it reads.
std::vector<DerivedView> derivedViews();

// The SQL with each {table} replaced by nameOf(table).
std::string withTables(std::string_view sql, const std::function<std::string(std::string_view)>& nameOf);

} // namespace vel::fleet
