// Looks up keys and names in the decoder's own tables, so that a field's offset is written only there.
#include "synthetic/recorder.h"

#include <profile/layout.h>
#include <profile/names.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vel::synthetic {

namespace {

[[noreturn]] void refuse(std::string_view what) {
  std::fprintf(stderr, "a synthetic flow names '%.*s', which no table holds\n", static_cast<int>(what.size()),
               what.data());
  std::abort();
}

std::uint32_t resolve(profile::NameTable table, std::string_view name) {
  if (const auto id = id_of(table, name)) {
    return *id;
  }
  std::uint32_t id = 0;
  if (std::from_chars(name.data(), name.data() + name.size(), id).ptr != name.data() + name.size()) {
    refuse(name);
  }
  return id;
}

void store(unsigned char* at, std::size_t size, std::uint64_t value) {
  for (std::size_t i = 0; i < size; ++i) {
    at[i] = static_cast<unsigned char>(value >> (8 * i));
  }
}

} // namespace

unsigned char* Draft::field(std::string_view key, std::size_t& size) {
  unsigned char* const record = reinterpret_cast<unsigned char*>(&record_);
  for (const profile::Layout* const layout : profile::shown_layouts(record)) {
    for (const profile::Row& row : layout->rows) {
      if (row.key == key) {
        size = row.size;
        return record + row.offset;
      }
    }
  }
  refuse(key);
}

Draft& Draft::number(std::string_view key, std::uint64_t value) {
  std::size_t size = 0;
  unsigned char* const at = field(key, size);
  store(at, size, value);
  return *this;
}

Draft& Draft::text(std::string_view key, std::string_view value) {
  std::size_t size = 0;
  unsigned char* const at = field(key, size);
  std::memcpy(at, value.data(), std::min(size, value.size()));
  return *this;
}

Draft& Draft::bytes(std::string_view key, Random& random) {
  std::size_t size = 0;
  unsigned char* const at = field(key, size);
  std::generate_n(at, size, [&] { return static_cast<unsigned char>(random.next() >> 56); });
  return *this;
}

Draft& Draft::action(std::string_view name) {
  return number("trace", resolve(profile::subtype_names(record_.category, record_.component), name));
}

Draft& Draft::contextVersion(std::uint16_t version) {
  store(record_.payload, sizeof version, version);
  return *this;
}

Draft Recorder::add(const Kind& kind) {
  _VelProfileReport record = {};
  const std::uint32_t category = resolve(profile::category_names(), kind.category);
  const std::uint32_t component = resolve(profile::component_names(category), kind.component);
  record.category = static_cast<std::uint8_t>(category);
  record.component = static_cast<std::uint8_t>(component);
  record.event = static_cast<std::uint8_t>(resolve(profile::event_names(category, component), kind.event));
  record.type = static_cast<std::uint8_t>(resolve(profile::datatype_names(), kind.type));
  unsigned char* const bytes = reinterpret_cast<unsigned char*>(&record);
  store(bytes + offsetof(_VelProfileReport, sequence_num), sizeof record.sequence_num, sequence_++);
  store(bytes + offsetof(_VelProfileReport, timestamp), sizeof record.timestamp, clock_);
  records_.push_back(record);
  return Draft(records_.back());
}

} // namespace vel::synthetic
