// Reads entries without keeping more than a batch in memory.
#include "velstat/publish/entries.h"

#include <host/model/analytics.h>
#include <velstat/text/error.h>

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <span>
#include <unistd.h>
#include <vector>

namespace vel::stat {

namespace {

constexpr std::uint64_t sizeLimit = std::uint64_t{1} << 30;

// Has no name, so that it is gone however the process ends.
std::FILE* makeTemporaryFile() {
  const char* const chosen = std::getenv("TMPDIR");
  const std::filesystem::path folder(chosen == nullptr || *chosen == '\0' ? "/tmp" : chosen);
  std::string name = (folder / "velstat.XXXXXX").string();
  const int descriptor = mkostemp(name.data(), O_CLOEXEC);
  if (descriptor >= 0) {
    unlink(name.c_str());
  }
  std::FILE* const file = descriptor >= 0 ? fdopen(descriptor, "w+b") : nullptr;
  if (file == nullptr) {
    throw Error(fmt::format("{}: {}", folder.string(), std::strerror(errno)));
  }
  return file;
}

void requireDone(bool done) {
  if (!done) {
    throw Error(fmt::format("temporary file: {}", std::strerror(errno)));
  }
}

} // namespace

Entries::Entries(const std::string& path) : complaints_([](std::string_view line) { throw Error(std::string(line)); }) {
  input_.open(path);
  complaints_.flush();
  if (const auto size = input_.regularSize()) {
    size_ = *size;
    requireNotTooLong();
  } else {
    copyInput();
  }
  if (const std::uint64_t rest = size_ % host::entrySize; rest != 0) {
    throw Error(fmt::format("{}: offset {}: an entry of {} of its {} bytes; the file has {} bytes", input_.name(),
                            size_ - rest, rest, host::entrySize, size_));
  }
}

void Entries::requireNotTooLong() const {
  if (size_ > sizeLimit) {
    throw Error(fmt::format("{}: longer than the {} bytes that are allowed", input_.name(), sizeLimit));
  }
}

std::size_t Entries::readInput(std::span<std::byte> out) {
  const std::size_t got = input_.read(reinterpret_cast<unsigned char*>(out.data()), out.size());
  complaints_.flush();
  return got;
}

void Entries::copyInput() {
  copy_.reset(makeTemporaryFile());
  std::vector<std::byte> block(std::size_t{1} << 16);
  while (const std::size_t got = readInput(block)) {
    size_ += got;
    requireNotTooLong();
    requireDone(std::fwrite(block.data(), 1, got, copy_.get()) == got);
  }
  requireDone(std::fflush(copy_.get()) == 0);
  std::rewind(copy_.get());
}

formats::Bytes Entries::next(std::size_t most) {
  formats::Bytes batch(std::min<std::uint64_t>(most * host::entrySize, size_ - taken_));
  for (std::size_t filled = 0; filled < batch.size();) {
    const auto rest = std::span(batch).subspan(filled);
    const std::size_t got = copy_ ? std::fread(rest.data(), 1, rest.size(), copy_.get()) : readInput(rest);
    requireDone(got != 0);
    filled += got;
  }
  taken_ += batch.size();
  return batch;
}

} // namespace vel::stat
