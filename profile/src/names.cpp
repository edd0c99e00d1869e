// Which table names what, and the look-up in both directions.
#include "profile/names.h"

#include "choice.h"

#include <charconv>

namespace vel::profile {

NameTable category_names() noexcept {
  return tables::categories;
}

NameTable datatype_names() noexcept {
  return tables::datatypes;
}

NameTable component_names(unsigned category) noexcept {
  return component_table(category);
}

NameTable event_names(unsigned category, unsigned component) noexcept {
  return event_table(category, component);
}

NameTable subtype_names(unsigned component) noexcept {
  return subtype_table(component);
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
