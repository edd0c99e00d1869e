// Rows in ClickHouse's RowBinary format, value by value in the order of a table's columns.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

namespace vel::fleet {

class RowBinary {
public:
  // Little-endian.
  template <std::integral Number>
  void number(Number value) {
    char bytes[sizeof value];
    for (std::size_t i = 0; i < sizeof value; ++i) {
      bytes[i] = static_cast<char>(static_cast<std::uint64_t>(value) >> (8 * i));
    }
    rows_.append(bytes, sizeof bytes);
  }

  void number(double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    number(bits);
  }

  // A String: its length in groups of seven bits, then the bytes.
  void string(std::string_view text) {
    std::uint64_t length = text.size();
    for (; length > 0x7f; length >>= 7) {
      rows_ += static_cast<char>(0x80 | (length & 0x7f));
    }
    rows_ += static_cast<char>(length);
    rows_ += text;
  }

  // The bytes of columns that are encoded already.
  void bytes(std::string_view raw) { rows_ += raw; }

  // Comes before the value of a Nullable column. If it is NULL, no value follows.
  void null(bool isNull) { rows_ += isNull ? '\1' : '\0'; }

  template <class Number>
  void optional(const std::optional<Number>& value) {
    null(!value);
    if (value) {
      number(*value);
    }
  }

  std::string_view view() const { return rows_; }
  std::size_t size() const { return rows_.size(); }
  void clear() { rows_.clear(); }
  std::string take() { return std::move(rows_); }

private:
  std::string rows_;
};

} // namespace vel::fleet
