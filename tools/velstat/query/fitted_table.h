// Makes an answer with many columns fit a terminal, without cutting columns until they are useless.
#pragma once

#include <velstat/text/table.h>

#include <cstddef>
#include <string>
#include <vector>

namespace vel::stat {

struct FittedTable {
  Cells cells;
  std::vector<std::string> notes; // lines below the table, about the columns that are not in it
};

// The table in `width` columns, with at least one of its own. `cells` begins with the header; `canBeCut` says for each
// column whether its values are texts or bytes: numbers are never cut. To make the table fit, columns are first cut to
// a readable width; then those with the same value in every line are shown once, below the table; then columns are left
// out, from the right.
FittedTable fitted(Cells cells, const std::vector<char>& canBeCut, std::size_t width);

} // namespace vel::stat
