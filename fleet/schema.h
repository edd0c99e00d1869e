// The tables of a fleet. What is stored has names such as records_stored, and only the loader writes it; questions read
// views, which have the tables and columns of velstat query.
#pragma once

#include <fleet/http.h>

#include <cstdint>
#include <string>
#include <vector>

namespace vel::fleet {

struct StoredColumn {
  std::string name;
  std::string type;  // ClickHouse's
  std::string about; // may be empty
};

struct StoredTable {
  std::string name;                  // without "_stored"
  std::string about;                 // with the reason for its order; lines
  std::vector<StoredColumn> columns; // in the order of RowBinary
  std::string order;                 // the sorting key, which is also a row's identity

  std::string storedName() const { return name + "_stored"; }
};

// What each row says about its capture: the first columns of every table, except where a table has its own column of
// that name.
const std::vector<StoredColumn>& captureColumns();

// All stored tables. In RowBinary, the columns of `records` from type_id to payload are the 48 bytes of a record, and
// those from position_0 to position_4 are one little-endian number of 64 bits. [borrowed: for the life of the process]
const std::vector<StoredTable>& storedTables();
const StoredTable& storedTable(std::string_view name); // throws Error

// "INSERT INTO database.records_stored (…) FORMAT RowBinary"
std::string insertStatement(const StoredTable& table, std::string_view database);

struct SchemaOptions {
  std::string database = "velstat";
  std::string cluster; // empty: one server, without distributed tables
  bool replicated = false;
};

// The DDL, to be run on every node: it can be repeated, keeps what is stored, and creates all views anew. Throws Error
// for names that are not valid in SQL.
struct SchemaStatement {
  std::string comment; // lines without "--"; may be empty
  std::string sql;     // without ';'
};
std::vector<SchemaStatement> schemaStatements(const SchemaOptions& options);
std::string schemaText(const SchemaOptions& options);

// Throws Error unless the server's database was set up by this version and has all stored columns.
void requireSchema(Http& http);

} // namespace vel::fleet
