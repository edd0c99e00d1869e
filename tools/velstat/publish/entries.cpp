// Reads entries without keeping more than a batch in memory.
#include "velstat/publish/entries.h"

#include <host/model/analytics.h>
#include <velstat/text/error.h>

#include <fmt/format.h>

#include <algorithm>
#include <span>
#include <vector>

namespace vel::stat {

namespace {

constexpr std::uint64_t sizeLimit = std::uint64_t{1} << 30;

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
  copy_.emplace();
  std::vector<std::byte> block(std::size_t{1} << 16);
  while (const std::size_t got = readInput(block)) {
    size_ += got;
    requireNotTooLong();
    copy_->write(std::span(block).first(got));
  }
}

formats::Bytes Entries::next(std::size_t most) {
  formats::Bytes batch(std::min<std::uint64_t>(most * host::entrySize, size_ - taken_));
  for (std::size_t filled = 0; filled < batch.size();) {
    const auto rest = std::span(batch).subspan(filled);
    const std::size_t got = copy_ ? copy_->read(taken_ + filled, rest) : readInput(rest);
    if (got == 0) {
      throw Error(fmt::format("{}: became shorter while it was read", input_.name()));
    }
    filled += got;
  }
  taken_ += batch.size();
  return batch;
}

} // namespace vel::stat
