// Owning handles and exceptions for SQLite, for the calls that the store makes.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace vel::platform {

struct CloseDatabase {
  void operator()(sqlite3* database) const { sqlite3_close(database); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;

struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>; // must be destroyed before its database

// A cause without a file; the caller that knows the path adds it.
class DatabaseError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

enum class Access {
  create, // a new file
  write,
  read,    // other processes may write; needs the file's companions, or the right to make them
  settled, // for a store that is not in use: reads only the one file and creates none
  memory   // a new database without a file; the path is not used
};
// The path must be absolute: others may be special names to SQLite, such as ":memory:".
Database openDatabase(const std::filesystem::path& path, Access access);

void execute(const Database& database, const char* sql);
Statement prepare(const Database& database, const char* sql);
// True for a row, false at the end.
bool step(const Statement& statement);
// Steps once and rewinds; true for a row.
bool stepOnce(const Statement& statement);
void rewind(const Statement& statement);

// Parameters count from 1, columns from 0. A bound text must live until the statement has been stepped.
void bind(const Statement& statement, int parameter, std::int64_t number);
void bind(const Statement& statement, int parameter, double number);
void bind(const Statement& statement, int parameter, std::string_view text);
void bind(const Statement& statement, int parameter, std::optional<std::int64_t> number);
void bindBytes(const Statement& statement, int parameter, std::string_view bytes);
std::int64_t integerOf(const Statement& statement, int column);
std::optional<std::int64_t> optionalOf(const Statement& statement, int column);
// [get: borrowed, until the next step]
std::string_view textOf(const Statement& statement, int column);
std::string_view bytesOf(const Statement& statement, int column);

} // namespace vel::platform
