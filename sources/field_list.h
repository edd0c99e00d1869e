// The fields that `velstat decode --fields` names, and their values.
#pragma once

#include <profile/fields.h>
#include <profile/render.h>
#include <profile/wall_time.h>
#include <sources/output_buffer.h>

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vel::sources {

// A field that every record has, such as "timestamp", or a field of payloads, such as "arg1".
struct ListedField {
  std::string name;                      // as in JSON; "LAYOUT.KEY" if it was asked for like that
  std::size_t common = 0;                // the number of the CSV column, from 1; 0: a field of payloads
  std::vector<const profile::Row*> rows; // for each layout; null: the layout lacks it
};

class FieldList {
public:
  // "timestamp,trace,event.arg1": names in any case. In a record that shows two layouts with the same key, the key
  // means the first one's field. Throws std::invalid_argument for an unknown name, with the nearest one.
  explicit FieldList(std::string_view names);

  std::span<const ListedField> fields() const { return fields_; }

private:
  std::vector<ListedField> fields_;
};

// Reads the values of listed fields. [one thread at a time; as many objects as threads]
class FieldValues {
public:
  explicit FieldValues(const profile::TimePolicy& times);

  // Sets the record that the next calls read. [borrowed]
  void setRecord(const unsigned char* record);

  // Appends the value; false if the record lacks the field.
  bool appendJson(OutputBuffer& out, const ListedField& field);
  // The payload field for this record; nothing if the record lacks it, or for a field that every record has.
  std::optional<profile::Field> payloadField(const ListedField& field, profile::DecimalText& digits) const;
  // Printable ASCII without quotation marks around it.
  bool appendPlain(OutputBuffer& out, const ListedField& field);

private:
  std::optional<profile::WallClock> wall_;
  std::optional<std::uint64_t> boot_;
  const unsigned char* record_ = nullptr;
  profile::ShownLayouts shown_;
};

} // namespace vel::sources
