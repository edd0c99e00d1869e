// Hand-made binary property lists, including malformed ones.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vel::tests {

inline std::string bigEndianText(std::uint64_t value, std::size_t width) {
  std::string text(width, '\0');
  for (std::size_t i = width; i-- > 0; value >>= 8) {
    text[i] = static_cast<char>(value & 0xFF);
  }
  return text;
}

struct BinaryList {
  std::vector<std::string> objects; // the bytes of each, from offset 8 on; the first is the top one
  std::uint8_t offsetWidth = 1;
  std::uint8_t referenceWidth = 1;
  std::uint64_t top = 0;
  // What the trailer and the table say when it is not the truth.
  std::optional<std::uint64_t> count;
  std::optional<std::uint64_t> tableOffset;
  std::vector<std::uint64_t> offsets;

  std::string bytes() const {
    std::string out = "bplist00";
    std::vector<std::uint64_t> places;
    for (const std::string& object : objects) {
      places.push_back(out.size());
      out += object;
    }
    const std::uint64_t table = out.size();
    for (const std::uint64_t place : offsets.empty() ? places : offsets) {
      out += bigEndianText(place, offsetWidth);
    }
    out += std::string(6, '\0') + static_cast<char>(offsetWidth) + static_cast<char>(referenceWidth);
    out += bigEndianText(count.value_or(objects.size()), 8) + bigEndianText(top, 8);
    return out + bigEndianText(tableOffset.value_or(table), 8);
  }
};

} // namespace vel::tests
