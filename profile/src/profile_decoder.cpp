// The base decoder: the text of one report, and the helpers that all decoders share.
#include "profile/profile_decoder.h"

#include "digits.h"
#include "own_decoder.h"
#include "stream_block.h"

using namespace vel::profile;

std::string profile_decoder::to_string(const _VelProfileReport& report) {
  const unsigned char* record = bytes_of(report);
  // The names come first, then the times. Those of our own decoders are in the engine's tables.
  const bool own = is_own_decoder(this, report.category);
  const std::string category = own ? std::string() : category_name(report.category);
  const std::string component = own ? std::string() : component_name(report.component);
  const std::string event = own ? std::string() : event_name(report.component, report.event);

  std::string wall;
  unsigned long long boot = 0;
  const bool has_wall = vel_time_to_wall_time(report.timestamp, wall);
  const bool has_boot = get_boot_time(boot);

  // The stream begins with a string that has room for the longest text and hands it over at the end: one allocation.
  std::string room;
  room.reserve(text_capacity);
  std::stringstream out(std::move(room));

  if (own) {
    write_block(out, 0, [&](char* p) { return write_head(p, record); });
  } else {
    const std::string type = type_name(report.type);
    const HeadNames names = {category, component, event, type};
    write_block(out, names.size(), [&](char* p) { return write_head(p, record, names); });
  }
  parse_datatype(out, report);

  write_block(out, wall.size(), [&](char* p) {
    p = write_tail(p, record);
    p = has_wall ? write_calendar(p, wall) : p;
    p = has_boot ? write_boot(p, boot) : p;
    *p = '}';
    return p + 1;
  });
  return std::move(out).str();
}

std::string profile_decoder::category_name(unsigned int category) {
  return find_in_table(tables::categories, std::size(tables::categories), category);
}

std::string profile_decoder::component_name(unsigned int component) {
  return std::to_string(component);
}

std::string profile_decoder::event_name(unsigned int, unsigned int event) {
  return std::to_string(event);
}

void profile_decoder::parse_datatype(std::stringstream& out, const _VelProfileReport& report) {
  const unsigned char* record = bytes_of(report);
  write_block(out, 0, [&](char* p) { return write_payload(p, record, choose_common(record)); });
}

std::string profile_decoder::find_in_table(const entry* table, unsigned int count, unsigned int id) {
  DecimalText digits;
  return std::string(name_of({table, count}, id, digits));
}

std::string profile_decoder::type_name(unsigned int type) {
  return find_in_table(tables::datatypes, std::size(tables::datatypes), type);
}

std::string profile_decoder::key(std::string name) {
  return std::move(name.insert(0, " '").append("':"));
}

std::string profile_decoder::str(std::string value) {
  return std::move(value.insert(0, 1, '\'').append(1, '\''));
}

std::string profile_decoder::dump(const void* data, unsigned int length) {
  std::string text(std::size_t{length} * 4 + 2 + 8, '\0'); // the last eight: room that digits may touch
  text[0] = '[';
  char* const end = put_byte_list(text.data() + 1, static_cast<const unsigned char*>(data), length);
  *end = ']';
  text.resize(static_cast<std::size_t>(end + 1 - text.data()));
  return text;
}
