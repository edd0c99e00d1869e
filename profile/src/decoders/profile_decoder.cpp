// The base decoder: a text made through the virtual members, and the helpers that all decoders share.
#include "profile/profile_decoder.h"

#include "digits.h"
#include "text_block.h"

using namespace vel::profile;

std::string profile_decoder::to_string(const _VelProfileReport& report) {
  const unsigned char* record = bytes_of(report);
  const std::string category = category_name(report.category);
  const std::string component = component_name(report.component);
  const std::string event = event_name(report.component, report.event);
  const std::string type = type_name(report.type);
  const Times times(*this, report);

  // The stream begins with a string that has room for the longest text and hands it over at the end: one allocation.
  std::string room;
  room.reserve(text_capacity);
  std::stringstream out(std::move(room));

  const HeadNames names = {category, component, event, type};
  write_block(out, names.size(), [&](char* p) { return write_head(p, record, names); });
  parse_datatype(out, report);
  write_block(out, times.wall.size(), [&](char* p) { return write_end(p, record, times); });
  return std::move(out).str();
}

std::string profile_decoder::category_name(unsigned int category) {
  const NameTable names = category_names();
  return find_in_table(names.data(), static_cast<unsigned>(names.size()), category);
}

std::string profile_decoder::component_name(unsigned int component) {
  return std::to_string(component);
}

std::string profile_decoder::event_name(unsigned int, unsigned int event) {
  return std::to_string(event);
}

void profile_decoder::parse_datatype(std::stringstream& out, const _VelProfileReport& report) {
  constexpr unsigned without_rules = category_id::count;
  append_payload(out, report, without_rules);
}

void vel::profile::append_payload(std::stringstream& out, const _VelProfileReport& report, unsigned category) {
  const unsigned char* record = bytes_of(report);
  write_block(out, 0, [&](char* p) { return write_payload(p, record, category); });
}

std::string profile_decoder::find_in_table(const entry* table, unsigned int count, unsigned int id) {
  DecimalText digits;
  return std::string(name_of({table, count}, id, digits));
}

std::string profile_decoder::type_name(unsigned int type) {
  const NameTable names = datatype_names();
  return find_in_table(names.data(), static_cast<unsigned>(names.size()), type);
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
