// Where the plug-in is that came with this command.
#pragma once

#include <filesystem>

namespace vel::stat {

// The bundle beside the running executable, in a build tree or installed. Throws host::Error with the places that were
// tried.
std::filesystem::path findDefaultBundle();

} // namespace vel::stat
