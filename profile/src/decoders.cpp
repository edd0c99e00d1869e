// What the subclasses override: their names, and the payloads of Corvane and ZORB.
#include "choice.h"
#include "profile/KIPLogDecoder.h"
#include "stream_block.h"

using namespace vel::profile;

namespace {

std::string name_in(NameTable table, unsigned id) {
  DecimalText digits;
  return std::string(name_of(table, id, digits));
}

} // namespace

std::string execution_decoder::component_name(unsigned int component) {
  return name_in(component_table(category::execution), component);
}

std::string execution_decoder::event_name(unsigned int component, unsigned int event) {
  return name_in(event_table(category::execution, component), event);
}

std::string trace_decoder::component_name(unsigned int component) {
  return name_in(component_table(category::trace), component);
}

std::string trace_decoder::event_name(unsigned int component, unsigned int event) {
  return name_in(event_table(category::trace, component), event);
}

std::string sensor_decoder::component_name(unsigned int component) {
  return name_in(component_table(category::sensors), component);
}

std::string sensor_decoder::event_name(unsigned int component, unsigned int event) {
  return name_in(event_table(category::sensors, component), event);
}

std::string lantor_decoder::component_name(unsigned int component) {
  return name_in(component_table(category::lantor), component);
}

std::string lantor_decoder::event_name(unsigned int component, unsigned int event) {
  return name_in(event_table(category::lantor, component), event);
}

std::string corvane_decoder::component_name(unsigned int component) {
  return name_in(component_table(category::corvane), component);
}

std::string corvane_decoder::event_name(unsigned int component, unsigned int event) {
  return name_in(event_table(category::corvane, component), event);
}

void corvane_decoder::parse_datatype(std::stringstream& out, const _VelProfileReport& report) {
  const unsigned char* record = bytes_of(report);
  write_block(out, 0, [&](char* p) { return write_payload(p, record, choose_corvane(record)); });
}

std::string interrupt_decoder::component_name(unsigned int component) {
  return name_in(component_table(category::interrupt), component);
}

std::string interrupt_decoder::event_name(unsigned int component, unsigned int event) {
  return name_in(event_table(category::interrupt, component), event);
}

std::string uart_decoder::component_name(unsigned int component) {
  return name_in(component_table(category::uart), component);
}

std::string uart_decoder::event_name(unsigned int component, unsigned int event) {
  return name_in(event_table(category::uart, component), event);
}

std::string zorb_decoder::component_name(unsigned int component) {
  return name_in(component_table(category::zorb), component);
}

std::string zorb_decoder::event_name(unsigned int component, unsigned int event) {
  return name_in(event_table(category::zorb, component), event);
}

std::string zorb_decoder::subtype_name(unsigned int component, unsigned int subtype) {
  if (component == zorb_latency_component) {
    return event_name(zorb_latency_component, subtype); // virtual: a subclass's checkpoints name its actions too
  }
  return name_in(subtype_table(component), subtype);
}

void zorb_decoder::parse_datatype(std::stringstream& out, const _VelProfileReport& report) {
  const unsigned char* record = bytes_of(report);
  const Choice choice = choose_zorb(record);
  if (choice.first != layouts::zorb_event || this == &KIPLogDecoder::_zorb) {
    write_block(out, 0, [&](char* p) { return write_payload(p, record, choice); });
    return;
  }
  const std::string subtype = subtype_name(report.component, load<std::uint32_t>(record + layouts::action_row.offset));
  write_block(out, subtype.size(), [&](char* p) { return write_zorb_event(p, record, subtype); });
}

std::string scm_decoder::component_name(unsigned int component) {
  return name_in(component_table(category::scm), component);
}

std::string scm_decoder::event_name(unsigned int component, unsigned int event) {
  return name_in(event_table(category::scm, component), event);
}
