// Rows in the three formats.
#include "velstat/query/rows.h"

#include <velstat/query/fitted_table.h>
#include <velstat/text/escape.h>
#include <velstat/text/json_writer.h>
#include <velstat/text/number_text.h>
#include <velstat/text/wrap.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <utility>

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

void writeTable(Sink& out, Statement& rows) {
  std::vector<std::string> header;
  for (const std::string& name : namesOf(rows)) {
    header.push_back(escape(name));
  }
  const Style style = Style::ofStandardOutput();
  bool more = rows.step();
  for (bool first = true; first || more; first = false) {
    FittedTable table{{header}, {}};
    std::vector<char> canBeCut(header.size(), 0);
    for (; more && table.cells.size() <= tableRows; more = rows.step()) {
      auto& line = table.cells.emplace_back();
      for (std::size_t i = 0; i < header.size(); ++i) {
        line.push_back(escape(textOf(rows, i)));
        canBeCut[i] |= rows.type(i) == ValueType::text || rows.type(i) == ValueType::blob ? 1 : 0;
      }
    }
    if (style.width() != 0) {
      table = fitted(std::move(table.cells), canBeCut, style.width());
    }
    out += first ? "" : "\n";
    appendCells(out, std::move(table.cells), 0, style);
    for (const std::string& note : table.notes) {
      out += style.dim(note) + '\n';
    }
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
  const bool escapes = isTerminal();
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
