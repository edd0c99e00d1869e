// The payload layouts as data: one row for each field, written once and read by every rendering.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace vel::profile {

enum class FieldKind : std::uint8_t {
  number,        // unsigned, little-endian, `size` bytes; decimal
  constant,      // the decimal number `parameter`, independent of the record
  quoted_number, // as number, between apostrophes; the width pads only the opening apostrophe
  text,          // `size` bytes read up to the first NUL, between apostrophes
  subtype_name,  // u32 named by the record's component, between apostrophes
  bytes,         // byte dump of `size` bytes
  sliced_bytes,  // byte dump of as many bytes as the u16 at offset `parameter` says, never more than `size`
  character,     // one byte, inserted unchanged
  fixed_point,   // signed 32 bits with 16 fraction bits, six significant digits
};

struct Row {
  std::string_view key;
  std::uint8_t offset; // from the start of the record
  std::uint8_t size;   // bytes of the record that the value is read from; 0 for a constant
  FieldKind kind;
  std::uint8_t width; // least width of the shown value; 0: none
  std::uint8_t parameter = 0;
};

// Several layouts have a key such as "arg1"; the name tells them apart.
struct Layout {
  std::string_view name;
  std::span<const Row> rows;
};

// All layouts, in a fixed order. [any thread]
std::span<const Layout> all_layouts() noexcept;

// The layouts that a record shows, in order. It can be the same one twice.
struct ShownLayouts {
  const Layout* items[2] = {};
  std::uint8_t count = 0;

  constexpr const Layout* const* begin() const noexcept { return items; }
  constexpr const Layout* const* end() const noexcept { return items + count; }
};

// The layouts that the rules of the record's category choose; `record` points at 48 bytes. [any thread]
ShownLayouts shown_layouts(const void* record) noexcept;

} // namespace vel::profile
