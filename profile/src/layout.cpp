// The layouts for readers outside the engine, and proofs about their rows.
#include "profile/layout.h"

#include "choice.h"

#include <algorithm>

namespace vel::profile {

namespace {

constexpr bool reads_inside_the_payload(const Layout& layout) {
  for (const Row& row : layout.rows) {
    if (row.size != 0 && (row.offset < 16 || row.offset + row.size > 48)) {
      return false;
    }
  }
  return true;
}

// Readers put the fields of a layout into an object, by key.
constexpr bool has_distinct_keys(const Layout& layout) {
  for (std::size_t i = 0; i < layout.rows.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      if (layout.rows[i].key == layout.rows[j].key) {
        return false;
      }
    }
  }
  return true;
}

// put_value has a writer for the row's kind, size and width.
constexpr bool has_writer(const Row& row) {
  switch (row.kind) {
  case FieldKind::constant:
    return row.parameter < 100;
  case FieldKind::number:
    return row.size == 1 ? row.width == 0 || row.width >= 3 : row.width == 10 || (row.width == 0 && row.size < 8);
  default:
    return true;
  }
}

constexpr bool all_layouts_are_sound() {
  for (const Layout& layout : layouts::all) {
    if (!reads_inside_the_payload(layout) || !has_distinct_keys(layout) ||
        !std::all_of(layout.rows.begin(), layout.rows.end(), has_writer)) {
      return false;
    }
  }
  return true;
}
static_assert(all_layouts_are_sound());

// A layout that nothing shows has been forgotten in the tables of datatypes and categories.
constexpr bool all_layouts_are_shown() {
  return std::all_of(layouts::all.begin(), layouts::all.end(), [](const Layout& layout) {
    return std::any_of(choices.begin(), choices.end(), [&](const ShownLayouts& shown) {
      return std::find(shown.begin(), shown.end(), &layout) != shown.end();
    });
  });
}
static_assert(all_layouts_are_shown());

// The engine looks up one subtype for a record.
constexpr bool choices_show_one_subtype() {
  return std::all_of(choices.begin(), choices.end(), [](const ShownLayouts& shown) {
    std::size_t subtypes = 0;
    for (const Layout* const layout : shown) {
      for (const Row& row : layout->rows) {
        subtypes += row.kind == FieldKind::subtype_name;
      }
    }
    return subtypes <= 1;
  });
}
static_assert(choices_show_one_subtype());

} // namespace

std::span<const Layout> all_layouts() noexcept {
  return layouts::all;
}

ShownLayouts shown_layouts(const void* record) noexcept {
  const unsigned char* const bytes = static_cast<const unsigned char*>(record);
  return choices[choose(category(bytes), bytes)];
}

} // namespace vel::profile
