// The stored tables as rows, and the DDL that is made from them and from the views.
#include "fleet/schema.h"

#include <fleet/derived_views.h>
#include <fleet/record_views.h>
#include <fleet/sql_text.h>
#include <query/database.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace vel::fleet {

namespace {

// To be raised when the meaning of stored columns changes. Changed views change the definition's hash.
constexpr unsigned version = 1;

// How many blocks a replicated table remembers, and for how long. A capture that is loaded again later is recognised by
// its row in `captures`.
constexpr unsigned deduplicatedBlocks = 100'000;
constexpr unsigned deduplicatedSeconds = 30 * 24 * 60 * 60;

StoredTable recordsTable() {
  StoredTable table{
      "records",
      R"(Every record: its 48 bytes, from type_id to payload, cut where that makes them smaller. Measured with zstd on
2 million records of the realistic mix, in captures of 1000: 19.0 bytes a record on disk. The payload takes 16.7 of
them, as it is random in every second record of the mix; the time stamp 1.5. As one FixedString(48), the 48 bytes
take 24.1. Numbers that count up are cut, as 18.16 has no codec for differences: sequence_num and position take 0.03
bytes in parts, 4.0 as whole numbers.
Order: one device's captures are together, which makes its timeline one range and the strings nearly free (0.1
bytes); within a capture the order is that of the log, so that neighbours in time are neighbours on disk. To sort by
category first would save 1.2 bytes in the payload and cost 1.5 in sequence numbers and times.
Partitions are weeks: they are the unit of retention (DROP PARTITION), as 18.16 has no TTL; with days, loading old
captures would make many small parts.)",
      captureColumns(), "device, capture, report_number, position_4, position_2, position_1, position_0"};
  const std::vector<StoredColumn> own = {
      {"clock_offset", "Nullable(Int64)", "calendar time - timestamp; NULL: not known"},
      {"run", "UInt32", ""},
      {"missing", "UInt32", ""},
      {"report_number", "UInt32", "4294967295: none"},
      {"position_0", "UInt8", "the bits of `position`, from here"},
      {"position_1", "UInt8", "from bit 8"},
      {"position_2", "UInt16", "from bit 16"},
      {"position_4", "UInt32", "from bit 32"},
      {"type_id", "UInt8", "the record begins here"},
      {"event_id", "UInt8", ""},
      {"component_id", "UInt8", ""},
      {"category_id", "UInt8", ""},
      {"sequence_0", "UInt8", "the bits of `sequence_num`, from here"},
      {"sequence_1", "UInt8", "from bit 8"},
      {"sequence_2", "UInt16", "from bit 16"},
      {"timestamp", "UInt64", ""},
      {"payload", "FixedString(32)", "the record ends here"},
  };
  table.columns.insert(table.columns.end(), own.begin(), own.end());
  return table;
}

StoredTable capturesTable() {
  StoredTable table{"captures",
                    "A capture that has been loaded: written last, when all of its rows are there.\n"
                    "Order: the identity of a capture, which finds out at once whether it is there.",
                    captureColumns(), "device, capture"};
  const std::vector<StoredColumn> own = {
      {"input", "String", "as it was named when it was loaded"},
      {"kind", "String", "such as 'a capture folder'"},
      {"version", "String", "of the command that made it"},
      {"device_name", "String", "in its manifest"},
      {"model", "String", "likewise"},
      {"records", "UInt64", "how many it has"},
      {"first_calendar", "Nullable(UInt64)", "of its records, in microseconds since 1970"},
      {"last_calendar", "Nullable(UInt64)", ""},
  };
  table.columns.insert(table.columns.end(), own.begin(), own.end());
  return table;
}

// The tables of velstat query that do not hold records. They are stored as velstat query shows them.
constexpr std::array smallTables = {"state", "handlers", "services", "log", "metrics", "clocks", "runs", "defects"};

std::string typeOf(const query::ColumnInfo& column) {
  const std::string_view type = column.type;
  const char* const own = type == "INTEGER" ? column.wide ? "UInt64" : "Int64" : type == "REAL" ? "Float64" : "String";
  return fmt::format("Nullable({})", own);
}

StoredTable smallTable(const query::TableInfo& info) {
  StoredTable table{info.name,
                    "As in velstat query: " + info.about +
                        ".\nOrder: a row's place in its capture, which is its identity.",
                    captureColumns(), "device, capture, row"};
  table.columns.push_back({"row", "UInt32", "counts the capture's rows, from 0"});
  for (const query::ColumnInfo& column : info.columns) {
    if (column.name == "source") { // stored as `capture`
      continue;
    }
    // A table's own column replaces the capture's: `clocks` has its own boot time.
    std::erase_if(table.columns, [&](const StoredColumn& each) { return each.name == column.name; });
    table.columns.push_back({column.name, typeOf(column), column.about});
    if (std::string_view(column.type) == "BLOB") { // of any type
      table.columns.push_back({column.name + "_integer", "Nullable(Int64)", "if it is an integer or a boolean"});
      table.columns.push_back({column.name + "_number", "Nullable(Float64)", "if it is any number or a boolean"});
    }
  }
  return table;
}

