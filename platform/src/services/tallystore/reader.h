// Reads all rows of a store once, or only checks them.
#pragma once

#include "services/tallystore/rows.h"
#include <control/tally.h>

#include <filesystem>
#include <vector>

namespace vel::platform {

// Each throws DatabaseError for anything but a whole store, and says what to do if this user may not read it.

// The rows in the order of their keys, a scalar before a distribution of the same key. Both functions refuse more keys
// than any plug-in has.
std::vector<control::TallyRow> readStore(const std::filesystem::path& path);
std::vector<control::TallyRow> collect(const Rows& rows);
// Checks all rows of a store before it is written to. Refuses a store in which a count cannot grow.
void checkStore(const std::filesystem::path& path);

} // namespace vel::platform
