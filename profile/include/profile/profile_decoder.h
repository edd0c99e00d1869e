// The decoder classes: the base, and one class for each category that has names. An object is only its dispatch table.
#pragma once

#include "profile/VelProfileReport.h"
#include "profile/category.h"
#include "profile/names.h"

#include <sstream>
#include <string>

// Decoders hold no state and are shared by all threads. There is no virtual destructor: decoder objects are static
// and never deleted through a base pointer. The virtual members' order is their slot order, and their signatures are
// those that outside subclasses override.
class profile_decoder {
public:
  using entry = vel::profile::NameRow;

  virtual std::string to_string(const _VelProfileReport& report);
  virtual std::string category_name(unsigned int category);
  virtual std::string component_name(unsigned int component);
  virtual std::string event_name(unsigned int component, unsigned int event);
  virtual void parse_datatype(std::stringstream& out, const _VelProfileReport& report);

  // The name of the first row with this id, or the id in decimal.
  std::string find_in_table(const entry* table, unsigned int count, unsigned int id);
  std::string type_name(unsigned int type);

  // " 'name':", "'value'" and "[1,2,3]".
  std::string key(std::string name);
  std::string str(std::string value);
  std::string dump(const void* data, unsigned int length);

  // Local calendar time of a time stamp; false, with `out` unchanged, if there is no usable time-sync service.
  bool vel_time_to_wall_time(unsigned long long timestamp, std::string& out);
  // The host's boot time in microseconds since the epoch; false, with `boot` unchanged, if it cannot be read.
  bool get_boot_time(unsigned long long& boot);
};

namespace vel::profile {

// Appends a record's payload by the rules and with the names of a category, which need not be the record's. [any
// thread]
void append_payload(std::stringstream& out, const _VelProfileReport& report, unsigned category);

} // namespace vel::profile

// A decoder that reads one row of the category table, and nothing else.
template <unsigned Category>
class category_decoder : public profile_decoder {
public:
  std::string component_name(unsigned int component) override {
    return name_in(vel::profile::component_names(Category), component);
  }
  std::string event_name(unsigned int component, unsigned int event) override {
    return name_in(vel::profile::event_names(Category, component), event);
  }
  void parse_datatype(std::stringstream& out, const _VelProfileReport& report) override {
    vel::profile::append_payload(out, report, Category);
  }

protected:
  std::string name_in(vel::profile::NameTable table, unsigned int id) {
    return find_in_table(table.data(), static_cast<unsigned int>(table.size()), id);
  }
};

class execution_decoder : public category_decoder<vel::profile::category_id::execution> {};
class trace_decoder : public category_decoder<vel::profile::category_id::trace> {};
class sensor_decoder : public category_decoder<vel::profile::category_id::sensors> {};
class lantor_decoder : public category_decoder<vel::profile::category_id::lantor> {};
class corvane_decoder : public category_decoder<vel::profile::category_id::corvane> {};
class interrupt_decoder : public category_decoder<vel::profile::category_id::interrupt> {};
class uart_decoder : public category_decoder<vel::profile::category_id::uart> {};
class scm_decoder : public category_decoder<vel::profile::category_id::scm> {};

// Calls the virtual event_name for the names of the latency component's actions, so that a subclass that names
// checkpoints also names these actions.
class zorb_decoder : public category_decoder<vel::profile::category_id::zorb> {
public:
  void parse_datatype(std::stringstream& out, const _VelProfileReport& report) override;
  std::string subtype_name(unsigned int component, unsigned int subtype);
};
