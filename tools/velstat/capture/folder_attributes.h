// The owner, permissions and extended attributes of a folder.
#pragma once

#include <filesystem>

namespace vel::stat {

// Gives folder `to` the owner, group, permissions and extended attributes (which include access control lists) of
// folder `from`, except that the owner of `to` keeps all rights. Throws Error, naming `from`.
void takeAttributes(const std::filesystem::path& from, const std::filesystem::path& to);

} // namespace vel::stat
