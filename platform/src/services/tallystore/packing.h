// Packs numbers into a column of bytes, small counts into few, and unpacks them without trusting the bytes.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace vel::platform {

class Packer {
public:
  void number(double value) { fixed(std::bit_cast<std::uint64_t>(value)); }
  // Seven bits per byte, the low ones first; all but the last byte have their high bit set.
  void count(std::uint64_t value) {
    for (; value >= 0x80; value >>= 7) {
      bytes_ += static_cast<char>(0x80 | (value & 0x7F));
    }
    bytes_ += static_cast<char>(value);
  }
  const std::string& bytes() const { return bytes_; }

private:
  void fixed(std::uint64_t value) {
    for (int i = 0; i < 8; ++i, value >>= 8) {
      bytes_ += static_cast<char>(value & 0xFF);
    }
  }

  std::string bytes_;
};

// Thrown for bytes that no Packer wrote.
class Unpackable : public std::runtime_error {
public:
  explicit Unpackable(const char* cause = "its samples cannot be read") : std::runtime_error(cause) {}
};

class Unpacker {
public:
  explicit Unpacker(std::string_view bytes) : rest_(bytes) {}

  double number() {
    std::uint64_t value = 0;
    for (int i = 0; i < 8; ++i) {
      value |= std::uint64_t{byte()} << (8 * i);
    }
    return std::bit_cast<double>(value);
  }
  std::uint64_t count() {
    std::uint64_t value = 0;
    for (int shift = 0; shift < 63; shift += 7) {
      const std::uint8_t next = byte();
      value |= std::uint64_t{next & 0x7FU} << shift;
      if (next < 0x80) {
        return value;
      }
    }
    throw Unpackable();
  }
  std::size_t left() const { return rest_.size(); }

private:
  std::uint8_t byte() {
    if (rest_.empty()) {
      throw Unpackable();
    }
    const auto value = static_cast<std::uint8_t>(rest_.front());
    rest_.remove_prefix(1);
    return value;
  }

  std::string_view rest_;
};

} // namespace vel::platform
