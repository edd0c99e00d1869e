// Adds to SQLite's error messages where the error is and what was probably meant.
#pragma once

#include <query/virtual_table.h>

#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace vel::query {

// The place of a byte in the SQL, as "line 1, column 8".
std::string placeIn(std::string_view sql, std::size_t offset);

// "; did you mean 'category'?" for a message of SQLite about an unknown table or column; else empty. `place` is the SQL
// from there on.
std::string suggestion(std::string_view message, std::string_view place,
                       std::span<const std::unique_ptr<const Table>> tables);

} // namespace vel::query
