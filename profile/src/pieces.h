// Names as the text shows them: keyed, quoted, padded and ready to copy, built from the name tables at compile time.
#pragma once

#include "choice.h"
#include "digits.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace vel::profile {

// A text of any length that is copied with all its room and its length: what follows the text is overwritten.
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
    std::memcpy(p, this, Size);
    return p + length;
  }
};

// What surrounds a name: prefix, value padded to `width`, suffix.
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

// The pieces of several name tables. Pieces 0 to 255 are the plain numbers, shared by all tables; `places` finds the
// piece of an id in a table. Table 0 is the empty one.
template <std::size_t Size, std::size_t Tables, std::size_t Names>
struct PieceSet {
  Piece<Size> pieces[256 + Names];
  std::uint16_t places[Tables + 1][256];

  const Piece<Size>& of(std::size_t table, std::uint8_t id) const noexcept { return pieces[places[table][id]]; }

  constexpr std::size_t longest() const {
    std::size_t length = 0;
    for (const Piece<Size>& piece : pieces) {
      length = piece.length > length ? piece.length : length;
    }
    return length;
  }
};

template <std::size_t Count>
using Tables = std::array<NameTable, Count>;

template <std::size_t Count>
constexpr std::size_t count_names(const Tables<Count>& tables) {
  std::size_t names = 0;
  for (const NameTable& table : tables) {
    names += table.size();
  }
  return names;
}

template <std::size_t Size, std::size_t Names, std::size_t Count>
constexpr PieceSet<Size, Count, Names> make_pieces(const Frame& frame, const Tables<Count>& tables) {
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
      if (row.id < 256 && places[row.id] == row.id) { // not yet named: the first match wins
        places[row.id] = static_cast<std::uint16_t>(next);
      }
      ++next;
    }
  }
  return set;
}

// 1 + the place of a table among `tables`, 0 for an empty one.
template <std::size_t Count>
constexpr std::uint8_t number_of(const Tables<Count>& tables, const NameTable& wanted) {
  for (std::size_t i = 0; i < Count; ++i) {
    if (!wanted.empty() && tables[i].data() == wanted.data()) {
      return static_cast<std::uint8_t>(i + 1);
    }
  }
  return 0;
}

// The four names of a head. The key of the field that follows rides along with the last one.
inline constexpr Frame category_frame = {"{  'category':", 8, ","};
inline constexpr Frame component_frame = {" 'component':", 8, ","};
inline constexpr Frame event_frame = {" 'event':", 12, ","};
inline constexpr Frame datatype_frame = {" 'type':", 12, ", 'timestamp':"};

inline constexpr Tables<1> category_tables = {tables::categories};
inline constexpr auto category_pieces = make_pieces<32, count_names(category_tables)>(category_frame, category_tables);

inline constexpr Tables<9> component_tables = {
    tables::execution_components, tables::trace_components,   tables::sensor_components,
    tables::lantor_components,    tables::corvane_components, tables::interrupt_components,
    tables::uart_components,      tables::zorb_components,    tables::scm_components,
};
inline constexpr auto component_pieces =
    make_pieces<32, count_names(component_tables)>(component_frame, component_tables);

inline constexpr Tables<12> event_tables = {
    tables::scheduler_events,   tables::function_events, tables::workloop_events, tables::command_events,
    tables::extfunction_events, tables::sensor_events,   tables::lantor_events,   tables::corvane_events,
    tables::interrupt_events,   tables::uart_events,     tables::zorb_events,     tables::zorb_checkpoints,
};
inline constexpr auto event_pieces = make_pieces<48, count_names(event_tables)>(event_frame, event_tables);

inline constexpr Tables<1> datatype_tables = {tables::datatypes};
inline constexpr auto datatype_pieces = make_pieces<48, count_names(datatype_tables)>(datatype_frame, datatype_tables);

// The names of actions, as their layout shows them.
inline constexpr Frame action_frame = {"", layouts::action_row.width, ""};

inline constexpr Tables<2> action_tables = {tables::zorb_subtypes, tables::zorb_checkpoints};
inline constexpr auto action_pieces = make_pieces<32, count_names(action_tables)>(action_frame, action_tables);
static_assert(std::ranges::all_of(tables::zorb_subtypes, [](const NameRow& row) { return row.id < 256; }));
static_assert(std::ranges::all_of(tables::zorb_checkpoints, [](const NameRow& row) { return row.id < 256; }));

constexpr std::array<std::uint8_t, 256> make_action_table_numbers() {
  std::array<std::uint8_t, 256> numbers{};
  for (unsigned component = 0; component < numbers.size(); ++component) {
    numbers[component] = number_of(action_tables, subtype_table(component));
  }
  return numbers;
}
inline constexpr std::array<std::uint8_t, 256> action_table_numbers = make_action_table_numbers();

// Which tables name the ids of a category's records. Components from 7 on have the event table of component 7.
struct TableNumbers {
  std::uint8_t components;
  std::uint8_t events[8];
};
inline constexpr std::size_t last_event_component = 7;

constexpr std::array<TableNumbers, 256> make_table_numbers() {
  std::array<TableNumbers, 256> numbers{};
  for (unsigned id = 0; id < numbers.size(); ++id) {
    numbers[id].components = number_of(component_tables, component_table(id));
    for (unsigned component = 0; component <= last_event_component; ++component) {
      numbers[id].events[component] = number_of(event_tables, event_table(id, component));
    }
  }
  return numbers;
}
inline constexpr std::array<TableNumbers, 256> table_numbers = make_table_numbers();

constexpr bool higher_components_share_events() {
  for (unsigned id = 0; id <= category::count; ++id) {
    for (unsigned component = last_event_component; component < 256; ++component) {
      if (event_table(id, component).data() != event_table(id, last_event_component).data()) {
        return false;
      }
    }
  }
  return true;
}
static_assert(higher_components_share_events());

} // namespace vel::profile
