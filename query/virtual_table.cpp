// The C functions of SQLite's module; each calls the C++ object.
#include "query/virtual_table.h"

#include "query/state.h"

#include <charconv>
#include <cstring>
#include <exception>
#include <new>
#include <string>

namespace vel::query {

namespace {

// The context that SQLite passes to xConnect; tables and cursors refer to it.
struct Module {
  State& state;
  Origin& origin;
  const Table& table;
};
struct OpenTable : sqlite3_vtab {
  explicit OpenTable(Module* given) : sqlite3_vtab{}, module(given) {}
  Module* module;
};
struct OpenCursor : sqlite3_vtab_cursor {
  OpenCursor() : sqlite3_vtab_cursor{} {}
  std::unique_ptr<Cursor> cursor;
};

template <class Call>
int guarded(State& state, Call call) noexcept {
  try {
    call();
    return SQLITE_OK;
  } catch (const std::bad_alloc&) {
    return SQLITE_NOMEM;
  } catch (...) {
    state.failure = std::current_exception();
    return SQLITE_ERROR;
  }
}

State& stateOf(sqlite3_vtab_cursor* cursor) {
  return static_cast<OpenTable*>(cursor->pVtab)->module->state;
}
Cursor& cursorOf(sqlite3_vtab_cursor* cursor) {
  return *static_cast<OpenCursor*>(cursor)->cursor;
}

std::string declaration(const TableInfo& info) {
  std::string sql = "CREATE TABLE x(";
  for (const ColumnInfo& column : info.columns) {
    sql += sql.back() == '(' ? "\"" : ", \"";
    sql += column.name + "\" " + column.type + (column.hidden ? " HIDDEN" : "");
  }
  return sql + ")";
}

int connect(sqlite3* database, void* module, int, const char* const*, sqlite3_vtab** out, char**) {
  auto* const given = static_cast<Module*>(module);
  int result = SQLITE_OK;
  const int guard = guarded(given->state, [&] {
    const std::string sql = declaration(given->table.info());
    given->state.declaring = true;
    result = sqlite3_declare_vtab(database, sql.c_str());
    given->state.declaring = false;
    if (result == SQLITE_OK) {
      *out = new OpenTable(given);
    }
  });
  return guard == SQLITE_OK ? result : guard;
}

int disconnect(sqlite3_vtab* table) {
  delete static_cast<OpenTable*>(table);
  return SQLITE_OK;
}

int bestIndex(sqlite3_vtab* table, sqlite3_index_info* index) {
  const Module& module = *static_cast<OpenTable*>(table)->module;
  return guarded(module.state, [&] { module.table.plan(*index); });
}

int open(sqlite3_vtab* table, sqlite3_vtab_cursor** out) {
  const Module& module = *static_cast<OpenTable*>(table)->module;
  return guarded(module.state, [&] {
    auto cursor = std::make_unique<OpenCursor>();
    cursor->cursor = module.table.open(module.state, module.origin);
    *out = cursor.release();
  });
}

int close(sqlite3_vtab_cursor* cursor) {
  delete static_cast<OpenCursor*>(cursor);
  return SQLITE_OK;
}

int filter(sqlite3_vtab_cursor* cursor, int number, const char* plan, int count, sqlite3_value** values) {
  return guarded(stateOf(cursor), [&] {
    cursorOf(cursor).begin(number, plan == nullptr ? "" : plan, {values, static_cast<std::size_t>(count)});
  });
}

int next(sqlite3_vtab_cursor* cursor) {
  return guarded(stateOf(cursor), [&] { cursorOf(cursor).next(); });
}

int atEnd(sqlite3_vtab_cursor* cursor) {
  return cursorOf(cursor).atEnd() ? 1 : 0;
}

int column(sqlite3_vtab_cursor* cursor, sqlite3_context* context, int number) {
  return guarded(stateOf(cursor), [&] { cursorOf(cursor).column(Result(context), static_cast<std::size_t>(number)); });
}

int rowid(sqlite3_vtab_cursor* cursor, sqlite3_int64* out) {
  *out = cursorOf(cursor).rowid();
  return SQLITE_OK;
}

// Without xCreate, a table exists under its module's name and cannot be created by SQL. Without xUpdate, it is
// read-only.
constexpr sqlite3_module callbacks = [] {
  sqlite3_module module{};
  module.xConnect = connect;
  module.xBestIndex = bestIndex;
  module.xDisconnect = disconnect;
  module.xOpen = open;
  module.xClose = close;
  module.xFilter = filter;
  module.xNext = next;
  module.xEof = atEnd;
  module.xColumn = column;
  module.xRowid = rowid;
  return module;
}();

} // namespace

void Result::number(std::uint64_t number) {
  if (number <= static_cast<std::uint64_t>(INT64_MAX)) {
    integer(static_cast<std::int64_t>(number));
    return;
  }
  char digits[20];
  const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  text({digits, static_cast<std::size_t>(end - digits)});
}

void Result::bytesAsText(std::string_view bytes) {
  std::string converted;
  converted.reserve(bytes.size());
  for (const char byte : bytes) {
    const auto point = static_cast<unsigned char>(byte);
    if (point < 0x80) {
      converted += byte;
    } else {
      converted += static_cast<char>(0xC0 | point >> 6);
      converted += static_cast<char>(0x80 | (point & 0x3F));
    }
  }
  text(converted);
}

void registerTable(State& state, Origin& origin, const std::string& prefix, const Table& table) {
  const std::string name = prefix + table.info().name;
  const int result =
      sqlite3_create_module_v2(state.database, name.c_str(), &callbacks, new Module{state, origin, table},
                               [](void* module) { delete static_cast<Module*>(module); });
  if (result != SQLITE_OK) { // SQLite has deleted the module
    state.fail({});
  }
}

} // namespace vel::query
