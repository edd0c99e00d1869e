// The names of categories, components, events, datatypes and ZORB actions, both ways: id to name and name to id.
// A name never fails to be found: an id that no table holds is named by its decimal number.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace vel::profile {

// One row of a name table; the name is static and NUL-terminated.
struct NameRow {
  std::uint32_t id;
  const char* name;
};
using NameTable = std::span<const NameRow>;

// The tables themselves. An empty table means that every id is named by its number. [any thread]
NameTable category_names() noexcept;
NameTable datatype_names() noexcept;
NameTable component_names(unsigned category) noexcept;
NameTable event_names(unsigned category, unsigned component) noexcept;
NameTable subtype_names(unsigned category, unsigned component) noexcept; // such as ZORB actions, shown under "trace"

// Holds the digits of an id that has no name.
struct DecimalText {
  char digits[10];
};

// The name of the first row with this id, or its digits, kept in `storage`. [any thread]
std::string_view name_of(NameTable table, std::uint32_t id, DecimalText& storage) noexcept;

// The id of the first row with this name. [any thread]
std::optional<std::uint32_t> id_of(NameTable table, std::string_view name) noexcept;

} // namespace vel::profile
