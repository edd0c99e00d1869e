// Names as the text shows them, with key, quotes and padding: built from the tables at compile time, copied at run
// time.
#pragma once

#include "choice.h"
#include "copy_bytes.h"
#include "digits.h"

#include <algorithm>
#include <array>

namespace vel::profile {

// A short text that is copied whole, with its unused room and its length, because a copy of constant size is fast. What
// is written next overwrites the rest.
template <std::size_t Size>
struct Piece {
  char text[Size - 1];
  std::uint8_t length;

  constexpr void append(char c) { text[length++] = c; }
  constexpr void append(std::string_view more) {
    for (const char c : more) {
      append(c);
    }
  }
  constexpr void append_quoted(std::string_view value, std::size_t width) {
    for (std::size_t taken = value.size() + 2; taken < width; ++taken) {
      append(' ');
    }
    append('\'');
    append(value);
    append('\'');
  }

  char* copy_to(char* p) const noexcept {
    static_assert(sizeof(Piece) == Size);
    copy_bytes(p, this, Size);
    return p + length;
  }
};

// What surrounds a name, which is padded to `width`.
struct Frame {
  std::string_view prefix;
  std::size_t width;
  std::string_view suffix;
};

template <std::size_t Size>
constexpr Piece<Size> make_piece(const Frame& frame, std::string_view name) {
  Piece<Size> piece{};
  piece.append(frame.prefix);
  piece.append_quoted(name, frame.width);
  piece.append(frame.suffix);
  return piece;
}

// Name tables. The table at index i has number i + 1 in a PieceSet: number 0 means that there is no table.
template <std::size_t Count>
using NameTables = std::array<NameTable, Count>;

// The pieces of several name tables. Pieces 0 to 255 are plain numbers, for ids without a name; `places` has the index
// of each id's piece in each table.
template <std::size_t Size, std::size_t Tables, std::size_t Names>
struct PieceSet {
  Piece<Size> pieces[256 + Names];
  std::uint16_t places[Tables + 1][256];

  const Piece<Size>& of(std::size_t table, std::uint8_t id) const noexcept { return pieces[places[table][id]]; }

  constexpr std::size_t longest() const {
    std::size_t length = 0;
    for (const Piece<Size>& piece : pieces) {
      length = std::max<std::size_t>(length, piece.length);
    }
    return length;
  }
};

template <std::size_t Count>
constexpr std::size_t count_names(const NameTables<Count>& tables) {
  std::size_t names = 0;
  for (const NameTable& table : tables) {
    names += table.size();
  }
  return names;
}

// Ids are bytes, and names need no escaping in JSON or CSV.
template <std::size_t Count>
constexpr bool are_sound(const NameTables<Count>& tables) {
  const auto is_plain = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
  };
  for (const NameTable& table : tables) {
    for (const NameRow& row : table) {
      const std::string_view name = row.name;
      if (row.id > 255 || name.empty() || !std::all_of(name.begin(), name.end(), is_plain)) {
        return false;
      }
    }
  }
  return true;
}

// A name too long for its piece does not compile.
template <std::size_t Size, std::size_t Names, std::size_t Count>
constexpr PieceSet<Size, Count, Names> make_pieces(const Frame& frame, const NameTables<Count>& tables) {
  PieceSet<Size, Count, Names> set{};
  for (std::size_t id = 0; id < 256; ++id) {
    const ByteDigits number = spell_byte(static_cast<unsigned>(id));
    set.pieces[id] = make_piece<Size>(frame, std::string_view(number.text, number.length));
    for (auto& places : set.places) {
      places[id] = static_cast<std::uint16_t>(id);
    }
  }
  std::size_t next = 256;
  for (std::size_t table = 0; table < Count; ++table) {
    auto& places = set.places[table + 1];
    for (const NameRow& row : tables[table]) {
      set.pieces[next] = make_piece<Size>(frame, row.name);
      if (places[row.id] == row.id) { // not named yet: the first match wins
        places[row.id] = static_cast<std::uint16_t>(next);
      }
      ++next;
    }
  }
  return set;
}

// The tables of one column of the category table, in the order of the rows; `Column` gives a row's list.
template <class Column>
constexpr std::size_t count_tables(Column column, unsigned categories = category_id::count) {
  std::size_t count = 0;
  for (unsigned id = 0; id < categories; ++id) {
    count += column(category_table[id]).size();
  }
  return count;
}

