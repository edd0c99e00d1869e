// An SQLite connection that stores no data and may only read.
#include "query/database.h"

#include <query/sql_errors.h>
#include <query/state.h>
#include <sources/clock.h>

#include <fmt/format.h>
#include <sqlite3.h>

#include <new>
#include <utility>

namespace vel::query {

namespace {

std::vector<std::unique_ptr<const Table>> makeTables() {
  auto tables = makeRecordTables();
  for (auto make : {makeCaptureTables, makeReadingTables}) {
    for (auto& table : make()) {
      tables.push_back(std::move(table));
    }
  }
  return tables;
}

// The actions of an authorizer that only read. Recursion is bounded by the time limit.
bool isReading(int action) {
  return action == SQLITE_SELECT || action == SQLITE_READ || action == SQLITE_RECURSIVE;
}

// Functions that can do more than compute a value.
bool isForbidden(std::string_view function) {
  return function == "load_extension" || function == "fts3_tokenizer";
}

int authorize(void* context, int action, const char*, const char* second, const char*, const char*) {
  State& state = *static_cast<State*>(context);
  if (state.declaring || isReading(action) ||
      (action == SQLITE_FUNCTION && !isForbidden(second == nullptr ? "" : second))) {
    return SQLITE_OK;
  }
  state.denied = true;
  return SQLITE_DENY;
}

void limitSize(sqlite3* database) {
  constexpr std::pair<int, int> limits[] = {
      {SQLITE_LIMIT_LENGTH, 1 << 20},    {SQLITE_LIMIT_SQL_LENGTH, 1 << 20},  {SQLITE_LIMIT_COLUMN, 200},
      {SQLITE_LIMIT_EXPR_DEPTH, 200},    {SQLITE_LIMIT_COMPOUND_SELECT, 100}, {SQLITE_LIMIT_VDBE_OP, 250'000},
      {SQLITE_LIMIT_FUNCTION_ARG, 100},  {SQLITE_LIMIT_ATTACHED, 0},          {SQLITE_LIMIT_LIKE_PATTERN_LENGTH, 200},
      {SQLITE_LIMIT_VARIABLE_NUMBER, 0}, {SQLITE_LIMIT_TRIGGER_DEPTH, 0},     {SQLITE_LIMIT_WORKER_THREADS, 0},
  };
  for (const auto& [limit, value] : limits) {
    sqlite3_limit(database, limit, value);
  }
}

// Whether the SQL has only blanks, comments and semicolons: SQLite then prepares no statement.
bool isEmpty(sqlite3* database, std::string_view sql) {
  while (!sql.empty()) {
    sqlite3_stmt* statement = nullptr;
    const char* rest = nullptr;
    const int result = sqlite3_prepare_v2(database, sql.data(), static_cast<int>(sql.size()), &statement, &rest);
    sqlite3_finalize(statement);
    if (result != SQLITE_OK || statement != nullptr) {
      return false;
    }
    sql.remove_prefix(static_cast<std::size_t>(rest - sql.data()));
  }
  return true;
}

} // namespace

Origin::Origin(sources::Sources& from) : sources(from), times(sources::commonTimes(from.inputs())) {}

State::State(sources::Sources& from, sources::Sources* reference, const Limits& given)
    : limits(given), inputs_(from), tables_(makeTables()) {
  if (reference != nullptr) {
    reference_.emplace(*reference);
  }
  sqlite3_hard_heap_limit64(static_cast<sqlite3_int64>(limits.memory));
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_MEMORY | SQLITE_OPEN_NOMUTEX;
  try {
    if (sqlite3_open_v2(":memory:", &database, flags, nullptr) != SQLITE_OK) {
      fail({});
    }
    sqlite3_exec(database, "PRAGMA temp_store = MEMORY", nullptr, nullptr, nullptr); // sorting uses no files either
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_DQS_DML, 0, nullptr); // "x" is always a name, never a string
    limitSize(database);
    for (const auto& table : tables_) {
      registerTable(*this, inputs_, "", *table);
      if (reference_) {
        registerTable(*this, *reference_, "reference_", *table);
      }
    }
    // SQLite declares these table functions when they are first used, which the authorizer would refuse as a change.
    sqlite3_exec(database, "SELECT 1 FROM json_each('[]'), json_tree('[]')", nullptr, nullptr, nullptr);
    sqlite3_set_authorizer(database, authorize, this);
    constexpr int operations = 10'000; // some hundred microseconds
    sqlite3_progress_handler(
        database, operations, [](void* state) { return static_cast<State*>(state)->isLate() ? 1 : 0; }, this);
  } catch (...) {
    sqlite3_close(database);
    throw;
  }
}

State::~State() {
  sqlite3_close(database);
}

void State::startClock() {
  sqlite3_memory_highwater(1);
  deadline_.reset();
  if (limits.time.count() != 0) {
    deadline_ = std::chrono::steady_clock::now() + limits.time;
  }
}

void State::requireTime() const {
  if (isLate()) {
    throw Error(lateness());
  }
}

std::string State::lateness() const {
  return fmt::format("the SQL has not ended within {:g} s and was stopped; --timeout gives it more time",
                     static_cast<double>(limits.time.count()) / 1000);
}

void State::enter() {
  if (limits.overdue != nullptr && deadline_) {
    if (!overdue_) {
      overdue_.emplace([this] { limits.overdue(lateness()); });
    }
    overdue_->enter(*deadline_);
  }
}

void State::leave() {
  if (overdue_) {
    overdue_->leave();
  }
}

void State::fail(std::string_view sql) {
  if (failure) {
    std::rethrow_exception(std::exchange(failure, nullptr));
  }
  const int code = database == nullptr ? SQLITE_NOMEM : sqlite3_errcode(database);
  if (std::exchange(denied, false)) {
    throw Error("the SQL may only read the tables that --schema shows; all other statements and functions are refused");
  }
  if (code == SQLITE_INTERRUPT) {
    requireTime();
  }
  if (code == SQLITE_NOMEM) {
    // If use stayed far below the limit, the process itself is out of memory.
    if (sqlite3_memory_highwater(0) < static_cast<sqlite3_int64>(limits.memory / 2)) {
      throw std::bad_alloc();
    }
    throw Error(fmt::format("the SQL needs more than the {} MiB of memory that it may use", limits.memory >> 20));
  }
  const std::string message = sqlite3_errmsg(database);
  const int offset = sql.empty() ? -1 : sqlite3_error_offset(database);
  const std::string_view place = offset < 0 ? std::string_view() : sql.substr(static_cast<std::size_t>(offset));
  throw Error(fmt::format("the SQL{}: {}{}", offset < 0 ? "" : ", " + placeIn(sql, static_cast<std::size_t>(offset)),
                          message, suggestion(message, place, tables_)));
}

Statement::Statement(State& state, std::string_view sql) : state_(state) {
  if (sql.find('\0') != std::string_view::npos) {
    throw Error(fmt::format("the SQL, {}: a NUL", placeIn(sql, sql.find('\0'))));
  }
  state.startClock();
  state.failure = nullptr;
  state.denied = false;
  constexpr std::size_t longest = 1 << 20;
  const char* rest = nullptr;
  if (sql.size() > longest) {
    throw Error(fmt::format("the SQL is longer than the {} bytes that are allowed", longest));
  }
  if (sqlite3_prepare_v2(state.database, sql.data(), static_cast<int>(sql.size()), &statement_, &rest) != SQLITE_OK) {
    state.fail(sql);
  }
  if (statement_ == nullptr) {
    throw Error("the SQL holds no statement");
  }
  const auto end = static_cast<std::size_t>(rest - sql.data());
  if (!isEmpty(state.database, sql.substr(end))) {
    sqlite3_finalize(statement_);
    throw Error(fmt::format("the SQL, {}: only one statement is allowed", placeIn(sql, end)));
  }
}

Statement::~Statement() {
  sqlite3_finalize(statement_);
}

Statement::Statement(Statement&& other) noexcept
    : state_(other.state_), statement_(std::exchange(other.statement_, nullptr)) {}

std::size_t Statement::columns() const {
  return static_cast<std::size_t>(sqlite3_column_count(statement_));
}

std::string_view Statement::name(std::size_t column) const {
  const char* const text = sqlite3_column_name(statement_, static_cast<int>(column));
  return text == nullptr ? std::string_view() : text;
}

bool Statement::step() {
  state_.enter();
  const int result = sqlite3_step(statement_);
  state_.leave();
  if (result != SQLITE_ROW && result != SQLITE_DONE) {
    state_.fail({});
  }
  return result == SQLITE_ROW;
}

ValueType Statement::type(std::size_t column) const {
  switch (sqlite3_column_type(statement_, static_cast<int>(column))) {
  case SQLITE_INTEGER:
    return ValueType::integer;
  case SQLITE_FLOAT:
    return ValueType::real;
  case SQLITE_TEXT:
    return ValueType::text;
  case SQLITE_BLOB:
    return ValueType::blob;
  default:
    return ValueType::null;
  }
}

std::int64_t Statement::integer(std::size_t column) const {
  return sqlite3_column_int64(statement_, static_cast<int>(column));
}

double Statement::real(std::size_t column) const {
  return sqlite3_column_double(statement_, static_cast<int>(column));
}

std::string_view Statement::text(std::size_t column) const {
  const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, static_cast<int>(column)));
  const int size = sqlite3_column_bytes(statement_, static_cast<int>(column));
  return text == nullptr ? std::string_view() : std::string_view(text, static_cast<std::size_t>(size));
}

std::span<const std::byte> Statement::blob(std::size_t column) const {
  const auto* const bytes = static_cast<const std::byte*>(sqlite3_column_blob(statement_, static_cast<int>(column)));
  const int size = sqlite3_column_bytes(statement_, static_cast<int>(column));
  return bytes == nullptr ? std::span<const std::byte>() : std::span(bytes, static_cast<std::size_t>(size));
}

Database::Database(sources::Sources& sources, const Limits& limits)
    : state_(std::make_unique<State>(sources, nullptr, limits)) {}
Database::Database(sources::Sources& sources, sources::Sources& reference, const Limits& limits)
    : state_(std::make_unique<State>(sources, &reference, limits)) {}
Database::~Database() = default;

Statement Database::prepare(std::string_view sql) {
  return Statement(*state_, sql);
}

void Database::tellReading(std::vector<sources::Finding> defects, std::vector<sources::Run> runs) {
  state_->tell({std::move(defects), std::move(runs)});
}

std::uint64_t Database::recordsProduced() const {
  return state_->recordsProduced;
}

std::vector<TableInfo> schema() {
  std::vector<TableInfo> infos;
  for (const auto& table : makeTables()) {
    infos.push_back(table->info());
  }
  return infos;
}

} // namespace vel::query
