// Reads a store through a snapshot, or as one file when it is not in use.
#include "services/tallystore/reader.h"

#include "services/tallystore/rights.h"
#include "services/tallystore/schema.h"

#include <fmt/format.h>

#include <algorithm>
#include <sys/stat.h>
#include <tuple>

namespace vel::platform {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostKeys = 100'000;
constexpr std::size_t kMostKeyBytes = std::size_t{32} << 20; // of all keys together

Database openWhole(const fs::path& path, Access access) {
  Database database = openDatabase(path, access);
  execute(database, "BEGIN"); // check and rows see one state of the file
  requireWhole(database);
  return database;
}

std::vector<control::TallyRow> readRows(const fs::path& path, Access access) {
  const Database database = openWhole(path, access);
  return collect(Rows(database, access));
}

bool checkRows(const fs::path& path, Access access) {
  const Database database = openWhole(path, access);
  Rows(database, access).each([](const Row& row) { row.requireRoom(); });
  return true;
}

// Checks that a file is the same as before and not in use.
struct Settled {
  dev_t device = 0;
  ino_t file = 0;
  off_t size = 0;
  std::int64_t seconds = 0;
  std::int64_t nanoseconds = 0;
  bool inUse = true;

  explicit Settled(const fs::path& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0) {
      device = status.st_dev;
      file = status.st_ino;
      size = status.st_size;
      seconds = status.st_mtim.tv_sec;
      nanoseconds = status.st_mtim.tv_nsec;
      inUse = fs::exists(writeAheadLogOf(path));
    }
  }
  bool operator==(const Settled&) const = default;
};

// An ordinary SQLite reader leaves two files next to the store, and cannot read in a folder that it may not write to.
// When the store is not in use, the one file holds everything, so it is read directly. If a writer starts meanwhile,
// the result is discarded and the store is read again the ordinary way.
template <class Result>
Result look(const fs::path& linked, Result (*read)(const fs::path&, Access)) {
  const fs::path path = fileOf(linked);
  requireStore(path);
  const Settled before(path);
  if (!before.inUse) {
    try {
      Result result = read(path, Access::settled);
      if (Settled(path) == before) {
        return result;
      }
    } catch (const DatabaseError&) {
      if (Settled(path) == before) {
        throw;
      }
    }
  }
  requireReadableLog(path);
  return read(path, Access::read);
}

} // namespace

std::vector<control::TallyRow> collect(const Rows& rows) {
  std::vector<control::TallyRow> found;
  std::size_t keyBytes = 0;
  rows.each([&](const Row& row) {
    if (found.size() == kMostKeys) {
      throw DatabaseError(fmt::format("more than the {} keys that are allowed", kMostKeys));
    }
    keyBytes += row.key.size();
    if (keyBytes > kMostKeyBytes) {
      throw DatabaseError(fmt::format("keys of more than the {} bytes that are allowed", kMostKeyBytes));
    }
    found.push_back({.key = row.key,
                     .kind = row.kind,
                     .scalar = row.scalar,
                     .distribution = row.distribution.summary(),
                     .firstSample = row.firstSample,
                     .lastChange = row.lastChange,
                     .lastClear = row.lastClear});
  });
  std::sort(found.begin(), found.end(),
            [](const auto& a, const auto& b) { return std::tie(a.key, a.kind) < std::tie(b.key, b.kind); });
  return found;
}

std::vector<control::TallyRow> readStore(const fs::path& path) {
  return look(path, readRows);
}

void checkStore(const fs::path& path) {
  look(path, checkRows);
}

} // namespace vel::platform
