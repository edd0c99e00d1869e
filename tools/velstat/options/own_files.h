// Checks that a command does not write a file that it also reads.
#pragma once

#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vel::stat {

struct ReadFile {
  std::filesystem::path path; // "-" is standard input; empty: no file
  std::string_view what;      // in an error line: "the entries"
};

struct WrittenFile {
  std::filesystem::path path; // empty: no file
  std::string_view what;
  std::string_view option; // the option that names the file
};

// The inputs and, for folders, the files in them: none of these may be overwritten.
std::vector<ReadFile> filesOf(const std::vector<std::string>& inputs);

// Throws Error if a file would be both read and written, or written for two options. Two paths name the same file if
// they lead to the same device and inode or, for a file that does not exist, to the same name in the same folder.
void requireOwnFiles(std::span<const WrittenFile> written, std::span<const ReadFile> read);

} // namespace vel::stat