std::string columnList(const std::vector<StoredColumn>& columns) {
  std::string text;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const StoredColumn& column = columns[i];
    text += fmt::format("  {} {}{}{}\n", identifier(column.name), column.type, i + 1 == columns.size() ? "" : ",",
                        column.about.empty() ? "" : " -- " + column.about);
  }
  return text;
}

class Writer {
public:
  explicit Writer(const SchemaOptions& options) : options_(options), database_(identifier(options.database)) {
    if (!options.cluster.empty()) {
      identifier(options.cluster);
    }
  }

  std::vector<SchemaStatement> write() {
    add("The tables of a fleet. Run this on every node; running it again changes nothing that is stored.",
        fmt::format("CREATE DATABASE IF NOT EXISTS {}", database_));
    for (const StoredTable& table : storedTables()) {
      addTable(table);
    }
    for (const RecordView& view : recordViews()) {
      addRecordView(view);
    }
    for (const StoredTable& table : storedTables()) {
      if (table.name != "records") {
        addStoredView(table);
      }
    }
    for (const NameView& view : nameViews()) {
      addNameView(view);
    }
    for (const DerivedView& view : derivedViews()) {
      addDerivedView(view);
    }
    return std::move(statements_);
  }

private:
  void add(std::string comment, std::string sql) { statements_.push_back({std::move(comment), std::move(sql)}); }

  std::string in(const std::string& name) const { return database_ + "." + identifier(name); }

  void addTable(const StoredTable& table) {
    const std::string engine = options_.replicated
                                   ? fmt::format("ReplicatedReplacingMergeTree({}, '{{replica}}')",
                                                 textLiteral(fmt::format("/clickhouse/tables/{{shard}}/{}/{}",
                                                                         options_.database, table.storedName())))
                                   : "ReplacingMergeTree";
    const std::string settings = options_.replicated ? fmt::format("\nSETTINGS replicated_deduplication_window = {}, "
                                                                   "replicated_deduplication_window_seconds = {}",
                                                                   deduplicatedBlocks, deduplicatedSeconds)
                                                     : "";
    add(table.about, fmt::format("CREATE TABLE IF NOT EXISTS {} (\n{}) ENGINE = {}\nPARTITION BY toMonday(day)\n"
                                 "ORDER BY ({}){}",
                                 in(table.storedName()), columnList(table.columns), engine, table.order, settings));
  }

  // The view of a node's own rows, which derived views read: all rows of a capture are on one node.
  std::string local(std::string_view name) const {
    const std::vector<NameView> names = nameViews();
    const bool everywhere =
        std::any_of(names.begin(), names.end(), [&](const auto& view) { return view.name == name; });
    return std::string(name) + (options_.cluster.empty() || everywhere ? "" : "_local");
  }

  // Adds a view on each node. With a cluster, a distributed table over the views of all nodes comes on top, so that
  // each node filters and aggregates its own rows.
  void addView(const std::string& name, const std::string& select, const std::string& about = {}) {
    const std::string local = options_.cluster.empty() ? name : name + "_local";
    add(about, fmt::format("DROP TABLE IF EXISTS {}", in(name)));
    if (local != name) {
      add({}, fmt::format("DROP TABLE IF EXISTS {}", in(local)));
    }
    add({}, fmt::format("CREATE VIEW {} AS {}", in(local), select));
    if (local != name) {
      add({}, fmt::format("CREATE TABLE {} AS {} ENGINE = Distributed({}, {}, {})", in(name), in(local),
                          options_.cluster, options_.database, local));
    }
  }

  void addRecordView(const RecordView& view) {
    std::string columns;
    for (const ViewColumn& column : view.columns) {
      const bool isStored = column.expression == column.name;
      columns += fmt::format("{}\n  {}", columns.empty() ? "" : ",",
                             isStored ? identifier(column.name)
                                      : fmt::format("{} AS {}", column.expression, identifier(column.name)));
    }
    addView(view.name, fmt::format("SELECT{}\nFROM {}{}", columns, in("records_stored"),
                                   view.condition.empty() ? "" : "\nWHERE " + view.condition));
  }

  void addStoredView(const StoredTable& table) {
    std::string columns = "capture AS `source`";
    for (const StoredColumn& column : table.columns) {
      columns += ", " + identifier(column.name);
    }
    addView(table.name, fmt::format("SELECT {}\nFROM {}", columns, in(table.storedName())));
  }

  void addDerivedView(const DerivedView& view) {
    addView(view.name, withTables(view.sql, [&](std::string_view table) { return in(local(table)); }), view.about);
  }

  // Name views are the same on every node, so they need no distributed table.
  void addNameView(const NameView& view) {
    std::string columns;
    for (std::size_t i = 0; i < view.columns.size(); ++i) {
      columns += fmt::format("{}row.{} AS {}", columns.empty() ? "" : ", ", i + 1, identifier(view.columns[i]));
    }
    std::string rows;
    for (const std::string& row : view.rows) {
      rows += (rows.empty() ? "" : ",") + row;
    }
    add({}, fmt::format("DROP TABLE IF EXISTS {}", in(view.name)));
    add({},
        fmt::format("CREATE VIEW {} AS SELECT {} FROM (SELECT arrayJoin([{}]) AS row)", in(view.name), columns, rows));
  }

