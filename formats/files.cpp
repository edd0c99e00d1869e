// Reads files up to a size limit, so that a growing file cannot exhaust memory.
#include "formats/files.h"

#include <formats/descriptor.h>
#include <formats/error.h>

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vel::formats {

namespace {

void require(bool done, const std::string& name) {
  if (!done) {
    throw Error(fmt::format("{}: {}", name, std::strerror(errno)));
  }
}

void requireRegular(const struct stat& status, const std::string& name) {
  if (!S_ISREG(status.st_mode)) {
    throw Error(fmt::format("{}: not a regular file", name));
  }
}

// Like read(2), but waits even if the descriptor is non-blocking.
ssize_t readSome(int descriptor, char* out, std::size_t size) {
  for (;;) {
    const ssize_t got = read(descriptor, out, size);
    if (got >= 0 || (errno != EAGAIN && errno != EINTR)) {
      return got;
    }
    if (errno == EAGAIN) {
      pollfd waiting = {descriptor, POLLIN, 0};
      poll(&waiting, 1, -1);
    }
  }
}

std::string readAll(int descriptor, const std::string& name, std::size_t limit) {
  const auto refuseLonger = [&](std::size_t size) {
    if (size > limit) {
      throw Error(fmt::format("{}: longer than the {} bytes that are allowed", name, limit));
    }
  };
  std::string content;
  // The size of a regular file is only a hint: the file may change while it is read.
  struct stat status {};
  if (descriptor != STDIN_FILENO && fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
    refuseLonger(static_cast<std::size_t>(status.st_size));
    content.reserve(static_cast<std::size_t>(status.st_size));
  }
  char block[16384];
  ssize_t got = 0;
  while ((got = readSome(descriptor, block, sizeof block)) > 0) {
    content.append(block, static_cast<std::size_t>(got));
    refuseLonger(content.size());
  }
  require(got == 0, name);
  return content;
}

} // namespace

std::string inputName(const std::filesystem::path& path) {
  return path == "-" ? "standard input" : path.string();
}

std::string readFile(const std::filesystem::path& path, std::size_t limit) {
  const bool standardInput = path == "-";
  const std::string name = inputName(path);
  const Descriptor file(standardInput ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC));
  require(file.number() >= 0, name);
  return readAll(file.number(), name, limit);
}

// Opening a pipe blocks, and opening a device may have side effects, so neither is opened. O_NONBLOCK keeps open() from
// blocking if the file becomes a pipe after the first check.
std::string readRegularFile(const std::filesystem::path& path, std::size_t limit) {
  const std::string name = inputName(path);
  struct stat status {};
  require(stat(path.c_str(), &status) == 0, name);
  requireRegular(status, name);
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  require(file.number() >= 0 && fstat(file.number(), &status) == 0, name);
  requireRegular(status, name);
  return readAll(file.number(), name, limit);
}

} // namespace vel::formats
