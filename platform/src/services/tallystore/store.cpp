// Keeps rows in memory and writes the changed ones once per batch.
#include "services/tallystore/store.h"

#include "services/tallystore/rights.h"

#include <bit>
#include <system_error>
#include <utility>

namespace vel::platform {

using control::TallyKind;
using control::TallyOp;

namespace {

Database openStore(const std::filesystem::path& path) {
  std::error_code ignored;
  if (!std::filesystem::exists(path, ignored)) {
    createStore(path);
  }
  requireStore(path);
  requireWritable(path);
  checkStore(path); // a store that cannot be read whole must not be written to
  Database database = openDatabase(path, Access::write);
  // What COMMIT has handed to the kernel outlives the process. It is not forced to the disk each time, so a power
  // failure may lose the last batches, but only whole ones.
  execute(database, "PRAGMA synchronous = NORMAL");
  return database;
}

TallyKind kindOf(TallyOp op) {
  switch (op) {
  case TallyOp::clearScalar:
  case TallyOp::setScalar:
  case TallyOp::addScalar:
    return TallyKind::scalar;
  default:
    return TallyKind::distribution;
  }
}

// More keys than any plug-in has. With more than this, all rows are dropped from memory after a batch.
constexpr std::size_t kMostKept = 10'000;

} // namespace

Store::Store(const std::filesystem::path& path) : Store(openStore(fileOf(path))) {}

Store::Store() : Store(createStoreInMemory()) {}

Store::Store(Database database)
    : database_(std::move(database)), rows_(database_, Access::write), begin_(prepare(database_, "BEGIN IMMEDIATE")),
      commit_(prepare(database_, "COMMIT")), dataVersion_(prepare(database_, "PRAGMA data_version")) {}

Store::Kept& Store::find(std::string_view key, TallyKind kind) {
  auto& one = kept_[static_cast<std::size_t>(kind)][std::string(key)];
  if (one == nullptr) {
    one = std::make_unique<Kept>();
    one->row.key = key;
    one->row.kind = kind;
  }
  return *one;
}

void Store::take(std::string_view key, const Operation& operation) {
  const TallyKind kind = kindOf(operation.op);
  if (!pending_.empty()) {
    auto& [kept, last] = pending_.back();
    if (kept->row.kind == kind && kept->row.key == key) {
      // The firmware gives a sample weight by pushing it that many times.
      const bool again = operation.op == TallyOp::pushDistribution && last.op == operation.op &&
                         std::bit_cast<std::uint64_t>(last.sample) == std::bit_cast<std::uint64_t>(operation.sample);
      if (again) {
        last.weight += operation.weight;
      } else {
        pending_.push_back({kept, operation});
      }
      return;
    }
  }
  pending_.push_back({&find(key, kind), operation});
}

void Store::write(std::int64_t now) {
  if (pending_.empty()) {
    return;
  }
  try {
    writeInTransaction(now);
  } catch (...) {
    if (sqlite3_get_autocommit(database_.get()) == 0) {
      sqlite3_exec(database_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
    forget();
    throw;
  }
  pending_.clear();
  if (kept_[0].size() + kept_[1].size() > kMostKept) {
    forget();
  }
}

void Store::writeInTransaction(std::int64_t now) {
  stepOnce(begin_);
  step(dataVersion_);
  const std::int64_t version = integerOf(dataVersion_, 0);
  rewind(dataVersion_);
  const bool othersWrote = version != knownVersion_;
  knownVersion_ = version;
  if (othersWrote) {
    for (auto& kind : kept_) {
      for (auto& [key, kept] : kind) {
        kept->loaded = false;
      }
    }
  }

  std::vector<Kept*> changed;
  for (const Pending& one : pending_) {
    Kept& kept = *one.kept;
    if (!kept.loaded) {
      rows_.load(kept.row);
      kept.loaded = true;
    }
    kept.row.apply(one.operation, now);
    if (!kept.changed) {
      kept.changed = true;
      changed.push_back(&kept);
    }
  }
  for (Kept* kept : changed) {
    rows_.save(kept->row);
    kept->changed = false;
  }
  stepOnce(commit_);
}

void Store::forget() {
  pending_.clear();
  for (auto& kind : kept_) {
    kind.clear();
  }
}

} // namespace vel::platform
