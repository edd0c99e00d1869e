// What the tables say about one record: which names its ids have, and which layouts its payload shows.
#pragma once

#include "categories.h"
#include "profile/record_view.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <utility>

namespace vel::profile {

// A table may hold an id twice; the first row wins.
constexpr const NameRow* find_row(NameTable table, std::uint32_t id) noexcept {
  for (const NameRow& row : table) {
    if (row.id == id) {
      return &row;
    }
  }
  return nullptr;
}

constexpr NameTable table_of(const StaticList<NameRow>& names) noexcept {
  return {names.begin(), names.size()};
}

// The index of the first entry that applies to the component; the size of the list if none does.
constexpr std::size_t applying_entry(const StaticList<ComponentNames>& lists, unsigned component) noexcept {
  const auto applies = [&](const ComponentNames& names) { return names.apply_to(component); };
  return static_cast<std::size_t>(std::find_if(lists.begin(), lists.end(), applies) - lists.begin());
}

constexpr NameTable table_for(const StaticList<ComponentNames>& lists, unsigned component) noexcept {
  const std::size_t entry = applying_entry(lists, component);
  return entry == lists.size() ? NameTable() : table_of(lists.begin()[entry].names);
}

constexpr NameTable component_table(unsigned category) noexcept {
  return category < category_id::count ? table_of(category_table[category].components) : NameTable();
}

constexpr NameTable event_table(unsigned category, unsigned component) noexcept {
  return category < category_id::count ? table_for(category_table[category].events, component) : NameTable();
}

constexpr NameTable subtype_table(unsigned category, unsigned component) noexcept {
  return category < category_id::count ? table_for(category_table[category].subtypes, component) : NameTable();
}

// What a record can show is one of these choices: for each datatype its layout, then no layout for other datatypes,
// then the layouts of each category's rules.
using Choice = std::uint8_t;

inline constexpr Choice no_layout = std::size(datatype_table);

// The choice that belongs to a category's first rule.
constexpr std::size_t first_rule(unsigned category) noexcept {
  std::size_t choice = no_layout + 1;
  for (unsigned id = 0; id < category; ++id) {
    choice += category_table[id].layouts.size();
  }
  return choice;
}

inline constexpr auto choices = [] {
  std::array<ShownLayouts, first_rule(category_id::count)> all;
  std::size_t next = 0;
  for (const Datatype& datatype : datatype_table) {
    all[next++] = {{datatype.layout}, datatype.layout != nullptr};
  }
  all[next++] = {};
  for (const Category& category : category_table) {
    for (const LayoutRule& rule : category.layouts) {
      all[next++] = rule.layouts;
    }
  }
  return all;
}();
static_assert(choices.size() <= 256, "a choice fits its type");

// The greatest size(layouts) of everything that a record can show.
template <class Size>
constexpr std::size_t greatest_choice(Size size) {
  std::size_t greatest = 0;
  for (const ShownLayouts& shown : choices) {
    greatest = std::max(greatest, size(shown));
  }
  return greatest;
}

// The choice for records that meet no rule.
constexpr Choice choose_common(const unsigned char* record) noexcept {
  return std::min(type(record), no_layout);
}

// Conditions are template arguments, so that a rule compiles to comparisons with constants.
template <unsigned Id, std::size_t Rule, std::size_t Index>
constexpr bool meets_condition(const unsigned char* record) noexcept {
  constexpr Condition condition = category_table[Id].layouts.begin()[Rule].when.begin()[Index];
  static_assert(condition.size == 1 || condition.size == 2 || condition.size == 4);
  static_assert(condition.offset + condition.size <= record_size);
  return load_sized(record + condition.offset, condition.size) == condition.value;
}

template <unsigned Id, std::size_t Rule>
constexpr bool meets(const unsigned char* record) noexcept {
  return [&]<std::size_t... Index>(std::index_sequence<Index...>) {
    return (meets_condition<Id, Rule, Index>(record) && ...);
  }
  (std::make_index_sequence<category_table[Id].layouts.begin()[Rule].when.size()>());
}

// The choice of the first rule that the record meets; without one, the common choice.
template <unsigned Id>
constexpr Choice choose_by_rules(const unsigned char* record) noexcept {
  return [&]<std::size_t... Rule>(std::index_sequence<Rule...>) {
    Choice choice = choose_common(record);
    (void)((meets<Id, Rule>(record) && (choice = first_rule(Id) + Rule, true)) || ...);
    return choice;
  }
  (std::make_index_sequence<category_table[Id].layouts.size()>());
}

// The choice by the rules of `category`, which need not be the record's: a decoder object renders any record by its own
// rules.
constexpr Choice choose(unsigned category, const unsigned char* record) noexcept {
  return [&]<unsigned... Id>(std::integer_sequence<unsigned, Id...>) {
    Choice choice = no_layout;
    const bool has_rules =
        ((category_table[Id].layouts.size() != 0 && category == Id && (choice = choose_by_rules<Id>(record), true)) ||
         ...);
    return has_rules ? choice : choose_common(record);
  }
  (std::make_integer_sequence<unsigned, category_id::count>());
}

} // namespace vel::profile
