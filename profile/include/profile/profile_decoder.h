// The decoder family: one class a category, each nothing but its dispatch table.
#pragma once

#include "profile/VelProfileReport.h"
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

  // Local calendar time of a time stamp; false, with `out` untouched, without a usable time-sync service.
  bool vel_time_to_wall_time(unsigned long long timestamp, std::string& out);
  // The host's boot time in microseconds since the epoch; false, with `boot` untouched, if it cannot be read.
  bool get_boot_time(unsigned long long& boot);
};

class execution_decoder : public profile_decoder {
public:
  std::string component_name(unsigned int component) override;
  std::string event_name(unsigned int component, unsigned int event) override;
};

class trace_decoder : public profile_decoder {
public:
  std::string component_name(unsigned int component) override;
  std::string event_name(unsigned int component, unsigned int event) override;
};

class sensor_decoder : public profile_decoder {
public:
  std::string component_name(unsigned int component) override;
  std::string event_name(unsigned int component, unsigned int event) override;
};

class lantor_decoder : public profile_decoder {
public:
  std::string component_name(unsigned int component) override;
  std::string event_name(unsigned int component, unsigned int event) override;
};

class corvane_decoder : public profile_decoder {
public:
  std::string component_name(unsigned int component) override;
  std::string event_name(unsigned int component, unsigned int event) override;
  void parse_datatype(std::stringstream& out, const _VelProfileReport& report) override;
};

class interrupt_decoder : public profile_decoder {
public:
  std::string component_name(unsigned int component) override;
  std::string event_name(unsigned int component, unsigned int event) override;
};

class uart_decoder : public profile_decoder {
public:
  std::string component_name(unsigned int component) override;
  std::string event_name(unsigned int component, unsigned int event) override;
};

class zorb_decoder : public profile_decoder {
public:
  std::string component_name(unsigned int component) override;
  std::string event_name(unsigned int component, unsigned int event) override;
  void parse_datatype(std::stringstream& out, const _VelProfileReport& report) override;
  std::string subtype_name(unsigned int component, unsigned int subtype);
};

class scm_decoder : public profile_decoder {
public:
  std::string component_name(unsigned int component) override;
  std::string event_name(unsigned int component, unsigned int event) override;
};
