// Checks before SQLite opens anything: it would open the store for reading only, and leave files behind.
#include "services/tallystore/rights.h"

#include "services/tallystore/database.h"
#include "services/tallystore/schema.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <unistd.h>

namespace vel::platform {
namespace {

namespace fs = std::filesystem;

// The errno of writing to a file, or of creating it if it does not exist; 0 if that would succeed.
int writeFailure(const fs::path& file) {
  if (access(file.c_str(), W_OK) == 0) {
    return 0;
  }
  if (errno == ENOENT && access(file.parent_path().c_str(), W_OK | X_OK) == 0) {
    return 0;
  }
  return errno;
}

int readFailure(const fs::path& file) {
  return access(file.c_str(), R_OK) == 0 ? 0 : errno;
}

bool isLackOfRights(int failure) {
  return failure == EACCES || failure == EPERM || failure == EROFS;
}

} // namespace

void requireRoomForStore(const fs::path& folder) {
  if (access(folder.c_str(), W_OK | X_OK) == 0) {
    return;
  }
  const char* const cause = std::strerror(errno);
  throw DatabaseError(isLackOfRights(errno) ? fmt::format("cannot be made in this folder ({}): name a store in a "
                                                          "folder that you may write to",
                                                          cause)
                                            : std::string(cause));
}

void requireWritable(const fs::path& path) {
  if (const int failure = writeFailure(path); failure != 0) {
    throw DatabaseError(
        fmt::format("cannot be written to ({}): use a store that you may write to", std::strerror(failure)));
  }
  for (const fs::path& companion : {writeAheadLogOf(path), sharedMemoryOf(path)}) {
    if (const int failure = writeFailure(companion); failure != 0) {
      throw DatabaseError(fmt::format(
          "{} next to it cannot be written to ({}): copy the store, and {} if there is one, "
          "to a folder that you may write to, and use the copy",
          companion.filename().string(), std::strerror(failure), writeAheadLogOf(path).filename().string()));
    }
  }
}

void requireReadableLog(const fs::path& path) {
  const fs::path log = writeAheadLogOf(path);
  const fs::path memory = sharedMemoryOf(path);
  if (const int failure = readFailure(log); isLackOfRights(failure)) {
    throw DatabaseError(fmt::format("its latest batches are in {}, which cannot be read ({}): ask its owner for a copy "
                                    "of both files",
                                    log.filename().string(), std::strerror(failure)));
  }
  const int failure = readFailure(memory) == ENOENT ? writeFailure(memory) : readFailure(memory);
  if (isLackOfRights(failure)) {
    throw DatabaseError(fmt::format("its latest batches are in {}, and reading those takes {}, which cannot be used "
                                    "({}): copy the store and {} to a folder that you may write to, and read the copy",
                                    log.filename().string(), memory.filename().string(), std::strerror(failure),
                                    log.filename().string()));
  }
}

} // namespace vel::platform
