// Whether this user may use a store where it is, and what to do if not: SQLite says only that a file cannot be opened.
#pragma once

#include <filesystem>

namespace vel::platform {

// Each throws DatabaseError with the cause and what to do. The path is the file's own, without links on the way.

// A new store is made in this folder.
void requireRoomForStore(const std::filesystem::path& folder);
// A writer needs the store and the files that SQLite puts next to it.
void requireWritable(const std::filesystem::path& path);
// A reader of a store that is in use, or was not closed, needs the batches that are not in the file yet.
void requireReadableLog(const std::filesystem::path& path);

} // namespace vel::platform
