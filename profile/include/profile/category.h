// The categories and datatypes as data: which names their ids have, and which layouts their records show. With layout.h
// this is all that the decoder knows; text, typed fields and names are made from these rows.
#pragma once

#include "profile/layout.h"
#include "profile/names.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>

namespace vel::profile {

// A category's id is the index of its row. A record of a higher category shows numbers instead of names, and only the
// common layouts.
namespace category_id {
enum : unsigned { execution, trace, sensors, lantor, corvane, interrupt, uart, zorb, control, scm, count };
}

// The lists below are written inside the rows, and live as long as the program.
template <class T>
using StaticList = std::initializer_list<T>;

// The names that ids have for some components.
struct ComponentNames {
  StaticList<std::uint8_t> components; // empty: for all
  StaticList<NameRow> names;

  constexpr bool apply_to(unsigned component) const noexcept {
    for (const std::uint8_t id : components) {
      if (id == component) {
        return true;
      }
    }
    return components.size() == 0;
  }
};

// The `size` bytes at `offset` of the record hold `value`.
struct Condition {
  std::uint8_t offset;
  std::uint8_t size; // 1, 2 or 4
  std::uint32_t value;
};

// A record shows `layouts`, in this order, if it meets every condition.
struct LayoutRule {
  StaticList<Condition> when;
  ShownLayouts layouts;
};

// One category. Where several entries of a list apply, the first one counts. The members are references so that a row
// that leaves one out does not compile; `{}` says that there is none.
struct Category {
  std::uint32_t id;
  const char* name;
  const StaticList<NameRow>& components;
  const StaticList<ComponentNames>& events;
  const StaticList<ComponentNames>& subtypes; // the names of values that layouts show as FieldKind::subtype_name
  const StaticList<LayoutRule>& layouts;      // a record that meets no rule shows the layout of its datatype
};

// One datatype, and the layout that it shows in any category; null if there is none.
struct Datatype {
  std::uint32_t id;
  const char* name;
  const Layout* layout;
};

// In the order of their ids, from 0. [any thread]
std::span<const Category> categories() noexcept;
std::span<const Datatype> datatypes() noexcept;

} // namespace vel::profile
