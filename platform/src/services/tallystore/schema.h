// What makes a file a TallyStore, and which files are refused. docs/tally-store.md describes the tables.
#pragma once

#include "services/tallystore/database.h"

namespace vel::platform {

// The file itself, without links on the way: SQLite follows none, and puts its companions beside the file.
std::filesystem::path fileOf(const std::filesystem::path& path);
// What SQLite puts beside the file while it is in use: what was written and is not in the file yet.
std::filesystem::path writeAheadLogOf(const std::filesystem::path& path);

// Makes a store without keys. It appears whole; one that another process makes in the meantime is left alone.
void createStore(const std::filesystem::path& path);

// Refuses, with a DatabaseError, what is no store of this version. Looks at the header alone and opens no database, so
// that nothing appears beside a foreign file.
void requireStore(const std::filesystem::path& path);
// Refuses a store that is damaged, or holds anything but our tables.
void requireWhole(const Database& database);

} // namespace vel::platform
