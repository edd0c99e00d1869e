// Keeps the files that a command writes apart from those that it reads.
#pragma once

#include <filesystem>
#include <span>
#include <string_view>

namespace vel::stat {

struct ReadFile {
  std::filesystem::path path; // "-" is the standard input; an empty path is no file
  std::string_view what;      // in an error line: "the entries"
};

struct WrittenFile {
  std::filesystem::path path; // an empty path is no file
  std::string_view what;
  std::string_view option; // that has the file written
};

// Refuses a file that is to be written and is also read, or written for another option. Two paths name the same file
// when they lead to the same device and inode, or, while it does not exist, to the same name in the same folder.
// Throws Error.
void requireOwnFiles(std::span<const WrittenFile> written, std::span<const ReadFile> read);

} // namespace vel::stat
