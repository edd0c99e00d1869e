// Reads whole files; an error line says why a file cannot be read.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

namespace vel::formats {

// The name of an input in messages: the path, or "standard input" for "-".
std::string inputName(const std::filesystem::path& path);

// The content of a file, or of standard input for "-". Throws Error with the path and the cause, also for more than
// `limit` bytes.
std::string readFile(const std::filesystem::path& path, std::size_t limit);
// The same for a path that was not named by the user, such as one found in a folder: pipes and devices are refused.
std::string readRegularFile(const std::filesystem::path& path, std::size_t limit);

} // namespace vel::formats
