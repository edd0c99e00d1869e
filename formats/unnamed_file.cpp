// A file that is unlinked as soon as it is made.
#include "formats/unnamed_file.h"

#include <formats/error.h>

#include <fmt/format.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <utility>

namespace vel::formats {

namespace {

[[noreturn]] void fail(const char* what) {
  throw Error(fmt::format("{}: {}", what, std::strerror(errno)));
}

} // namespace

UnnamedFile::UnnamedFile() {
  const char* const chosen = std::getenv("TMPDIR");
  const std::filesystem::path folder(chosen == nullptr || *chosen == '\0' ? "/tmp" : chosen);
  std::string name = (folder / "velstat.XXXXXX").string();
  descriptor_ = mkostemp(name.data(), O_CLOEXEC);
  if (descriptor_ < 0) {
    fail(folder.c_str());
  }
  unlink(name.c_str());
}

UnnamedFile::~UnnamedFile() {
  if (descriptor_ >= 0) {
    close(descriptor_);
  }
}

UnnamedFile::UnnamedFile(UnnamedFile&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

void UnnamedFile::write(std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) {
      fail("temporary file");
    }
    bytes = bytes.subspan(static_cast<std::size_t>(written < 0 ? 0 : written));
  }
}

std::size_t UnnamedFile::read(std::size_t from, std::span<std::byte> out) const {
  std::size_t got = 0;
  while (got < out.size()) {
    const ssize_t taken = pread(descriptor_, out.data() + got, out.size() - got, static_cast<off_t>(from + got));
    if (taken < 0 && errno != EINTR) {
      fail("temporary file");
    }
    if (taken == 0) {
      break;
    }
    got += static_cast<std::size_t>(taken < 0 ? 0 : taken);
  }
  return got;
}

} // namespace vel::formats
