// The names of categories, components, events, datatypes and subtypes, from id to name and back. An id without a name
// is shown as its decimal number, so the look-up of a name never fails.
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

// With an empty table every id is shown as its number. [any thread]
NameTable category_names() noexcept;
NameTable datatype_names() noexcept;
NameTable component_names(unsigned category) noexcept;
NameTable event_names(unsigned category, unsigned component) noexcept;
NameTable subtype_names(unsigned category, unsigned component) noexcept; // ZORB actions, for example

// Room for the digits of an id without a name.
struct DecimalText {
  char digits[10];
};

// The name of the first row with this id, or its digits, kept in `storage`. [any thread]
std::string_view name_of(NameTable table, std::uint32_t id, DecimalText& storage) noexcept;

// The id of the first row with this name. [any thread]
std::optional<std::uint32_t> id_of(NameTable table, std::string_view name) noexcept;

} // namespace vel::profile
