// Whole files, read for people who want to know why one could not be.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

namespace vel::formats {

// As people know an input: the path, or "standard input" for "-".
std::string inputName(const std::filesystem::path& path);

// The content of a file, or of the standard input for "-". Throws Error with the path and the cause; a file of more
// than `limit` bytes is refused.
std::string readFile(const std::filesystem::path& path, std::size_t limit);

} // namespace vel::formats
