// Runs SQL over sources: SQLite with virtual tables over the inputs, which are read in place. docs/velstat-query.md
// describes the tables.
//
//   query::Database database(sources);
//   query::Statement statement = database.prepare("SELECT category, count(*) FROM records GROUP BY 1");
//   while (statement.step()) … statement.text(0), statement.integer(1) …
//
// SQL is untrusted: it can only read these tables; memory, expressions and time are limited. Failures are thrown as
// query::Error with one line of text; exceptions from reading a source are passed on unchanged. A failure ends only its
// own statement. [one thread at a time]
#pragma once

#include <formats/error.h>
#include <sources/source.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3_stmt;

namespace vel::query {

class Error : public formats::Error {
public:
  using formats::Error::Error;
};

struct ColumnInfo {
  std::string name;
  const char* type = "TEXT"; // TEXT, INTEGER, REAL or BLOB
  std::string about;         // one line
  bool hidden = false;       // not in SELECT *, and computed only when it is named
  bool wide = false;         // an INTEGER that may be above 2^63 - 1; such a value is returned as a text of digits
};

struct TableInfo {
  std::string name;
  std::string about; // one line
  std::vector<ColumnInfo> columns;
};

// SQLite limits memory for the whole process: if there are several databases, the `memory` of the last one counts.
struct Limits {
  std::chrono::milliseconds time{60'000}; // of a statement, from its preparation; 0: no limit
  std::size_t memory = std::size_t{512} << 20;
  // Called on another thread, with a line for the user, when the time is over and an SQL function does not return. Such
  // a function cannot be stopped, so this must end the process. Null: the function is waited for.
  void (*overdue)(const std::string& line) = nullptr;
};

enum class ValueType : std::uint8_t { null, integer, real, text, blob };

class State;

// Must not outlive its database.
class Statement {
public:
  Statement(State& state, std::string_view sql);
  ~Statement();
  Statement(Statement&& other) noexcept;
  Statement& operator=(Statement&&) = delete;

  std::size_t columns() const;
  std::string_view name(std::size_t column) const; // [borrowed: from the statement]

  // Goes to the next row; false if there is none.
  bool step();

  // Values of the current row. A value of another type is converted as SQLite does. [borrowed: until the next step]
  ValueType type(std::size_t column) const;
  std::int64_t integer(std::size_t column) const;
  double real(std::size_t column) const;
  std::string_view text(std::size_t column) const;
  std::span<const std::byte> blob(std::size_t column) const;

private:
  State& state_;
  sqlite3_stmt* statement_ = nullptr;
};

class Database {
public:
  // `sources` outlives the object. Nothing is read before a statement asks for it.
  explicit Database(sources::Sources& sources, const Limits& limits = {});
  // Also has the tables of a reference, with names such as reference_records.
  Database(sources::Sources& sources, sources::Sources& reference, const Limits& limits = {});
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  // Prepares one statement. Throws Error for wrong SQL, with line and column, and for SQL that does more than read.
  Statement prepare(std::string_view sql);

  // Passes on what was found by reading all records, so that the tables `runs` and `defects` need not read them again.
  void tellReading(std::vector<sources::Finding> defects, std::vector<sources::Run> runs);

  // How many records passed the filters and were handed to SQLite. For tests and benchmarks.
  std::uint64_t recordsProduced() const;

private:
  std::unique_ptr<State> state_;
};

// The tables that every database has.
std::vector<TableInfo> schema();

} // namespace vel::query
