// Writes a temporary file, then renames it.
#include "formats/new_file.h"

#include <formats/error.h>

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace vel::formats {

namespace {

[[noreturn]] void fail(const std::filesystem::path& file) {
  throw Error(fmt::format("{}: {}", file.string(), std::strerror(errno)));
}

} // namespace

NewFile::NewFile(std::filesystem::path file) : file_(std::move(file)), path_(file_.string() + ".XXXXXX") {
  struct stat status {};
  if (stat(file_.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
    throw Error(fmt::format("{}: not a regular file", file_.string()));
  }
  descriptor_ = mkostemp(path_.data(), O_CLOEXEC);
  if (descriptor_ < 0) {
    fail(file_);
  }
  const mode_t mask = umask(0); // mkostemp lets only this user read the file
  umask(mask);
  fchmod(descriptor_, 0666 & ~mask);
}

NewFile::~NewFile() {
  if (descriptor_ >= 0) {
    close(descriptor_);
  }
  if (!kept_) {
    unlink(path_.c_str());
  }
}

void NewFile::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      fail(file_);
    }
  }
}

void NewFile::keep() {
  const int descriptor = std::exchange(descriptor_, -1);
  if (close(descriptor) != 0 || std::rename(path_.c_str(), file_.c_str()) != 0) {
    fail(file_);
  }
  kept_ = true;
}

} // namespace vel::formats
