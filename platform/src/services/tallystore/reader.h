// A store's rows, for one look.
#pragma once

#include <control/tally.h>

#include <filesystem>
#include <vector>

namespace vel::platform {

// Refuses what is no whole store with a DatabaseError.
std::vector<control::TallyRow> readStore(const std::filesystem::path& path);

} // namespace vel::platform
