// A virtual table of SQLite as two C++ classes. Their exceptions do not go through SQLite: they are kept for the
// statement that runs.
#pragma once

#include <query/database.h>

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

namespace vel::query {

// The value of one column, on its way to SQLite.
class Result {
public:
  explicit Result(sqlite3_context* context) : context_(context) {}

  void null() { sqlite3_result_null(context_); }
  void integer(std::int64_t number) { sqlite3_result_int64(context_, number); }
  // SQLite's integers end at 2^63 - 1: a greater number becomes a text of its digits.
  void number(std::uint64_t number);
  void real(double number) { sqlite3_result_double(context_, number); }
  void text(std::string_view text) {
    sqlite3_result_text64(context_, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
  }
  // Bytes from a device as text: each becomes the code point of the same number.
  void bytesAsText(std::string_view bytes);
  void blob(const void* bytes, std::size_t size) { sqlite3_result_blob64(context_, bytes, size, SQLITE_TRANSIENT); }

private:
  sqlite3_context* context_;
};

struct Origin;

class Cursor {
public:
  virtual ~Cursor() = default;

  // Goes to the first row, following the plan that Table::plan() made. [borrowed: the values, during the call]
  virtual void begin(int number, std::string_view plan, std::span<sqlite3_value*> values) = 0;
  virtual void next() = 0;
  virtual bool atEnd() const = 0;
  virtual void column(Result result, std::size_t column) = 0;
  virtual std::int64_t rowid() const = 0;
};

class Table {
public:
  explicit Table(TableInfo info) : info_(std::move(info)) {}
  virtual ~Table() = default;
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  const TableInfo& info() const { return info_; }

  // Called by sqlite3_module::xBestIndex.
  virtual void plan(sqlite3_index_info& index) const = 0;
  virtual std::unique_ptr<Cursor> open(State& state, Origin& origin) const = 0;

private:
  TableInfo info_;
};

// Registers the table with the state's database, under its name after `prefix`. It reads `origin`. Table and origin
// must outlive the database.
void registerTable(State& state, Origin& origin, const std::string& prefix, const Table& table);

} // namespace vel::query
