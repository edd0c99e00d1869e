// A store's rows, for one look.
#pragma once

#include <control/tally.h>

#include <filesystem>
#include <vector>

namespace vel::platform {

// Both throw DatabaseError for anything but a whole store, and say what to do if this user may not read it.

// By key, the scalar before the distribution. Refuses more keys than any plug-in has.
std::vector<control::TallyRow> readStore(const std::filesystem::path& path);
// Reads all of it before it is written to, and keeps nothing. Refuses a store in which a count cannot grow.
void checkStore(const std::filesystem::path& path);

} // namespace vel::platform
