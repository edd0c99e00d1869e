// Who owns a folder, who may do what in it, and what else is noted of it.
#pragma once

#include <filesystem>

namespace vel::stat {

// Gives folder `to` owner, group, permissions and extended attributes (access control lists are some) of folder `from`,
// but leaves its owner the right to everything. Throws Error, naming `from`.
void takeAttributes(const std::filesystem::path& from, const std::filesystem::path& to);

} // namespace vel::stat
