// Writes a database that other tools can open, under a temporary name first.
#include <formats/new_file.h>
#include <velstat/query/rows.h>
#include <velstat/text/error.h>

#include <fmt/format.h>
#include <sqlite3.h>

#include <memory>
#include <string>

namespace vel::stat {

namespace {

namespace fs = std::filesystem;
using query::ValueType;

// The connection that writes. [one thread at a time]
class Writer {
public:
  Writer(const std::string& path, const fs::path& shown) : shown_(shown) {
    const int result = sqlite3_open_v2(path.c_str(), &database_, SQLITE_OPEN_READWRITE, nullptr);
    require(result == SQLITE_OK);
    // The file is used only when it is whole, so a journal would be useless.
    run("PRAGMA journal_mode = OFF");
    run("PRAGMA synchronous = OFF");
    run("BEGIN");
  }
  ~Writer() { sqlite3_close(database_); }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  void run(const std::string& sql) {
    require(sqlite3_exec(database_, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK);
  }

  void copy(const query::TableInfo& table, query::Statement& rows) {
    std::string columns;
    std::string places;
    for (const query::ColumnInfo& column : table.columns) {
      if (!column.hidden) {
        // An INTEGER column would convert the text of a number beyond its range to an approximate real.
        columns += fmt::format("{}\"{}\" {}", columns.empty() ? "" : ", ", column.name, column.wide ? "" : column.type);
        places += places.empty() ? "?" : ", ?";
      }
    }
    run(fmt::format("CREATE TABLE \"{}\" ({})", table.name, columns));
    sqlite3_stmt* statement = nullptr;
    const std::string insert = fmt::format("INSERT INTO \"{}\" VALUES ({})", table.name, places);
    const int prepared = sqlite3_prepare_v2(database_, insert.c_str(), -1, &statement, nullptr);
    const std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)> owned(statement, &sqlite3_finalize);
    require(prepared == SQLITE_OK);
    while (rows.step()) {
      for (std::size_t i = 0; i < rows.columns(); ++i) {
        require(bind(statement, static_cast<int>(i) + 1, rows, i) == SQLITE_OK);
      }
      require(sqlite3_step(statement) == SQLITE_DONE);
      sqlite3_reset(statement);
    }
  }

private:
  static int bind(sqlite3_stmt* statement, int place, const query::Statement& row, std::size_t column) {
    switch (row.type(column)) {
    case ValueType::null:
      return sqlite3_bind_null(statement, place);
    case ValueType::integer:
      return sqlite3_bind_int64(statement, place, row.integer(column));
    case ValueType::real:
      return sqlite3_bind_double(statement, place, row.real(column));
    case ValueType::text: {
      const std::string_view text = row.text(column);
      return sqlite3_bind_text64(statement, place, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
    }
    case ValueType::blob: {
      const auto bytes = row.blob(column);
      return bytes.empty() ? sqlite3_bind_zeroblob(statement, place, 0)
                           : sqlite3_bind_blob64(statement, place, bytes.data(), bytes.size(), SQLITE_TRANSIENT);
    }
    }
    return SQLITE_ERROR;
  }

  void require(bool holds) {
    if (!holds) {
      const std::string cause = database_ == nullptr ? "out of memory" : sqlite3_errmsg(database_);
      throw Error(fmt::format("{}: {}", shown_.string(), cause));
    }
  }

  fs::path shown_;
  sqlite3* database_ = nullptr;
};

} // namespace

void exportTables(query::Database& database, const fs::path& file) {
  for (const char* const left : {"-journal", "-wal"}) {
    if (const fs::path rest = file.string() + left; fs::exists(fs::symlink_status(rest))) {
      throw Error(fmt::format("{}: belongs to the database that {} would replace; open that one once, or remove both",
                              rest.string(), file.string()));
    }
  }
  formats::NewFile temporary(file);
  {
    Writer writer(temporary.path(), file);
    for (const query::TableInfo& table : query::schema()) {
      query::Statement rows = database.prepare(fmt::format("SELECT * FROM \"{}\"", table.name));
      writer.copy(table, rows);
    }
    writer.run("COMMIT");
  }
  temporary.keep();
}

} // namespace vel::stat
