// Reads with stdio, up to a limit, so that a file that grows cannot exhaust memory.
#include "formats/files.h"

#include <formats/error.h>

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sys/stat.h>

namespace vel::formats {

namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

} // namespace

std::string inputName(const std::filesystem::path& path) {
  return path == "-" ? "standard input" : path.string();
}

std::string readFile(const std::filesystem::path& path, std::size_t limit) {
  const bool standardInput = path == "-";
  const std::string name = inputName(path);
  const std::unique_ptr<std::FILE, CloseFile> file(standardInput ? nullptr : std::fopen(path.c_str(), "rbe"));
  if (!standardInput && file == nullptr) {
    throw Error(fmt::format("{}: {}", name, std::strerror(errno)));
  }
  std::FILE* const from = standardInput ? stdin : file.get();

  const auto refuseLonger = [&](std::size_t size) {
    if (size > limit) {
      throw Error(fmt::format("{}: longer than the {} bytes that are allowed", name, limit));
    }
  };
  std::string content;
  // Known before of a regular file. It may still change, so the size is no more than a hint.
  struct stat status {};
  if (!standardInput && fstat(fileno(from), &status) == 0 && S_ISREG(status.st_mode)) {
    refuseLonger(static_cast<std::size_t>(status.st_size));
    content.reserve(static_cast<std::size_t>(status.st_size));
  }
  std::size_t read = 0;
  char block[16384];
  while ((read = std::fread(block, 1, sizeof block, from)) > 0) {
    content.append(block, read);
    refuseLonger(content.size());
  }
  if (std::ferror(from) != 0) {
    throw Error(fmt::format("{}: {}", name, std::strerror(errno)));
  }
  return content;
}

} // namespace vel::formats
