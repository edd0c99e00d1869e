// Reads a store's header, and makes a new store that appears whole.
#include "services/tallystore/schema.h"

#include "services/tallystore/rights.h"
#include <control/unfinished_folder.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <new>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace vel::platform {
namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kApplication = 0x54414C59; // "TALY"
constexpr std::uint32_t kFormat = 1;

// Endings of the names of SQLite's own files.
constexpr char kJournalEnding[] = "-journal";
constexpr char kLogEnding[] = "-wal";
constexpr char kMemoryEnding[] = "-shm";

struct SchemaObject {
  const char* name;
  const char* sql;
};

// By name, as SQLite keeps them: a store holds exactly these. Times are microseconds since the Unix epoch.
constexpr SchemaObject kObjects[] = {
    {"distribution", R"(CREATE TABLE distribution (
  key TEXT NOT NULL UNIQUE,
  count INTEGER NOT NULL,
  sum REAL,
  min REAL,
  max REAL,
  mean REAL,
  standard_deviation REAL,
  p50 REAL,
  p90 REAL,
  p99 REAL,
  exact INTEGER NOT NULL,
  ignored INTEGER NOT NULL,
  first_sample INTEGER,
  last_change INTEGER,
  last_clear INTEGER,
  samples BLOB NOT NULL
) STRICT)"},
    {"scalar", R"(CREATE TABLE scalar (
  key TEXT NOT NULL UNIQUE,
  value INTEGER NOT NULL,
  overflows INTEGER NOT NULL,
  first_sample INTEGER,
  last_change INTEGER,
  last_clear INTEGER
) STRICT)"},
    {"tally", R"(CREATE VIEW tally AS
WITH both AS (
  SELECT key, 'scalar' AS kind, value, overflows, NULL AS count, NULL AS sum, NULL AS min, NULL AS max, NULL AS mean,
    NULL AS standard_deviation, NULL AS p50, NULL AS p90, NULL AS p99, NULL AS exact, NULL AS ignored,
    first_sample, last_change, last_clear FROM scalar
  UNION ALL
  SELECT key, 'distribution', NULL, NULL, count, sum, min, max, mean,
    standard_deviation, p50, p90, p99, exact, ignored,
    first_sample, last_change, last_clear FROM distribution
)
SELECT key, kind, value, overflows, count, sum, min, max, mean, standard_deviation, p50, p90, p99, exact, ignored,
  strftime('%Y-%m-%dT%H:%M:%fZ', first_sample / 1e6, 'unixepoch') AS first_sample,
  strftime('%Y-%m-%dT%H:%M:%fZ', last_change / 1e6, 'unixepoch') AS last_change,
  strftime('%Y-%m-%dT%H:%M:%fZ', last_clear / 1e6, 'unixepoch') AS last_clear
FROM both ORDER BY key, kind DESC)"},
};

// The fixed part of a database file: the numbers in it are big-endian. The page size is read because SQLite would read
// a truncated last page as if zeros followed.
constexpr std::size_t kHeaderSize = 100;
constexpr std::size_t kPageSizeOffset = 16;
constexpr std::size_t kWriteVersionOffset = 18;
constexpr std::size_t kReadVersionOffset = 19;
constexpr std::size_t kFormatOffset = 60;
constexpr std::size_t kApplicationOffset = 68;
constexpr char kMagic[] = "SQLite format 3"; // with its NUL
constexpr char kWriteAheadLog = 2;           // as both versions; a database in memory has no log

struct Header {
  std::array<std::uint8_t, kHeaderSize> bytes{};
  std::uint64_t fileSize = 0;

  // Stored in two bytes; 1 means 65536, which they cannot hold.
  std::uint32_t pageSize() const {
    const std::uint32_t size = number(kPageSizeOffset) >> 16;
    return size <= 1 ? 65536 : size;
  }
  std::uint32_t number(std::size_t offset) const {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) {
      value = value << 8 | bytes[offset + i];
    }
    return value;
  }
};

// Through SQLite's own file system: closing a file drops every lock that this process has on it, including those of an
// open store, and only SQLite knows when closing must wait.
Header readHeader(const fs::path& path) {
  if (access(path.c_str(), R_OK) != 0) {
    throw DatabaseError(std::strerror(errno));
  }
  struct CloseFile {
    void operator()(sqlite3_file* file) const { file->pMethods->xClose(file); }
  };
  sqlite3_vfs* const vfs = sqlite3_vfs_find(nullptr);
  std::vector<std::max_align_t> memory(static_cast<std::size_t>(vfs->szOsFile) / sizeof(std::max_align_t) + 1);
  std::string name = path.string();
  name.append(2, '\0'); // an empty list of parameters follows the name
  auto* const opened = reinterpret_cast<sqlite3_file*>(memory.data());
  int flags = SQLITE_OPEN_READONLY | SQLITE_OPEN_MAIN_DB;
  if (vfs->xOpen(vfs, name.c_str(), opened, flags, &flags) != SQLITE_OK) {
    throw DatabaseError("cannot be opened");
  }
  const std::unique_ptr<sqlite3_file, CloseFile> file(opened);
  Header header;
  sqlite3_int64 size = 0;
  file->pMethods->xFileSize(file.get(), &size);
  const int code = file->pMethods->xRead(file.get(), header.bytes.data(), kHeaderSize, 0);
  if (code != SQLITE_OK && code != SQLITE_IOERR_SHORT_READ) {
    throw DatabaseError("cannot be read");
  }
  header.fileSize = static_cast<std::uint64_t>(size);
  return header;
}

