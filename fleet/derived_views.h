// Views that questions share, so that each says a thing such as what counts as a fault once: SQL files in fleet/views/.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vel::fleet {

struct DerivedView {
  std::string name;
  std::string about; // lines
  std::string sql;   // with {table} for the tables that it reads
};

// In an order in which they can be made: a view comes after those that it reads.
std::vector<DerivedView> derivedViews();

// The SQL with what `nameOf` makes of each table.
std::string withTables(std::string_view sql, const std::function<std::string(std::string_view)>& nameOf);

} // namespace vel::fleet
