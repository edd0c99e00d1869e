// The choices that tell decoders apart: which tables name a record's ids, and which layouts show its payload.
#pragma once

#include "byte_reader.h"
#include "layouts.h"
#include "name_tables.h"

namespace vel::profile {

namespace category {
enum : unsigned { execution, trace, sensors, lantor, corvane, interrupt, uart, zorb, control, scm, count };
}

// The first match wins, as the tables may hold an id or a name twice.
constexpr const NameRow* find_row(NameTable table, std::uint32_t id) noexcept {
  for (const NameRow& row : table) {
    if (row.id == id) {
      return &row;
    }
  }
  return nullptr;
}

constexpr NameTable component_table(unsigned category_id) noexcept {
  switch (category_id) {
  case category::execution:
    return tables::execution_components;
  case category::trace:
    return tables::trace_components;
  case category::sensors:
    return tables::sensor_components;
  case category::lantor:
    return tables::lantor_components;
  case category::corvane:
    return tables::corvane_components;
  case category::interrupt:
    return tables::interrupt_components;
  case category::uart:
    return tables::uart_components;
  case category::zorb:
    return tables::zorb_components;
  case category::scm:
    return tables::scm_components;
  default:
    return {};
  }
}

constexpr NameTable execution_event_table(unsigned component) noexcept {
  switch (component) {
  case 0:
    return tables::scheduler_events;
  case 1:
    return tables::function_events;
  case 2:
    return tables::workloop_events;
  case 3:
    return tables::command_events;
  case 4:
    return tables::extfunction_events;
  default:
    return {};
  }
}

inline constexpr unsigned zorb_latency_component = 3;

constexpr NameTable zorb_event_table(unsigned component) noexcept {
  return component == zorb_latency_component ? NameTable(tables::zorb_checkpoints) : NameTable(tables::zorb_events);
}

// The execution and ZORB decoders choose by component; the others have one table or none.
constexpr NameTable event_table(unsigned category_id, unsigned component) noexcept {
  switch (category_id) {
  case category::execution:
    return execution_event_table(component);
  case category::sensors:
    return tables::sensor_events;
  case category::lantor:
    return tables::lantor_events;
  case category::corvane:
    return tables::corvane_events;
  case category::interrupt:
    return tables::interrupt_events;
  case category::uart:
    return tables::uart_events;
  case category::zorb:
    return zorb_event_table(component);
  default:
    return {};
  }
}

// The audio components, 5 and 6, have no action names, though they have component names.
constexpr NameTable subtype_table(unsigned component) noexcept {
  switch (component) {
  case 0:
  case 1:
  case 2:
  case 4:
    return tables::zorb_subtypes;
  case zorb_latency_component:
    return tables::zorb_checkpoints;
  default:
    return {};
  }
}

namespace datatype {
enum : unsigned {
  long_data = 1,
  short_data = 2,
  event = 3,
  trigger = 4,
  function = 5,
  sensorinfo = 8,
  extfunction = 9,
  zorb_context = 10,
  annotation = 11,
  decimationinfo = 12,
};
}

// The layouts a record shows, by their place in `layouts::all`; `absent` where there is none.
struct Choice {
  std::uint8_t first = layouts::absent;
  std::uint8_t second = layouts::absent;
};

// What every category shares. Datatypes 0, 6 and 7 have names but no layout; 10 has layouts for the ZORB decoder alone.
constexpr std::uint8_t common_layout(unsigned type) noexcept {
  switch (type) {
  case datatype::long_data:
    return layouts::long_data;
  case datatype::short_data:
    return layouts::short_data;
  case datatype::event:
    return layouts::event;
  case datatype::trigger:
    return layouts::trigger;
  case datatype::function:
    return layouts::function;
  case datatype::sensorinfo:
    return layouts::sensorinfo;
  case datatype::extfunction:
    return layouts::extfunction;
  case datatype::annotation:
    return layouts::annotation;
  case datatype::decimationinfo:
    return layouts::decimationinfo;
  default:
    return layouts::absent;
  }
}

constexpr Choice choose_common(const unsigned char* record) noexcept {
  return {common_layout(record[0])};
}

constexpr Choice choose_corvane(const unsigned char* record) noexcept {
  constexpr std::uint32_t data_in = 0x04000003;
  constexpr std::uint32_t data_out = 0x04000103;
  switch (load<std::uint32_t>(record)) {
  case data_in:
    return {layouts::corvane, layouts::event};
  case data_out: // outgoing data shows the decoder's own fields alone; only incoming data goes on to the common ones
    return {layouts::corvane};
  default:
    return choose_common(record);
  }
}

constexpr Choice choose_zorb(const unsigned char* record) noexcept {
  switch (record[0]) {
  case datatype::event:
    return {layouts::zorb_event, layouts::event};
  case datatype::short_data:
    switch (record[1]) {
    case 2:
      return {layouts::zorb_input_packet, layouts::short_data};
    case 3:
      return {layouts::zorb_status_event, layouts::short_data};
    default: // unrecognised packets show their common fields twice; readers of the text count on it
      return {layouts::short_data, layouts::short_data};
    }
  case datatype::zorb_context:
    // Versions 3 and 4 go on to the common fields, of which this datatype has none.
    switch (load<std::uint16_t>(record + 16)) {
    case 3:
      return {layouts::zorb_context_3};
    case 4:
      return {layouts::zorb_context_4};
    case 5:
      return {layouts::zorb_context_5};
    case 7:
      return {layouts::zorb_context_7};
    default:
      return {};
    }
  default:
    return choose_common(record);
  }
}

constexpr Choice choose(const unsigned char* record) noexcept {
  switch (record[3]) {
  case category::corvane:
    return choose_corvane(record);
  case category::zorb:
    return choose_zorb(record);
  default:
    return choose_common(record);
  }
}

// The greatest size(choice) that a record can have: asks for each combination of the bytes that `choose` looks at.
template <class Size>
constexpr std::size_t greatest_choice(Size size) {
  std::size_t greatest = 0;
  for (const unsigned category_id :
       {unsigned{category::execution}, unsigned{category::corvane}, unsigned{category::zorb}}) {
    for (unsigned type = 0; type < 14; ++type) {
      for (unsigned event = 0; event < 5; ++event) {
        for (unsigned version = 0; version < 9; ++version) {
          unsigned char record[48] = {};
          record[0] = static_cast<unsigned char>(type);
          record[1] = static_cast<unsigned char>(event);
          record[3] = static_cast<unsigned char>(category_id);
          record[16] = static_cast<unsigned char>(version);
          const std::size_t chosen = size(choose(record));
          greatest = chosen > greatest ? chosen : greatest;
        }
      }
    }
  }
  return greatest;
}

} // namespace vel::profile
