// What makes a file a TallyStore, and which files are refused. docs/tally-store.md describes the tables.
#pragma once

#include "services/tallystore/database.h"

#include <string>
#include <vector>

namespace vel::platform {

// The file itself, without links on the way: SQLite follows none, and puts its companions next to the file.
std::filesystem::path fileOf(const std::filesystem::path& path);
// Where SQLite puts what was written and is not in the file yet.
std::filesystem::path writeAheadLogOf(const std::filesystem::path& path);
// Where it puts the index to that, which all who use the store have mapped.
std::filesystem::path sharedMemoryOf(const std::filesystem::path& path);
// The file and all that SQLite may put next to it while it is in use.
std::vector<std::filesystem::path> filesOf(const std::filesystem::path& path);

// Makes a store without keys. It appears whole; one that another process makes in the meantime stays untouched.
void createStore(const std::filesystem::path& path);
Database createStoreInMemory();
// The content of a store's file that holds what a database in memory does.
std::string imageOf(const Database& database);

// Throws DatabaseError unless the file is a store of this version. Reads only the header and opens no database, so that
// no file appears next to a foreign one.
void requireStore(const std::filesystem::path& path);
// Refuses a store that is damaged, or holds anything but our tables.
void requireWhole(const Database& database);

} // namespace vel::platform
