// A store's rows, for one look.
#pragma once

#include "services/tallystore/rows.h"
#include <control/tally.h>

#include <filesystem>
#include <vector>

namespace vel::platform {

// Each throws DatabaseError for anything but a whole store, and says what to do if this user may not read it.

// By key, the scalar before the distribution. Both functions refuse more keys than any plug-in has.
std::vector<control::TallyRow> readStore(const std::filesystem::path& path);
std::vector<control::TallyRow> collect(const Rows& rows);
// Reads all of it before it is written to, and keeps nothing. Refuses a store in which a count cannot grow.
void checkStore(const std::filesystem::path& path);

} // namespace vel::platform
