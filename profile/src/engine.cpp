// Head, payload and tail of a text.
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
// No part touches more than a 48-byte piece, or the 30 bytes of a text field with its padding, beyond its end.
constexpr std::size_t spill = 64;

constexpr std::size_t longest_payload =
    greatest_choice([](const Choice& choice) { return longest_text(choice.first) + longest_text(choice.second); });

constexpr std::size_t longest_head = category_pieces.longest() + component_pieces.longest() + event_pieces.longest() +
                                     datatype_pieces.longest() + longest_u64 + sequence_key.length + 10 + 1;
constexpr std::size_t longest_tail = type_id_key.length + category_id_key.length + component_id_key.length +
                                     event_id_key.length + 4 * std::size("255,") + dump_key.length +
                                     48 * std::size_t{4};
constexpr std::size_t longest_times = calendar_key.length + WallClock::longest_text + 1 + boot_key.length + longest_u64;
static_assert(longest_head + longest_payload + longest_tail + longest_times + 2 + spill <= text_capacity,
              "a text, its brace and its newline fit");

// Names as given: the head keeps its keys and paddings and gains the names.
static_assert(longest_head + std::size_t{4} * 12 + ample_names + spill <= text_capacity);
static_assert(longest_text(layouts::zorb_event) + longest_text(layouts::event) + ample_names + spill <= text_capacity);

char* write_clocks(char* p, const unsigned char* record) noexcept {
  p = put_u64_width_10(p, load<std::uint64_t>(record + 8));
  p = put_u32_width_10(sequence_key.copy_to(p), load<std::uint32_t>(record + 4));
  *p = ',';
  return p + 1;
}

char* put_frame(char* p, const Frame& frame, std::string_view name) noexcept {
  std::memcpy(p, frame.prefix.data(), frame.prefix.size());
  p = put_name(p + frame.prefix.size(), name, frame.width);
  *p++ = '\'';
  std::memcpy(p, frame.suffix.data(), frame.suffix.size());
  return p + frame.suffix.size();
}

using LayoutWriter = char* (*)(char*, const unsigned char*, const std::string_view&) noexcept;

// By a layout's place; the absent one writes nothing.
constexpr auto layout_writers = []<std::size_t... Place>(std::index_sequence<Place...>) {
  return std::array<LayoutWriter, layouts::count + 1>{
      write_layouts<std::uint8_t{Place}>...,
      [](char* p, const unsigned char*, const std::string_view&) noexcept { return p; },
  };
}
(std::make_index_sequence<layouts::count>{});

} // namespace

char* write_head(char* p, const unsigned char* record) noexcept {
  const TableNumbers& numbers = table_numbers[record[3]];
  const std::size_t component = std::min<std::size_t>(record[2], last_event_component);
  p = category_pieces.of(1, record[3]).copy_to(p);
  p = component_pieces.of(numbers.components, record[2]).copy_to(p);
  p = event_pieces.of(numbers.events[component], record[1]).copy_to(p);
  p = datatype_pieces.of(1, record[0]).copy_to(p);
  return write_clocks(p, record);
}

char* write_head(char* p, const unsigned char* record, const HeadNames& names) noexcept {
  p = put_frame(p, category_frame, names.category);
  p = put_frame(p, component_frame, names.component);
  p = put_frame(p, event_frame, names.event);
  p = put_frame(p, datatype_frame, names.type);
  return write_clocks(p, record);
}

char* write_payload(char* p, const unsigned char* record, Choice choice) noexcept {
  if (choice.first == layouts::zorb_event) {
    const std::uint32_t action = load<std::uint32_t>(record + layouts::action_row.offset);
    if (action < 256) {
      const auto& name = action_pieces.of(action_table_numbers[record[2]], static_cast<std::uint8_t>(action));
      return write_layouts<layouts::zorb_event, layouts::event>(p, record, name);
    }
    DecimalText digits; // no table names so high an id
    return write_zorb_event(p, record, name_of({}, action, digits));
  }
  if (choice.first == layouts::corvane && choice.second == layouts::event) { // they show the same words
    return write_layouts<layouts::corvane, layouts::event>(p, record, {});
  }
  p = layout_writers[choice.first](p, record, {});
  return layout_writers[choice.second](p, record, {});
}

char* write_zorb_event(char* p, const unsigned char* record, std::string_view subtype) noexcept {
  return write_layouts<layouts::zorb_event, layouts::event>(p, record, subtype);
}

char* write_tail(char* p, const unsigned char* record) noexcept {
  p = put_byte_comma(type_id_key.copy_to(p), record[0]);
  p = put_byte_comma(category_id_key.copy_to(p), record[3]);
  p = put_byte_comma(component_id_key.copy_to(p), record[2]);
  p = put_byte_comma(event_id_key.copy_to(p), record[1]);
  p = put_byte_list(dump_key.copy_to(p), record, 48);
  *p = ']';
  return p + 1;
}

char* write_calendar(char* p, std::string_view wall) noexcept {
  p = calendar_key.copy_to(p);
  std::memcpy(p, wall.data(), wall.size());
  p += wall.size();
  *p = '\'';
  return p + 1;
}

char* write_boot(char* p, std::uint64_t boot) noexcept {
  return put_u64(boot_key.copy_to(p), boot);
}

} // namespace vel::profile
