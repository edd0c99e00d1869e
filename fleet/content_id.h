// The id of a capture: a digest of its content, so that the same capture has the same id wherever it lies.
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
  // Of what has been added.
  std::uint64_t value() const noexcept;

private:
  void round() noexcept;
  void take(std::uint64_t word) noexcept;

  std::uint64_t v_[4] = {0x736f6d6570736575, 0x646f72616e646f6d, 0x6c7967656e657261, 0x7465646279746573};
  std::uint64_t length_ = 0;
  unsigned char rest_[8] = {}; // of the last word, length_ % 8 bytes
};

std::uint64_t sipHash(std::string_view bytes) noexcept;

struct Content {
  std::string id;         // 16 hexadecimal digits
  std::uint64_t size = 0; // in bytes
};

// Of a regular file, or of a folder's regular files with their names. Throws Error for what cannot be read, and for
// pipes and devices, which could not be read a second time.
Content contentOf(const std::filesystem::path& path);

} // namespace vel::fleet
