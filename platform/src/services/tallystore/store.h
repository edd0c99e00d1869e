// An open store: gathers operations and writes them in batches, a transaction each.
#pragma once

#include "services/tallystore/reader.h"
#include "services/tallystore/rows.h"
#include "services/tallystore/schema.h"

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vel::platform {

// Not for several threads at once.
class Store {
public:
  // Opens the store at `path`, creating it if needed. Throws DatabaseError.
  explicit Store(const std::filesystem::path& path);
  // A store in memory, which lasts as long as the object.
  Store();

  // Remembers an operation for the next write.
  void take(std::string_view key, const Operation& operation);
  // Writes what was taken, all or nothing. Throws DatabaseError and forgets it when that fails.
  void write(std::int64_t now);

  // What was written.
  std::vector<control::TallyRow> rows() const { return collect(rows_); }
  // For a store in memory: the content of a file with its data.
  std::string image() const { return imageOf(database_); }

private:
  explicit Store(Database database);

  struct Kept {
    Row row;
    bool loaded = false; // as the database has it
    bool changed = false;
  };
  struct Pending {
    Kept* kept;
    Operation operation;
  };

  Kept& find(std::string_view key, control::TallyKind kind);
  void writeInTransaction(std::int64_t now);
  void forget();

  Database database_;
  Rows rows_;
  Statement begin_;
  Statement commit_;
  Statement dataVersion_;

  // Rows stay in memory between batches until another process writes.
  std::unordered_map<std::string, std::unique_ptr<Kept>> kept_[2]; // by kind
  std::int64_t knownVersion_ = 0;
  std::vector<Pending> pending_;
};

} // namespace vel::platform