struct FreeMemory {
  void operator()(unsigned char* memory) const { sqlite3_free(memory); }
};

void makeTables(const Database& database) {
  execute(database, "BEGIN");
  execute(database, fmt::format("PRAGMA application_id = {}", kApplication).c_str());
  execute(database, fmt::format("PRAGMA user_version = {}", kFormat).c_str());
  for (const SchemaObject& object : kObjects) {
    execute(database, object.sql);
  }
  execute(database, "COMMIT");
}

void fill(const fs::path& path) {
  const Database database = openDatabase(path, Access::create);
  makeTables(database);
  execute(database, "PRAGMA journal_mode = WAL"); // stored in the file from now on
}

} // namespace

fs::path fileOf(const fs::path& path) {
  std::error_code error;
  fs::path located = fs::weakly_canonical(fs::absolute(path, error), error);
  return error ? path : located;
}

fs::path writeAheadLogOf(const fs::path& path) {
  return path.string() + kLogEnding;
}

fs::path sharedMemoryOf(const fs::path& path) {
  return path.string() + kMemoryEnding;
}

std::vector<fs::path> filesOf(const fs::path& path) {
  return {path, path.string() + kJournalEnding, sharedMemoryOf(path), writeAheadLogOf(path)};
}

void createStore(const fs::path& path) {
  requireRoomForStore(path.parent_path());
  // SQLite would take them for the new store's.
  for (const char* const ending : {kJournalEnding, kLogEnding}) {
    if (fs::exists(path.string() + ending)) {
      throw DatabaseError(fmt::format(
          "a store that is gone has left its file with {} at the end of the name: remove that first", ending));
    }
  }
  const control::UnfinishedFolder unfinished(path.parent_path());
  const fs::path file = unfinished.path() / "store";
  fill(file);
  const int result = renameat2(AT_FDCWD, file.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE);
  if (result != 0 && errno != EEXIST) {
    throw DatabaseError(std::strerror(errno));
  }
}

Database createStoreInMemory() {
  Database database = openDatabase({}, Access::memory);
  makeTables(database);
  return database;
}

std::string imageOf(const Database& database) {
  sqlite3_int64 size = 0;
  const std::unique_ptr<unsigned char, FreeMemory> image(sqlite3_serialize(database.get(), "main", &size, 0));
  if (image == nullptr) {
    throw std::bad_alloc();
  }
  std::string file(reinterpret_cast<const char*>(image.get()), static_cast<std::size_t>(size));
  file[kWriteVersionOffset] = file[kReadVersionOffset] = kWriteAheadLog;
  return file;
}

void requireStore(const fs::path& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    throw DatabaseError(std::strerror(errno));
  }
  if (!S_ISREG(status.st_mode)) {
    throw DatabaseError("not a TallyStore (not a regular file)");
  }
  const Header header = readHeader(path);
  if (header.fileSize == 0) {
    throw DatabaseError("not a TallyStore (empty)");
  }
  if (std::memcmp(header.bytes.data(), kMagic, sizeof kMagic) != 0) {
    throw DatabaseError("not a TallyStore (not a database)");
  }
  if (header.fileSize < kHeaderSize || header.fileSize % header.pageSize() != 0) {
    throw DatabaseError(fmt::format("damaged (cut off after {} bytes)", header.fileSize));
  }
  if (header.number(kApplicationOffset) != kApplication) {
    throw DatabaseError("not a TallyStore (another program's database)");
  }
  const std::uint32_t format = header.number(kFormatOffset);
  if (format > kFormat) {
    throw DatabaseError(fmt::format("made by a newer version (format {}; this one knows format {})", format, kFormat));
  }
  if (format < kFormat) {
    throw DatabaseError(fmt::format("damaged (format {})", format));
  }
}

void requireWhole(const Database& database) {
  // A foreign trigger or view would run with our rights. This comes before quick_check, which evaluates what the tables
  // define.
  const Statement objects =
      prepare(database, "SELECT name, sql FROM sqlite_schema WHERE sql IS NOT NULL ORDER BY name");
  for (const SchemaObject& object : kObjects) {
    if (!step(objects) || textOf(objects, 0) != object.name || textOf(objects, 1) != object.sql) {
      throw DatabaseError("damaged (its tables are not those of a TallyStore)");
    }
  }
  if (step(objects)) {
    throw DatabaseError("damaged (it holds more than a TallyStore)");
  }
  const Statement check = prepare(database, "PRAGMA quick_check(1)");
  if (!step(check) || textOf(check, 0) != "ok") {
    std::string finding(textOf(check, 0));
    finding.resize(std::min(finding.find('\n'), finding.size()));
    throw DatabaseError(fmt::format("damaged ({})", finding));
  }
}

} // namespace vel::platform
