// Opens SQLite for each kind of access, and turns its codes into exceptions.
#include "services/tallystore/database.h"

#include <fmt/format.h>

#include <cstring>
#include <string>

namespace vel::platform {
namespace {

[[noreturn]] void fail(sqlite3* database) {
  const int code = sqlite3_errcode(database) & 0xFF; // without its details
  const bool damaged = code == SQLITE_CORRUPT || code == SQLITE_NOTADB;
  const char* const message = sqlite3_errmsg(database);
  throw DatabaseError(damaged ? fmt::format("damaged ({})", message) : std::string(message));
}

void check(sqlite3* database, int code) {
  if (code != SQLITE_OK) {
    fail(database);
  }
}
void check(const Statement& statement, int code) {
  check(sqlite3_db_handle(statement.get()), code);
}

// The path as a URI, with special characters escaped.
std::string uriOf(const std::filesystem::path& path, const char* query) {
  std::string uri = "file:";
  for (const char c : path.string()) {
    if (std::strchr("?#%", c) != nullptr) {
      uri += fmt::format("%{:02X}", static_cast<unsigned char>(c));
    } else {
      uri += c;
    }
  }
  return uri + query;
}

} // namespace

Database openDatabase(const std::filesystem::path& path, Access access) {
  std::string name = path.string();
  int flags = SQLITE_OPEN_READONLY;
  switch (access) {
  case Access::create:
    flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    break;
  case Access::write:
    flags = SQLITE_OPEN_READWRITE;
    break;
  case Access::read:
    break;
  case Access::memory:
    name = ":memory:";
    flags = SQLITE_OPEN_READWRITE;
    break;
  case Access::settled:
    name = uriOf(path, "?immutable=1");
    flags |= SQLITE_OPEN_URI;
    break;
  }
  sqlite3* opened = nullptr;
  const int code = sqlite3_open_v2(name.c_str(), &opened, flags | SQLITE_OPEN_EXRESCODE, nullptr);
  Database database(opened); // also one that failed must be closed
  if (code != SQLITE_OK) {
    throw DatabaseError(opened == nullptr ? "out of memory" : sqlite3_errmsg(opened));
  }
  // Other writers hold the lock only for short transactions.
  check(opened, sqlite3_busy_timeout(opened, 5000));
  // The file may be hostile.
  check(opened, sqlite3_db_config(opened, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr));
  check(opened, sqlite3_db_config(opened, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr));
  sqlite3_limit(opened, SQLITE_LIMIT_LENGTH, 1 << 24);
  return database;
}

void execute(const Database& database, const char* sql) {
  check(database.get(), sqlite3_exec(database.get(), sql, nullptr, nullptr, nullptr));
}

Statement prepare(const Database& database, const char* sql) {
  sqlite3_stmt* statement = nullptr;
  check(database.get(), sqlite3_prepare_v3(database.get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr));
  return Statement(statement);
}

bool step(const Statement& statement) {
  const int code = sqlite3_step(statement.get());
  if (code != SQLITE_ROW && code != SQLITE_DONE) {
    rewind(statement); // keeps the database's error
    fail(sqlite3_db_handle(statement.get()));
  }
  return code == SQLITE_ROW;
}

bool stepOnce(const Statement& statement) {
  const bool row = step(statement);
  rewind(statement);
  return row;
}

void rewind(const Statement& statement) {
  sqlite3_reset(statement.get()); // returns the error of the step again, which was handled there
}

void bind(const Statement& statement, int parameter, std::int64_t number) {
  check(statement, sqlite3_bind_int64(statement.get(), parameter, number));
}
void bind(const Statement& statement, int parameter, double number) {
  check(statement, sqlite3_bind_double(statement.get(), parameter, number));
}
void bind(const Statement& statement, int parameter, std::string_view text) {
  check(statement, sqlite3_bind_text64(statement.get(), parameter, text.data() == nullptr ? "" : text.data(),
                                       text.size(), SQLITE_STATIC, SQLITE_UTF8));
}
void bind(const Statement& statement, int parameter, std::optional<std::int64_t> number) {
  if (number) {
    bind(statement, parameter, *number);
  } else {
    check(statement, sqlite3_bind_null(statement.get(), parameter));
  }
}
void bindBytes(const Statement& statement, int parameter, std::string_view bytes) {
  check(statement, sqlite3_bind_blob64(statement.get(), parameter, bytes.data(), bytes.size(), SQLITE_STATIC));
}

std::int64_t integerOf(const Statement& statement, int column) {
  return sqlite3_column_int64(statement.get(), column);
}
std::optional<std::int64_t> optionalOf(const Statement& statement, int column) {
  if (sqlite3_column_type(statement.get(), column) == SQLITE_NULL) {
    return std::nullopt;
  }
  return integerOf(statement, column);
}
std::string_view textOf(const Statement& statement, int column) {
  const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(statement.get(), column));
  return {text == nullptr ? "" : text, static_cast<std::size_t>(sqlite3_column_bytes(statement.get(), column))};
}
std::string_view bytesOf(const Statement& statement, int column) {
  const auto* const bytes = static_cast<const char*>(sqlite3_column_blob(statement.get(), column));
  return {bytes == nullptr ? "" : bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement.get(), column))};
}

} // namespace vel::platform
