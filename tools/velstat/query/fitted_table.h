// Makes an answer with many columns fit a terminal, without cutting what then says nothing.
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

// The table in `width` columns, one at least. `cells` begins with the header; `canBeCut` tells for each column whether
// its values are texts or bytes: numbers are never cut. What is too wide is, in this order, cut down to a readable
// width; said once below the table, if it is the same in every line; left out, from the right.
FittedTable fitted(Cells cells, const std::vector<char>& canBeCut, std::size_t width);

} // namespace vel::stat
