// Runs the SQL files and writes their rows as JSON, up to the limits of the page.
#include "velstat/report/tables.h"

#include <formats/parse_number.h>
#include <velstat/text/json_writer.h>
#include <velstat/text/sink.h>

#include <fmt/format.h>

#include <algorithm>
#include <span>

namespace vel {

extern const std::span<const std::pair<std::string_view, std::string_view>> embeddedTables;

namespace stat {

namespace {

using query::Statement;
using query::ValueType;

constexpr std::size_t mostBytes = std::size_t{1} << 20; // of a table's JSON
constexpr std::size_t mostText = 4096;                  // of a value

// "latencies" has a row for each latency; it is not a table of the page, but input for latencies.h.
constexpr std::string_view onlyUsed = "latencies";

std::string_view fileOf(std::string_view name) {
  const auto found = std::find_if(embeddedTables.begin(), embeddedTables.end(),
                                  [&](const auto& file) { return file.first == fmt::format("{}.sql", name); });
  return found->second; // all callers pass names of files
}

// The text of a comment such as "-- rows: 400"; empty if there is none.
std::string_view setting(std::string_view file, std::string_view name) {
  const std::string begin = fmt::format("\n-- {}: ", name);
  const std::size_t at = file.find(begin);
  return at == std::string_view::npos ? std::string_view()
                                      : file.substr(at + begin.size(), file.find('\n', at + 1) - at - begin.size());
}

// The file without the comments at its beginning.
std::string_view queryOf(std::string_view file) {
  while (file.starts_with("--")) {
    file.remove_prefix(file.find('\n') + 1);
  }
  return file;
}

// Cuts a long text before the beginning of a character.
std::string_view cutText(std::string_view text) {
  if (text.size() <= mostText) {
    return text;
  }
  std::size_t end = mostText;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
    --end;
  }
  return text.substr(0, end);
}

// Unlike in the answers of velstat query, long texts and bytes are cut.
void writeCell(JsonWriter& json, const Statement& row, std::size_t column) {
  switch (row.type(column)) {
  case ValueType::null:
    return json.json("null");
  case ValueType::integer:
    return json.integer(row.integer(column));
  case ValueType::real:
    return json.real(row.real(column));
  case ValueType::text: {
    const std::string_view text = row.text(column);
    const std::string_view shown = cutText(text);
    return shown.size() == text.size() ? json.string(text) : json.string(std::string(shown) + " …");
  }
  case ValueType::blob:
    return json.hex(row.blob(column).first(std::min(row.blob(column).size(), mostText / 2)));
  }
}

std::size_t columnNamed(const Statement& rows, std::string_view name) {
  std::size_t i = 0;
  while (i < rows.columns() && rows.name(i) != name) {
    ++i;
  }
  return i;
}

} // namespace

const std::vector<std::string>& pageTableNames() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> all;
    for (const auto& [file, content] : embeddedTables) {
      if (const auto name = file.substr(0, file.rfind('.')); name != onlyUsed) {
        all.emplace_back(name);
      }
    }
    return all;
  }();
  return names;
}

std::string pageTableSql(std::string_view name) {
  const std::string_view file = fileOf(name);
  const std::string_view used = setting(file, "with");
  std::string sql(queryOf(file));
  if (used.empty()) {
    return sql;
  }
  // The file's own WITH is continued after the table that it uses.
  constexpr std::string_view with = "WITH ";
  const bool hasOwn = sql.starts_with(with);
  return fmt::format("WITH {} AS MATERIALIZED (\n{})\n{}{}", used, queryOf(fileOf(used)), hasOwn ? ", " : "",
                     hasOwn ? sql.substr(with.size()) : sql);
}

PageTable readPageTable(query::Database& database, std::string_view name) {
  constexpr std::size_t usualRows = 1000;
  const std::string_view given = setting(fileOf(name), "rows");
  const std::size_t mostRows = given.empty() ? usualRows : formats::parseNumber<std::size_t>(given, 1, 1'000'000);
  Statement rows = database.prepare(pageTableSql(name));
  const std::size_t first = columnNamed(rows, "first_record");
  const std::size_t last = columnNamed(rows, "last_record");

  PageTable table;
  StringSink text;
  JsonWriter json(text, JsonWriter::Form::oneLine);
  json.beginObject();
  json.key("columns");
  json.beginArray();
  for (std::size_t i = 0; i < rows.columns(); ++i) {
    json.string(rows.name(i));
  }
  json.endArray();
  json.key("rows");
  json.beginArray();
  bool more = rows.step();
  for (; more && table.rows < mostRows && text.text().size() < mostBytes; more = rows.step()) {
    json.beginArray();
    for (std::size_t i = 0; i < rows.columns(); ++i) {
      writeCell(json, rows, i);
    }
    json.endArray();
    ++table.rows;
    if (first < rows.columns() && last < rows.columns()) {
      table.records.emplace_back(rows.integer(first), rows.integer(last));
    }
  }
  json.endArray();
  if (more) {
    json.key("more");
    json.boolean(true);
  }
  json.endObject();
  table.json = text.take();
  return table;
}

} // namespace stat

} // namespace vel
