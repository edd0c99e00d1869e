// The state that a database's tables and statements share.
#pragma once

#include <profile/render.h>
#include <query/overdue.h>
#include <query/virtual_table.h>

#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vel::query {

// What is known after reading all records.
struct RecordNotes {
  std::vector<sources::Finding> defects; // of lines outside captures
  std::vector<sources::Run> runs;
};

// The inputs that one set of tables reads: those of the device, or those of the reference.
struct Origin {
  explicit Origin(sources::Sources& from);

  sources::Sources& sources;
  const profile::TimePolicy times;  // that all inputs agree on
  std::optional<RecordNotes> notes; // set when a table first needs them
};

class State {
public:
  State(sources::Sources& from, sources::Sources* reference, const Limits& given);
  ~State();
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  // Restarts the time limit.
  void startClock();
  bool isLate() const { return deadline_ && std::chrono::steady_clock::now() >= *deadline_; }
  void tell(RecordNotes notes) { inputs_.notes = std::move(notes); }
  void requireTime() const; // throws Error when the time is over
  // To be called before and after a call of SQLite that runs the SQL.
  void enter();
  void leave();

  // Throws the error of a table or of SQLite. `sql` is the SQL that was prepared; empty if it is no longer known.
  [[noreturn]] void fail(std::string_view sql);

  const Limits limits;
  sqlite3* database = nullptr;
  std::exception_ptr failure; // of a table, during the current call of SQLite
  bool denied = false;        // the SQL tried to do more than read
  bool declaring = false;     // a table is being declared, which SQLite treats as a change
  std::uint64_t recordsProduced = 0;

private:
  std::string lateness() const;

  std::optional<std::chrono::steady_clock::time_point> deadline_;
  std::optional<Overdue> overdue_;
  Origin inputs_;
  std::optional<Origin> reference_;
  std::vector<std::unique_ptr<const Table>> tables_;
};

// All tables, in the order of the documentation.
std::vector<std::unique_ptr<const Table>> makeRecordTables();
std::vector<std::unique_ptr<const Table>> makeCaptureTables();
std::unique_ptr<const Table> makeStateTable();
std::vector<std::unique_ptr<const Table>> makeReadingTables();

} // namespace vel::query
