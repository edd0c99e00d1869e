// What makes a file a TallyStore, and which files are refused. docs/tally-store.md describes the tables.
#pragma once

#include "services/tallystore/database.h"

#include <string>
#include <vector>

namespace vel::platform {

// The file's path with all links resolved: its companions are next to the file itself.
std::filesystem::path fileOf(const std::filesystem::path& path);
// SQLite's write-ahead log: what was written and is not in the file yet.
std::filesystem::path writeAheadLogOf(const std::filesystem::path& path);
// The index to that log, which every process that uses the store has mapped.
std::filesystem::path sharedMemoryOf(const std::filesystem::path& path);
// The file and all that SQLite may put next to it while it is in use.
std::vector<std::filesystem::path> filesOf(const std::filesystem::path& path);

// Makes a store without keys. It appears whole. If another process makes one in the meantime, that one stays.
void createStore(const std::filesystem::path& path);
Database createStoreInMemory();
// The content of a store file with the data of a database in memory.
std::string imageOf(const Database& database);

// Throws DatabaseError unless the file is a store of this version. Reads only the header and opens no database, so that
// no file appears next to a foreign one.
void requireStore(const std::filesystem::path& path);
// Refuses a store that is damaged, or holds anything but our tables.
void requireWhole(const Database& database);

} // namespace vel::platform
