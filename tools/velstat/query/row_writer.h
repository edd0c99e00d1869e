// Writes the rows of any SQL as a table, as JSON lines or as CSV, for `velstat query` and for a fleet's servers.
#pragma once

#include <query/database.h>
#include <velstat/text/sink.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vel::stat {

enum class QueryFormat { table, json, csv };
QueryFormat queryFormat(std::string_view name); // "table", "json" or "csv"

// A value. Which member holds it depends on the type.
struct Cell {
  query::ValueType type = query::ValueType::null;
  std::int64_t integer = 0;
  double real = 0;
  std::string_view bytes = {}; // of a text or a blob [borrowed]
};

// Rows are written as they come; those of a table in blocks of `tableRows`, each with a header.
constexpr std::size_t tableRows = 1000;
class RowWriter {
public:
  virtual ~RowWriter() = default;
  virtual void row(std::span<const Cell> cells) = 0; // as many as there are names
  virtual void end() {}                              // after the last row
};

// `out` outlives the writer.
std::unique_ptr<RowWriter> makeRowWriter(Sink& out, QueryFormat format, const std::vector<std::string>& names);

} // namespace vel::stat