template <class Column>
constexpr auto tables_in(Column column) {
  NameTables<count_tables(Column())> tables;
  std::size_t next = 0;
  for (const Category& category : category_table) {
    for (const ComponentNames& names : column(category)) {
      tables[next++] = table_of(names.names);
    }
  }
  return tables;
}

inline constexpr auto events_column = [](const Category& category) -> auto& {
  return category.events;
};
inline constexpr auto subtypes_column = [](const Category& category) -> auto& {
  return category.subtypes;
};

inline constexpr auto category_tables = NameTables<1>{category_names_table};
inline constexpr auto datatype_tables = NameTables<1>{datatype_names_table};
inline constexpr auto component_tables = [] {
  NameTables<category_id::count> tables;
  for (unsigned id = 0; id < tables.size(); ++id) {
    tables[id] = component_table(id);
  }
  return tables;
}();
inline constexpr auto event_tables = tables_in(events_column);
inline constexpr auto subtype_tables = tables_in(subtypes_column);
static_assert(are_sound(category_tables) && are_sound(datatype_tables) && are_sound(component_tables) &&
              are_sound(event_tables) && are_sound(subtype_tables));

// The four names of a head. The key of the field that follows comes with the last one.
inline constexpr Frame category_frame = {"{  'category':", 8, ","};
inline constexpr Frame component_frame = {" 'component':", 8, ","};
inline constexpr Frame event_frame = {" 'event':", 12, ","};
inline constexpr Frame datatype_frame = {" 'type':", 12, ", 'timestamp':"};
// The name of a subtype, as its layout shows it.
inline constexpr Frame subtype_frame = {"", layouts::subtype_width, ""};

inline constexpr auto category_pieces = make_pieces<32, count_names(category_tables)>(category_frame, category_tables);
inline constexpr auto component_pieces =
    make_pieces<32, count_names(component_tables)>(component_frame, component_tables);
inline constexpr auto event_pieces = make_pieces<48, count_names(event_tables)>(event_frame, event_tables);
inline constexpr auto datatype_pieces = make_pieces<48, count_names(datatype_tables)>(datatype_frame, datatype_tables);
inline constexpr auto subtype_pieces = make_pieces<32, count_names(subtype_tables)>(subtype_frame, subtype_tables);

// Greater than every component that the tables mention, so that all components from here on have the same names.
inline constexpr unsigned component_bound = [] {
  unsigned bound = 0;
  for (const Category& category : category_table) {
    for (const auto* column : {&category.events, &category.subtypes}) {
      for (const ComponentNames& names : *column) {
        for (const std::uint8_t component : names.components) {
          bound = std::max(bound, component + 1U);
        }
      }
    }
  }
  return bound;
}();

// The numbers of the tables that name the ids of a category's records.
struct TableNumbers {
  std::uint8_t components;
  std::uint8_t events[component_bound + 1]; // by component
  std::uint8_t subtypes[component_bound + 1];
};

// Index of a record's component in these arrays.
constexpr std::size_t component_index(const unsigned char* record) noexcept {
  return std::min<std::size_t>(component(record), component_bound);
}

template <class Column>
constexpr std::uint8_t table_number(Column column, unsigned category, unsigned component) {
  const auto& lists = column(category_table[category]);
  const std::size_t entry = applying_entry(lists, component);
  return entry == lists.size() ? 0 : static_cast<std::uint8_t>(count_tables(column, category) + entry + 1);
}

// Indexed by category; categories without a row have no tables.
inline constexpr std::array<TableNumbers, 256> table_numbers = [] {
  static_assert(component_tables.size() < 256 && event_tables.size() < 256 && subtype_tables.size() < 256);
  std::array<TableNumbers, 256> numbers{};
  for (unsigned id = 0; id < category_id::count; ++id) {
    numbers[id].components = static_cast<std::uint8_t>(id + 1);
    for (unsigned component = 0; component <= component_bound; ++component) {
      numbers[id].events[component] = table_number(events_column, id, component);
      numbers[id].subtypes[component] = table_number(subtypes_column, id, component);
    }
  }
  return numbers;
}();

} // namespace vel::profile
