// SipHash, and the digest of a file or folder, which is read in large blocks.
#include "fleet/content_id.h"

#include <fleet/error.h>
#include <formats/descriptor.h>

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace vel::fleet {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t wordSize = 8;

std::uint64_t wordAt(const char* bytes) noexcept {
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, wordSize);
  if constexpr (std::endian::native == std::endian::big) {
    word = __builtin_bswap64(word);
  }
  return word;
}

void addNumber(SipHash& hash, std::uint64_t number) {
  char bytes[wordSize];
  for (std::size_t i = 0; i < wordSize; ++i) {
    bytes[i] = static_cast<char>(number >> (8 * i));
  }
  hash.add({bytes, sizeof bytes});
}

[[noreturn]] void fail(const fs::path& path) {
  throw Error(fmt::format("{}: {}", path.string(), std::generic_category().message(errno)));
}

// Adds the content and then its size; returns the size.
std::uint64_t addFile(SipHash& hash, const fs::path& path) {
  const formats::Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (file.number() < 0 || fstat(file.number(), &status) != 0) {
    fail(path);
  }
  if (!S_ISREG(status.st_mode)) {
    throw Error(fmt::format("{}: neither a file nor a folder: save it to a file, as a load reads its inputs twice",
                            path.string()));
  }
  constexpr std::size_t blockSize = std::size_t{1} << 18;
  const auto block = std::make_unique_for_overwrite<char[]>(blockSize);
  std::uint64_t size = 0;
  for (;;) {
    const ssize_t got = read(file.number(), block.get(), blockSize);
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got < 0) {
      fail(path);
    }
    if (got == 0) {
      break;
    }
    hash.add({block.get(), static_cast<std::size_t>(got)});
    size += static_cast<std::uint64_t>(got);
  }
  addNumber(hash, size);
  return size;
}

std::vector<fs::path> filesIn(const fs::path& folder) {
  std::vector<fs::path> files;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    std::error_code ignored; // an entry may have been removed meanwhile
    if (entry->is_regular_file(ignored)) {
      files.push_back(entry->path());
    }
  }
  if (error) {
    throw Error(fmt::format("{}: {}", folder.string(), error.message()));
  }
  std::sort(files.begin(), files.end());
  return files;
}

} // namespace

void SipHash::round() noexcept {
  v_[0] += v_[1];
  v_[1] = std::rotl(v_[1], 13) ^ v_[0];
  v_[0] = std::rotl(v_[0], 32);
  v_[2] += v_[3];
  v_[3] = std::rotl(v_[3], 16) ^ v_[2];
  v_[0] += v_[3];
  v_[3] = std::rotl(v_[3], 21) ^ v_[0];
  v_[2] += v_[1];
  v_[1] = std::rotl(v_[1], 17) ^ v_[2];
  v_[2] = std::rotl(v_[2], 32);
}

void SipHash::take(std::uint64_t word) noexcept {
  v_[3] ^= word;
  round();
  round();
  v_[0] ^= word;
}

void SipHash::add(std::string_view bytes) noexcept {
  const std::size_t begun = length_ % wordSize;
  length_ += bytes.size();
  if (begun != 0) {
    const std::size_t missing = std::min(wordSize - begun, bytes.size());
    std::memcpy(rest_ + begun, bytes.data(), missing);
    bytes.remove_prefix(missing);
    if (begun + missing < wordSize) {
      return;
    }
    take(wordAt(reinterpret_cast<const char*>(rest_)));
  }
  for (; bytes.size() >= wordSize; bytes.remove_prefix(wordSize)) {
    take(wordAt(bytes.data()));
  }
  if (!bytes.empty()) {
    std::memcpy(rest_, bytes.data(), bytes.size());
  }
}

std::uint64_t SipHash::value() const noexcept {
  SipHash end = *this;
  std::uint64_t last = length_ << 56;
  for (std::size_t i = 0; i < length_ % wordSize; ++i) {
    last |= std::uint64_t{rest_[i]} << (8 * i);
  }
  end.take(last);
  end.v_[2] ^= 0xff;
  for (int i = 0; i < 4; ++i) {
    end.round();
  }
  return end.v_[0] ^ end.v_[1] ^ end.v_[2] ^ end.v_[3];
}

std::uint64_t sipHash(std::string_view bytes) noexcept {
  SipHash hash;
  hash.add(bytes);
  return hash.value();
}

Content contentOf(const fs::path& path) {
  SipHash hash;
  Content content;
  std::error_code error;
  if (fs::is_directory(path, error)) {
    for (const fs::path& file : filesIn(path)) {
      const std::string name = file.filename().string();
      addNumber(hash, name.size());
      hash.add(name);
      content.size += addFile(hash, file);
    }
  } else {
    content.size = addFile(hash, path);
  }
  content.id = fmt::format("{:016x}", hash.value());
  return content;
}

} // namespace vel::fleet
