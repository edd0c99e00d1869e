// Raw records and files of them for tests.
#pragma once

#include <sources/record.h>
#include <sources/record_source.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

namespace vel::sources {

using Bytes = std::vector<unsigned char>;

struct Ids {
  unsigned category = 0;
  unsigned component = 0;
  unsigned event = 0;
  unsigned type = 3;
};

inline void storeNumber(unsigned char* at, unsigned size, std::uint64_t value) {
  for (unsigned i = 0; i < size; ++i) {
    at[i] = static_cast<unsigned char>(value >> (8 * i));
  }
}

// The payload's bytes are such that no piece of it passes for a record.
inline Bytes record(std::uint32_t sequence, const Ids& ids = {}, std::uint64_t time = 0) {
  Bytes bytes(recordSize, 0xEE);
  bytes[0] = static_cast<unsigned char>(ids.type);
  bytes[1] = static_cast<unsigned char>(ids.event);
  bytes[2] = static_cast<unsigned char>(ids.component);
  bytes[3] = static_cast<unsigned char>(ids.category);
  storeNumber(&bytes[4], 4, sequence);
  storeNumber(&bytes[8], 8, time);
  return bytes;
}

inline void append(Bytes& bytes, const Bytes& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

// Records with these sequence numbers.
inline Bytes records(const std::vector<std::uint32_t>& sequence) {
  Bytes bytes;
  for (const std::uint32_t number : sequence) {
    append(bytes, record(number));
  }
  return bytes;
}

inline Bytes records(std::uint32_t first, std::uint32_t count) {
  Bytes bytes;
  for (std::uint32_t i = 0; i < count; ++i) {
    append(bytes, record(first + i));
  }
  return bytes;
}

// Gone with the object.
class TemporaryFile {
public:
  explicit TemporaryFile(const Bytes& content) {
    const char* const folder = std::getenv("TMPDIR");
    path_ = std::string(folder != nullptr ? folder : "/tmp") + "/velstat-test-XXXXXX";
    const int descriptor = mkstemp(path_.data());
    std::FILE* const file = descriptor < 0 ? nullptr : fdopen(descriptor, "wb");
    if (file == nullptr || std::fwrite(content.data(), 1, content.size(), file) != content.size() ||
        std::fclose(file) != 0) {
      std::abort();
    }
  }
  ~TemporaryFile() { unlink(path_.c_str()); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::string& path() const { return path_; }

private:
  std::string path_;
};

// What a source makes of files, a few records at a time.
struct SourceResult {
  Bytes records;
  std::vector<std::string> complaints; // with "FILE" for the path of the first file

  std::vector<std::uint32_t> sequence() const {
    std::vector<std::uint32_t> numbers;
    for (std::size_t at = 0; at < records.size(); at += recordSize) {
      numbers.push_back(records[at + 4] | records[at + 5] << 8 | records[at + 6] << 16 |
                        std::uint32_t{records[at + 7]} << 24);
    }
    return numbers;
  }
};

SourceResult readAll(const Bytes& file, bool recovers, std::size_t recordsAtOnce = 3);

} // namespace vel::sources
