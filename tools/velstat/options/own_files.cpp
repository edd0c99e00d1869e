// Compares the files that paths lead to, not the paths.
#include "velstat/options/own_files.h"

#include <velstat/text/error.h>

#include <fmt/format.h>

#include <cerrno>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace vel::stat {

namespace {

namespace fs = std::filesystem;

// The identity of the file that a path names.
struct Identity {
  dev_t device = 0;
  ino_t inode = 0;
  std::string name; // of a file that does not exist; the numbers are those of its folder

  bool operator==(const Identity&) const = default;
};

// Writing to a terminal or to /dev/null replaces nothing.
std::optional<Identity> identityOf(const struct stat& status) {
  return S_ISCHR(status.st_mode) ? std::nullopt : std::optional(Identity{status.st_dev, status.st_ino, {}});
}

// Also nullopt for a path that cannot be opened: opening it later reports the cause.
std::optional<Identity> identityOf(fs::path path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) == 0) {
    return identityOf(status);
  }
  if (errno != ENOENT || !path.has_filename()) {
    return std::nullopt;
  }
  // Opening a link to a file that does not exist creates that file.
  constexpr int mostLinks = 40; // the kernel's limit
  for (int links = 0; links < mostLinks; ++links) {
    std::error_code error;
    const fs::path target = fs::read_symlink(path, error);
    if (error) {
      break;
    }
    path = path.parent_path() / target;
  }
  const fs::path folder = path.has_parent_path() ? path.parent_path() : fs::path(".");
  if (::stat(folder.c_str(), &status) != 0) {
    return std::nullopt;
  }
  return Identity{status.st_dev, status.st_ino, path.filename().string()};
}

std::optional<Identity> identityOfInput(const fs::path& path) {
  if (path == "-") {
    struct stat status {};
    return fstat(STDIN_FILENO, &status) == 0 ? identityOf(status) : std::nullopt;
  }
  return identityOf(path);
}

void requireOther(const WrittenFile& file, const std::optional<Identity>& other, std::string_view what) {
  if (const auto identity = identityOf(file.path); identity && identity == other) {
    throw Error(fmt::format("{}: is {}, which {} would overwrite", file.path.string(), what, file.option));
  }
}

} // namespace

std::vector<ReadFile> filesOf(const std::vector<std::string>& inputs) {
  std::vector<ReadFile> files;
  for (const std::string& input : inputs) {
    files.push_back({input, "an input"});
    std::error_code error; // what cannot be read is reported when it is read
    for (const auto& entry : fs::recursive_directory_iterator(input, error)) {
      files.push_back({entry.path(), "an input"});
    }
  }
  return files;
}

void requireOwnFiles(std::span<const WrittenFile> written, std::span<const ReadFile> read) {
  for (; !written.empty(); written = written.subspan(1)) {
    const WrittenFile& file = written.front();
    for (const WrittenFile& other : written.subspan(1)) {
      requireOther(file, identityOf(other.path), other.what);
    }
    for (const ReadFile& other : read) {
      requireOther(file, identityOfInput(other.path), other.what);
    }
  }
}

} // namespace vel::stat
