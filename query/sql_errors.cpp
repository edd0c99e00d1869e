// Interprets SQLite's messages about unknown tables and columns.
#include "query/sql_errors.h"

#include <formats/nearest_name.h>

#include <fmt/format.h>

#include <algorithm>
#include <optional>

namespace vel::query {

namespace {

// The name after these words in a message, without the table before a column's name.
std::optional<std::string_view> nameAfter(std::string_view message, std::string_view words) {
  if (!message.starts_with(words)) {
    return std::nullopt;
  }
  message.remove_prefix(words.size());
  const std::size_t dot = message.rfind('.');
  return dot == std::string_view::npos ? message : message.substr(dot + 1);
}

} // namespace

std::string placeIn(std::string_view sql, std::size_t offset) {
  const std::string_view before = sql.substr(0, offset);
  const auto line = std::count(before.begin(), before.end(), '\n') + 1;
  const std::size_t lineStart = before.rfind('\n') + 1; // 0 on the first line
  return fmt::format("line {}, column {}", line, before.size() - lineStart + 1);
}

std::string suggestion(std::string_view message, std::string_view place,
                       std::span<const std::unique_ptr<const Table>> tables) {
  std::vector<std::string_view> names;
  auto unknown = nameAfter(message, "no such table: ");
  if (unknown) {
    for (const auto& table : tables) {
      names.push_back(table->info().name);
    }
  } else if ((unknown = nameAfter(message, "no such column: "))) {
    if (place.starts_with('"')) {
      return fmt::format("; texts are written '{}'", *unknown);
    }
    for (const auto& table : tables) {
      for (const ColumnInfo& column : table->info().columns) {
        names.push_back(column.name);
      }
    }
  } else {
    return {};
  }
  const auto nearest = formats::nearestName(*unknown, names);
  return nearest && *nearest != *unknown ? fmt::format("; did you mean '{}'?", *nearest)
                                         : "; --schema lists tables and columns";
}

} // namespace vel::query
