// Reads RowBinary, value by value. The bytes come from servers and files, and are not trusted.
#pragma once

#include <fleet/error.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vel::fleet {

// Throws Error for bytes that end too early. [borrowed: the bytes]
class RowReader {
public:
  explicit RowReader(std::string_view rows) : rows_(rows) {}

  bool atEnd() const { return rows_.empty(); }

  template <std::unsigned_integral Number>
  Number number() {
    const std::string_view bytes = take(sizeof(Number));
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      value |= std::uint64_t{static_cast<unsigned char>(bytes[i])} << (8 * i);
    }
    return static_cast<Number>(value);
  }

  std::string_view string() {
    constexpr unsigned longestLength = 63; // bits
    std::uint64_t length = 0;
    for (unsigned shift = 0;; shift += 7) {
      const auto byte = static_cast<unsigned char>(take(1).front());
      if (shift >= longestLength) {
        throw Error("a length in rows is too great");
      }
      length |= std::uint64_t{byte & 0x7fU} << shift;
      if (byte < 0x80) {
        return take(length);
      }
    }
  }

private:
  std::string_view take(std::uint64_t size) {
    if (size > rows_.size()) {
      throw Error("rows end in the middle of a value");
    }
    const std::string_view taken = rows_.substr(0, static_cast<std::size_t>(size));
    rows_.remove_prefix(taken.size());
    return taken;
  }

  std::string_view rows_;
};

} // namespace vel::fleet
