// Rows in the three formats.
#include "velstat/query/rows.h"

#include <velstat/text/escape.h>
#include <velstat/text/json_writer.h>
#include <velstat/text/number_text.h>
#include <velstat/text/table.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <unistd.h>

namespace vel::stat {

namespace {

using query::Statement;
using query::ValueType;

std::string hexOf(std::span<const std::byte> bytes) {
  std::string text;
  for (const std::byte byte : bytes) {
    text += fmt::format("{:02x}", static_cast<unsigned>(byte));
  }
  return text;
}

// A value as plain text; empty for NULL.
std::string textOf(const Statement& row, std::size_t column) {
  switch (row.type(column)) {
  case ValueType::null:
    return {};
  case ValueType::integer:
    return fmt::format("{}", row.integer(column));
  case ValueType::real:
    return realText(row.real(column));
  case ValueType::text:
    return std::string(row.text(column));
  case ValueType::blob:
    return hexOf(row.blob(column));
  }
  return {};
}

// The names of the columns, each one different: the second "id" is "id:2".
std::vector<std::string> namesOf(const Statement& rows) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < rows.columns(); ++i) {
    const std::string name(rows.name(i));
    std::string different = name;
    for (int number = 2; std::find(names.begin(), names.end(), different) != names.end(); ++number) {
      different = fmt::format("{}:{}", name, number);
    }
    names.push_back(std::move(different));
  }
  return names;
}

// Cuts the widest columns until a line fits.
void fit(Cells& cells, std::size_t width) {
  std::vector<std::size_t> widths(cells.front().size());
  for (const auto& line : cells) {
    for (std::size_t i = 0; i < line.size(); ++i) {
      widths[i] = std::max(widths[i], columns(line[i]));
    }
  }
  constexpr std::size_t gap = 2;
  constexpr std::size_t least = 6;
  std::size_t total = gap * (widths.size() - 1);
  for (const std::size_t each : widths) {
    total += each;
  }
  while (total > width) {
    const auto widest = std::max_element(widths.begin(), widths.end());
    if (*widest <= least) {
      break;
    }
    --*widest;
    --total;
  }
  for (auto& line : cells) {
    for (std::size_t i = 0; i < line.size(); ++i) {
      line[i] = cut(std::move(line[i]), widths[i]);
    }
  }
}

void writeTable(Sink& out, Statement& rows) {
  std::vector<std::string> header;
  for (const std::string& name : namesOf(rows)) {
    header.push_back(escape(name));
  }
  const Style style = Style::ofStandardOutput();
  const std::size_t width = outputWidth();
  bool more = rows.step();
  for (bool first = true; first || more; first = false) {
    Cells cells = {header};
    for (; more && cells.size() <= tableRows; more = rows.step()) {
      auto& line = cells.emplace_back();
      for (std::size_t i = 0; i < header.size(); ++i) {
        line.push_back(escape(textOf(rows, i)));
      }
    }
    if (width != 0) {
      fit(cells, width);
    }
    out += first ? "" : "\n";
    appendCells(out, cells, 0, style);
  }
}

void writeValue(JsonWriter& json, const Statement& row, std::size_t column) {
  switch (row.type(column)) {
  case ValueType::null:
    return json.json("null");
  case ValueType::integer:
    return json.integer(row.integer(column));
  case ValueType::real:
    return json.real(row.real(column));
  case ValueType::text:
    return json.string(row.text(column));
  case ValueType::blob:
    return json.hex(row.blob(column));
  }
}

void writeJson(Sink& out, Statement& rows) {
  const std::vector<std::string> names = namesOf(rows);
  while (rows.step()) {
    JsonWriter json(out, JsonWriter::Form::oneLine);
    json.beginObject();
    for (std::size_t i = 0; i < names.size(); ++i) {
      json.key(names[i]);
      writeValue(json, rows, i);
    }
    json.endObject();
    out += '\n';
  }
}

void writeField(Sink& out, const std::string& text, bool escapes) {
  const std::string shown = escapes ? escape(text) : text;
  if (shown.find_first_of(",\"\r\n") == std::string::npos) {
    out += shown;
    return;
  }
  out += '"';
  for (const char c : shown) {
    out += c;
    if (c == '"') {
      out += c;
    }
  }
  out += '"';
}

void writeCsv(Sink& out, Statement& rows) {
  const bool escapes = isatty(STDOUT_FILENO) != 0;
  const std::vector<std::string> names = namesOf(rows);
  for (std::size_t i = 0; i < names.size(); ++i) {
    out += i == 0 ? "" : ",";
    writeField(out, names[i], escapes);
  }
  out += '\n';
  while (rows.step()) {
    for (std::size_t i = 0; i < names.size(); ++i) {
      out += i == 0 ? "" : ",";
      writeField(out, textOf(rows, i), escapes);
    }
    out += '\n';
  }
}

} // namespace

void writeRows(Sink& out, Statement& rows, QueryFormat format) {
  switch (format) {
  case QueryFormat::table:
    return writeTable(out, rows);
  case QueryFormat::json:
    return writeJson(out, rows);
  case QueryFormat::csv:
    return writeCsv(out, rows);
  }
}

void writeSchema(Sink& out, const Style& style) {
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
