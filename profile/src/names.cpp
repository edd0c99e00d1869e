// The tables for readers outside the engine, and the look-up of names in both directions.
#include "profile/names.h"

#include "choice.h"

#include <charconv>

namespace vel::profile {

namespace {

// Ids of categories and datatypes are indexes into their tables.
template <class Table>
constexpr bool ids_are_indexes(const Table& table) {
  for (std::size_t i = 0; i < std::size(table); ++i) {
    if (table[i].id != i) {
      return false;
    }
  }
  return true;
}
static_assert(ids_are_indexes(category_table) && ids_are_indexes(datatype_table));

} // namespace

std::span<const Category> categories() noexcept {
  return category_table;
}

std::span<const Datatype> datatypes() noexcept {
  return datatype_table;
}

NameTable category_names() noexcept {
  return category_names_table;
}

NameTable datatype_names() noexcept {
  return datatype_names_table;
}

NameTable component_names(unsigned category) noexcept {
  return component_table(category);
}

NameTable event_names(unsigned category, unsigned component) noexcept {
  return event_table(category, component);
}

NameTable subtype_names(unsigned category, unsigned component) noexcept {
  return subtype_table(category, component);
}

std::string_view name_of(NameTable table, std::uint32_t id, DecimalText& storage) noexcept {
  if (const NameRow* row = find_row(table, id)) {
    return row->name;
  }
  const auto written = std::to_chars(storage.digits, storage.digits + sizeof storage.digits, id);
  return {storage.digits, static_cast<std::size_t>(written.ptr - storage.digits)};
}

std::optional<std::uint32_t> id_of(NameTable table, std::string_view name) noexcept {
  for (const NameRow& row : table) {
    if (row.name == name) {
      return row.id;
    }
  }
  return std::nullopt;
}

} // namespace vel::profile
