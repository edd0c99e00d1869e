// Writes the head, the payload and the tail of a text, and proves that they fit.
#include "engine.h"

#include "layout_writer.h"
#include "pieces.h"
#include "profile/render.h"

namespace vel::profile {

namespace {

template <std::size_t Size>
consteval auto literal(const char (&text)[Size]) {
  Literal<Size - 1> result;
  std::copy_n(text, Size - 1, result.text);
  return result;
}

constexpr auto sequence_key = literal(", 'sequence_num':");
constexpr auto type_id_key = literal(" 'type-id':");
constexpr auto category_id_key = literal(" 'category-id':");
constexpr auto component_id_key = literal(" 'component-id':");
constexpr auto event_id_key = literal(" 'event-id':");
constexpr auto dump_key = literal(" 'binary-data':[");
constexpr auto calendar_key = literal(", 'calendar-time':'");
constexpr auto boot_key = literal(", 'boot-timestamp':");

constexpr std::size_t longest_u64 = 20;
// How far a part may write beyond its end: less than a piece of 48 bytes, or a text field of 30 bytes with its padding.
constexpr std::size_t spill = 64;

// Excludes the name of a subtype, which is added below.
constexpr std::size_t longest_payload = greatest_choice([](const ShownLayouts& shown) {
  std::size_t length = 0;
  for (const Layout* const layout : shown) {
    length += longest_text(*layout);
  }
  return length;
});

constexpr std::size_t longest_head = category_pieces.longest() + component_pieces.longest() + event_pieces.longest() +
                                     datatype_pieces.longest() + longest_u64 + sequence_key.length + 10 + 1;
constexpr std::size_t longest_tail = type_id_key.length + category_id_key.length + component_id_key.length +
                                     event_id_key.length + 4 * std::size("255,") + dump_key.length + record_size * 4;
constexpr std::size_t longest_times = calendar_key.length + WallClock::longest_text + 1 + boot_key.length + longest_u64;
static_assert(longest_head + longest_payload + subtype_pieces.longest() + longest_tail + longest_times + 2 + spill <=
                  text_capacity,
              "a text, its brace and its newline fit");

char* write_clocks(char* p, const unsigned char* record) noexcept {
  p = put_u64_width_10(p, timestamp(record));
  p = put_u32_width_10(sequence_key.copy_to(p), sequence_number(record));
  *p = ',';
  return p + 1;
}

char* put_frame(char* p, const Frame& frame, std::string_view name) noexcept {
  copy_bytes(p, frame.prefix.data(), frame.prefix.size());
  p = put_name(p + frame.prefix.size(), name, frame.width);
  *p++ = '\'';
  copy_bytes(p, frame.suffix.data(), frame.suffix.size());
  return p + frame.suffix.size();
}

constexpr const Row* subtype_row(const ShownLayouts& shown) {
  for (const Layout* const layout : shown) {
    for (const Row& row : layout->rows) {
      if (row.kind == FieldKind::subtype_name) {
        return &row;
      }
    }
  }
  return nullptr;
}

constexpr std::size_t layout_index(const Layout* layout) {
  return static_cast<std::size_t>(layout - layouts::all.data());
}

// Not a temporary: for a local variable that is passed by reference, the stack protector would check the stack for
// every record.
constexpr std::string_view no_name;

// Writes the layouts of one choice, in one function, so that a word that two of them show is converted only once.
template <std::size_t Index>
struct ChoiceWriter {
  static constexpr const ShownLayouts& shown = choices[Index];
  static constexpr const Row* subtype = subtype_row(shown);

  template <class Name>
  static char* write_named(char* p, const unsigned char* record, const Name& name) noexcept {
    return [&]<std::size_t... Item>(std::index_sequence<Item...>) {
      return write_layouts<layout_index(shown.items[Item])...>(p, record, name);
    }
    (std::make_index_sequence<shown.count>());
  }

  // For an id of 256 or more, which has no name because ids in tables are bytes. Not inlined: because of its buffer,
  // the stack protector would check the stack for every record.
  [[gnu::noinline]] static char* write_unnamed(char* p, const unsigned char* record, std::uint32_t id) noexcept {
    DecimalText digits;
    return write_named(p, record, name_of({}, id, digits));
  }

  static char* write(char* p, const unsigned char* record, unsigned category) noexcept {
    if constexpr (subtype != nullptr) {
      const std::uint32_t id = load<std::uint32_t>(record + subtype->offset);
      if (id < 256) {
        const std::uint8_t table = table_numbers[category].subtypes[component_index(record)];
        return write_named(p, record, subtype_pieces.of(table, static_cast<std::uint8_t>(id)));
      }
      return write_unnamed(p, record, id);
    } else {
      return write_named(p, record, no_name);
    }
  }
};

struct Writer {
  char* (*write)(char* p, const unsigned char* record, unsigned category) noexcept;
  // The same with the subtype's name as given; null for layouts that show none.
  char* (*write_named)(char* p, const unsigned char* record, const std::string_view& subtype) noexcept;
  std::size_t subtype_offset;
};

template <std::size_t Index>
constexpr Writer make_writer() {
  using Shown = ChoiceWriter<Index>;
  if constexpr (Shown::subtype != nullptr) {
    return {Shown::write, Shown::template write_named<std::string_view>, Shown::subtype->offset};
  } else {
    return {Shown::write, nullptr, 0};
  }
}

// Indexed by choice.
constexpr auto writers = []<std::size_t... Index>(std::index_sequence<Index...>) {
  return std::array<Writer, choices.size()>{make_writer<Index>()...};
}
(std::make_index_sequence<choices.size()>());

} // namespace

char* write_head(char* p, const unsigned char* record) noexcept {
  const TableNumbers& numbers = table_numbers[category(record)];
  p = category_pieces.of(1, category(record)).copy_to(p);
  p = component_pieces.of(numbers.components, component(record)).copy_to(p);
  p = event_pieces.of(numbers.events[component_index(record)], event(record)).copy_to(p);
  p = datatype_pieces.of(1, type(record)).copy_to(p);
  return write_clocks(p, record);
}

char* write_head(char* p, const unsigned char* record, const HeadNames& names) noexcept {
  p = put_frame(p, category_frame, names.category);
  p = put_frame(p, component_frame, names.component);
  p = put_frame(p, event_frame, names.event);
  p = put_frame(p, datatype_frame, names.type);
  return write_clocks(p, record);
}

char* write_payload(char* p, const unsigned char* record, unsigned category) noexcept {
  return writers[choose(category, record)].write(p, record, category);
}

std::size_t subtype_offset(Choice choice) noexcept {
  return writers[choice].subtype_offset;
}

char* write_payload(char* p, const unsigned char* record, Choice choice, std::string_view subtype) noexcept {
  return writers[choice].write_named(p, record, subtype);
}

char* write_tail(char* p, const unsigned char* record) noexcept {
  p = put_byte_comma(type_id_key.copy_to(p), type(record));
  p = put_byte_comma(category_id_key.copy_to(p), category(record));
  p = put_byte_comma(component_id_key.copy_to(p), component(record));
  p = put_byte_comma(event_id_key.copy_to(p), event(record));
  p = put_byte_list(dump_key.copy_to(p), record, record_size);
  *p = ']';
  return p + 1;
}

char* write_calendar(char* p, std::string_view wall) noexcept {
  p = calendar_key.copy_to(p);
  copy_bytes(p, wall.data(), wall.size());
  p += wall.size();
  *p = '\'';
  return p + 1;
}

char* write_boot(char* p, std::uint64_t boot) noexcept {
  return put_u64(boot_key.copy_to(p), boot);
}

} // namespace vel::profile
