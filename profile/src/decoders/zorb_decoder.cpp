// The only decoder that is more than a row of the category table, because subclasses can name its actions.
#include "engine.h"
#include "profile/profile_decoder.h"
#include "text_block.h"

using namespace vel::profile;

std::string zorb_decoder::subtype_name(unsigned int component, unsigned int subtype) {
  constexpr unsigned latency = 3;
  if (component == latency) {
    return event_name(latency, subtype); // virtual
  }
  return name_in(subtype_names(category_id::zorb, component), subtype);
}

void zorb_decoder::parse_datatype(std::stringstream& out, const _VelProfileReport& report) {
  const unsigned char* record = bytes_of(report);
  const Choice choice = choose(category_id::zorb, record);
  const std::size_t offset = subtype_offset(choice);
  if (offset == 0) {
    return append_payload(out, report, category_id::zorb);
  }
  const std::string subtype = subtype_name(report.component, load<std::uint32_t>(record + offset));
  write_block(out, subtype.size(), [&](char* p) { return write_payload(p, record, choice, subtype); });
}
