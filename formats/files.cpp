// Reads with stdio, up to a limit, so that a file that grows cannot exhaust memory.
#include "formats/files.h"

#include <formats/error.h>

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

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

  std::string content;
  std::size_t read = 0;
  char block[16384];
  while ((read = std::fread(block, 1, sizeof block, from)) > 0) {
    content.append(block, read);
    if (content.size() > limit) {
      throw Error(fmt::format("{}: longer than the {} bytes that are allowed", name, limit));
    }
  }
  if (std::ferror(from) != 0) {
    throw Error(fmt::format("{}: {}", name, std::strerror(errno)));
  }
  return content;
}

} // namespace vel::formats
