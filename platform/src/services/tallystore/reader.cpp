#include "services/tallystore/reader.h"

#include <sys/stat.h>

#include "services/tallystore/rows.h"
#include "services/tallystore/schema.h"

namespace vel::platform {
namespace {

namespace fs = std::filesystem;

std::vector<control::TallyRow> readRows(const fs::path& path, Access access) {
  const Database database = openDatabase(path, access);
  execute(database, "BEGIN"); // check and rows see one state of the file
  requireWhole(database);
  std::vector<control::TallyRow> found;
  for (const Row& row : Rows(database, access).all()) {
    found.push_back({.key = row.key,
                     .kind = row.kind,
                     .scalar = row.scalar,
                     .distribution = row.distribution.summary(),
                     .firstSample = row.firstSample,
                     .lastChange = row.lastChange,
                     .lastClear = row.lastClear});
  }
  return found;
}

// Tells whether a file is the same as before and nobody has it in use.
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

} // namespace

// A reader of SQLite's usual kind leaves two files beside the store, and cannot read from a folder that it may not
// write to. When nobody has the store in use, the one file holds everything; should somebody begin to write meanwhile,
// what was read is worth nothing and is read again the usual way.
std::vector<control::TallyRow> readStore(const fs::path& linked) {
  const fs::path path = fileOf(linked);
  requireStore(path);
  const Settled before(path);
  if (!before.inUse) {
    try {
      std::vector<control::TallyRow> rows = readRows(path, Access::settled);
      if (Settled(path) == before) {
        return rows;
      }
    } catch (const DatabaseError&) {
      if (Settled(path) == before) {
        throw;
      }
    }
  }
  return readRows(path, Access::read);
}

} // namespace vel::platform
