// The id of a capture: a digest of its content, so that the same capture has the same id wherever it is stored.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace vel::fleet {

// SipHash-2-4 with a key of zeros, which is the sipHash64 of ClickHouse. [one thread at a time]
class SipHash {
public:
  void add(std::string_view bytes) noexcept;
  // The hash of what has been added.
  std::uint64_t value() const noexcept;

private:
  void round() noexcept;
  void take(std::uint64_t word) noexcept;

  std::uint64_t v_[4] = {0x736f6d6570736575, 0x646f72616e646f6d, 0x6c7967656e657261, 0x7465646279746573};
  std::uint64_t length_ = 0;
  unsigned char rest_[8] = {}; // the first length_ % 8 bytes of the next word
};

std::uint64_t sipHash(std::string_view bytes) noexcept;

struct Content {
  std::string id;         // 16 hexadecimal digits
  std::uint64_t size = 0; // in bytes
};

// The id and size of a regular file, or of a folder's regular files and their names. Throws Error for input that cannot
// be read, and for pipes and devices, which cannot be read a second time.
Content contentOf(const std::filesystem::path& path);

} // namespace vel::fleet