  const SchemaOptions& options_;
  const std::string database_;
  std::vector<SchemaStatement> statements_;
};

// FNV-1a of the DDL for default options, so that it is the same for all databases and clusters.
std::string definitionHash() {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const SchemaStatement& statement : Writer({}).write()) {
    for (const char character : statement.sql) {
      hash = (hash ^ static_cast<unsigned char>(character)) * 0x100000001b3;
    }
  }
  return fmt::format("{:016x}", hash);
}

} // namespace

const std::vector<StoredColumn>& captureColumns() {
  static const std::vector<StoredColumn> columns = {
      {"device", "String", "the device's id"},
      {"build", "String", "of its firmware"},
      {"lot", "String", "of its hardware"},
      {"capture", "String", "the capture's id, from its content"},
      {"boot", "Nullable(UInt64)", "microseconds since 1970"},
      {"day", "Date", "of the capture"},
  };
  return columns;
}

const std::vector<StoredTable>& storedTables() {
  static const std::vector<StoredTable> tables = [] {
    std::vector<StoredTable> all = {recordsTable(), capturesTable()};
    const std::vector<query::TableInfo> infos = query::schema();
    for (const std::string_view name : smallTables) {
      const auto info = std::find_if(infos.begin(), infos.end(), [&](const auto& each) { return each.name == name; });
      if (info != infos.end()) {
        all.push_back(smallTable(*info));
      }
    }
    return all;
  }();
  return tables;
}

const StoredTable& storedTable(std::string_view name) {
  const std::vector<StoredTable>& tables = storedTables();
  const auto found = std::find_if(tables.begin(), tables.end(), [&](const auto& each) { return each.name == name; });
  if (found == tables.end()) {
    throw Error(fmt::format("there is no stored table '{}'", name));
  }
  return *found;
}

std::string insertStatement(const StoredTable& table, std::string_view database) {
  std::string columns;
  for (const StoredColumn& column : table.columns) {
    columns += (columns.empty() ? "" : ", ") + column.name;
  }
  return fmt::format("INSERT INTO {}.{} ({}) FORMAT RowBinary", identifier(database), identifier(table.storedName()),
                     columns);
}

std::vector<SchemaStatement> schemaStatements(const SchemaOptions& options) {
  std::vector<SchemaStatement> statements = Writer(options).write();
  const std::string name = identifier(options.database) + ".`schema_version`";
  statements.push_back({"What velstat compares before it loads and asks.", "DROP TABLE IF EXISTS " + name});
  statements.push_back({"", fmt::format("CREATE VIEW {} AS SELECT toUInt32({}) AS version, {} AS definition", name,
                                        version, textLiteral(definitionHash()))});
  return statements;
}

std::string schemaText(const SchemaOptions& options) {
  std::string text;
  for (const SchemaStatement& statement : schemaStatements(options)) {
    for (std::size_t begin = 0; begin < statement.comment.size();) {
      const std::size_t end = std::min(statement.comment.find('\n', begin), statement.comment.size());
      text += fmt::format("{}-- {}\n", begin == 0 ? "\n" : "", statement.comment.substr(begin, end - begin));
      begin = end + 1;
    }
    text += statement.sql + ";\n";
  }
  return text;
}

void requireSchema(Http& http) {
  constexpr int unknownTable = 60;
  constexpr int unknownDatabase = 81;
  const std::string& database = http.address().database;
  const std::string found = [&] {
    try {
      return http.ask("SELECT version, definition FROM schema_version FORMAT TabSeparated");
    } catch (const ServerError& error) {
      if (error.code == unknownTable || error.code == unknownDatabase) {
        throw Error(fmt::format("{}: the database '{}' has no tables of a fleet: velstat fleet schema makes them",
                                http.address().url, database));
      }
      throw;
    }
  }();
  const std::string expected = fmt::format("{}\t{}\n", version, definitionHash());
  if (found != expected) {
    throw Error(fmt::format("{}: the tables in '{}' are those of another version of velstat: velstat fleet schema "
                            "makes this version's",
                            http.address().url, database));
  }
  const std::string columns = http.ask("SELECT concat(table, '.', name, ' ', type) FROM system.columns WHERE database "
                                       "= currentDatabase() AND endsWith(table, '_stored') FORMAT TabSeparated");
  for (const StoredTable& table : storedTables()) {
    for (const StoredColumn& column : table.columns) {
      const std::string line = fmt::format("{}.{} {}\n", table.storedName(), column.name, column.type);
      if (("\n" + columns).find("\n" + line) == std::string::npos) {
        throw Error(fmt::format("{}: the table {}.{} has other columns: '{} {}' is missing", http.address().url,
                                database, table.storedName(), column.name, column.type));
      }
    }
  }
}

} // namespace vel::fleet
