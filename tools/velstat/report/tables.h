// The tables of the page: the rows of the SQL files in report/sql, as JSON.
//
// A file begins with comments: what it is for, `-- with: NAME` if it uses another file as a table, and `-- rows: N`,
// the limit of rows in the page.
#pragma once

#include <query/database.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vel::stat {

struct PageTable {
  std::string json;
  // The records that the rows are about, if they have the columns first_record and last_record.
  std::vector<std::pair<std::uint64_t, std::uint64_t>> records;
  std::size_t rows = 0;
};

// The names of all files that are tables of the page.
const std::vector<std::string>& pageTableNames();

// The query of a file, together with that of the file that it uses.
std::string pageTableSql(std::string_view name);
PageTable readPageTable(query::Database& database, std::string_view name);

} // namespace vel::stat
