// The rows of a statement, and the lines of --schema.
#include "velstat/query/rows.h"

#include <velstat/text/wrap.h>

#include <fmt/format.h>

namespace vel::stat {

namespace {

using query::Statement;
using query::ValueType;

Cell cellOf(const Statement& row, std::size_t column) {
  Cell cell{.type = row.type(column)};
  switch (cell.type) {
  case ValueType::null:
    break;
  case ValueType::integer:
    cell.integer = row.integer(column);
    break;
  case ValueType::real:
    cell.real = row.real(column);
    break;
  case ValueType::text:
    cell.bytes = row.text(column);
    break;
  case ValueType::blob: {
    const std::span<const std::byte> bytes = row.blob(column);
    cell.bytes = {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    break;
  }
  }
  return cell;
}

} // namespace

void writeRows(Sink& out, Statement& rows, QueryFormat format) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < rows.columns(); ++i) {
    names.emplace_back(rows.name(i));
  }
  const auto writer = makeRowWriter(out, format, names);
  std::vector<Cell> cells(names.size());
  while (rows.step()) {
    for (std::size_t i = 0; i < cells.size(); ++i) {
      cells[i] = cellOf(rows, i);
    }
    writer->row(cells);
  }
  writer->end();
}

void writeSchema(Sink& plain, const Style& style) {
  WrappedLines out(plain, style.width());
  bool first = true;
  for (const query::TableInfo& table : query::schema()) {
    out += first ? "" : "\n";
    first = false;
    out += style.bold(table.name) + ": " + table.about + '\n';
    for (const query::ColumnInfo& column : table.columns) {
      out += fmt::format("  {:<24} {:<8} {}{}\n", column.name, column.type, column.about,
                         column.hidden ? "; only if named" : "");
    }
  }
}

} // namespace vel::stat
