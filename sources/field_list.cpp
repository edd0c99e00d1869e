#include "sources/field_list.h"

#include <formats/nearest_name.h>
#include <sources/json_fields.h>
#include <sources/plain_fields.h>
#include <sources/record.h>
#include <sources/record_names.h>

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

namespace vel::sources {

namespace {

// In the order of commonFieldNames().
namespace common {
enum : std::size_t {
  category = 1,
  component,
  event,
  type,
  timestamp,
  sequence,
  payload,
  typeId,
  categoryId,
  componentId,
  eventId,
  binaryData,
  calendarTime,
  bootTimestamp,
};
} // namespace common

std::string_view bytesOf(const unsigned char* record) {
  return {reinterpret_cast<const char*>(record), recordSize};
}

ListedField fieldNamed(std::string_view name) {
  ListedField found;
  const std::vector<std::string_view> everywhere = commonFieldNames();
  const auto known = std::find_if(everywhere.begin(), everywhere.end(),
                                  [&](std::string_view each) { return formats::equalIgnoringCase(each, name); });
  if (known != everywhere.end()) {
    found.name = *known;
    found.common = static_cast<std::size_t>(known - everywhere.begin()) + 1;
    return found;
  }
  const bool isQualified = name.find('.') != std::string_view::npos;
  for (const profile::Layout& layout : profile::all_layouts()) {
    const profile::Row*& row = found.rows.emplace_back();
    for (const profile::Row& candidate : layout.rows) {
      const std::string full =
          isQualified ? fmt::format("{}.{}", layout.name, candidate.key) : std::string(candidate.key);
      if (formats::equalIgnoringCase(full, name)) {
        row = &candidate;
        found.name = full;
      }
    }
  }
  if (found.name.empty()) {
    const std::vector<std::string> keys = payloadFieldNames(isQualified);
    std::vector<std::string_view> names = everywhere;
    names.insert(names.end(), keys.begin(), keys.end());
    const auto nearest = formats::nearestName(name, names);
    throw std::invalid_argument(
        fmt::format("there is no field '{}'{}", name, nearest ? fmt::format("; did you mean '{}'?", *nearest) : ""));
  }
  return found;
}

} // namespace

FieldList::FieldList(std::string_view names) {
  for (std::size_t begin = 0; begin <= names.size();) {
    const std::size_t end = std::min(names.find(',', begin), names.size());
    ListedField field = fieldNamed(names.substr(begin, end - begin));
    if (std::any_of(fields_.begin(), fields_.end(), [&](const ListedField& each) { return each.name == field.name; })) {
      throw std::invalid_argument(fmt::format("the field '{}' is named twice", field.name));
    }
    fields_.push_back(std::move(field));
    begin = end + 1;
  }
}

FieldValues::FieldValues(const profile::TimePolicy& times) : boot_(times.boot) {
  if (times.sync) {
    wall_.emplace(*times.sync);
  }
}

void FieldValues::setRecord(const unsigned char* record) {
  record_ = record;
  shown_ = profile::shown_layouts(record);
}

std::optional<profile::Field> FieldValues::payloadField(const ListedField& field, profile::DecimalText& digits) const {
  if (field.common != 0) {
    return std::nullopt;
  }
  for (const profile::Layout* const layout : shown_) {
    const auto index = static_cast<std::size_t>(layout - profile::all_layouts().data());
    if (field.rows[index] != nullptr) {
      return read_field(record_, *field.rows[index], digits);
    }
  }
  return std::nullopt;
}

bool FieldValues::appendJson(OutputBuffer& out, const ListedField& field) {
  switch (field.common) {
  case 0: {
    profile::DecimalText digits;
    const auto value = payloadField(field, digits);
    if (value) {
      appendJsonField(out, *value);
    }
    return value.has_value();
  }
  case common::payload:
    appendJsonPayload(out, record_);
    return true;
  case common::binaryData:
    appendJsonList(out, bytesOf(record_));
    return true;
  case common::sequence:
  case common::typeId:
  case common::categoryId:
  case common::componentId:
  case common::eventId:
    return appendPlain(out, field);
  default: { // strings of characters that need no escapes
    const std::size_t begin = out.view().size();
    out.append('"');
    if (!appendPlain(out, field)) {
      out.cut(begin);
      return false;
    }
    out.append('"');
    return true;
  }
  }
}

bool FieldValues::appendPlain(OutputBuffer& out, const ListedField& field) {
  switch (field.common) {
  case 0: {
    profile::DecimalText digits;
    const auto value = payloadField(field, digits);
    if (value) {
      appendPlainField(out, *value);
    }
    return value.has_value();
  }
  case common::category:
    out.append(RecordNames(record_).category);
    break;
  case common::component:
    out.append(RecordNames(record_).component);
    break;
  case common::event:
    out.append(RecordNames(record_).event);
    break;
  case common::type:
    out.append(RecordNames(record_).type);
    break;
  case common::timestamp:
    out.appendNumber(timeStamp(record_));
    break;
  case common::sequence:
    out.appendNumber(sequenceNumber(record_));
    break;
  case common::payload:
    appendJsonPayload(out, record_);
    break;
  case common::typeId:
    out.appendNumber(unsigned{profile::type(record_)});
    break;
  case common::categoryId:
    out.appendNumber(unsigned{profile::category(record_)});
    break;
  case common::componentId:
    out.appendNumber(unsigned{profile::component(record_)});
    break;
  case common::eventId:
    out.appendNumber(unsigned{profile::event(record_)});
    break;
  case common::binaryData:
    appendHex(out, bytesOf(record_));
    break;
  case common::calendarTime:
    if (wall_) {
      out.append(wall_->text(timeStamp(record_)));
    }
    return wall_.has_value();
  case common::bootTimestamp:
    if (boot_) {
      out.appendNumber(*boot_);
    }
    return boot_.has_value();
  default:
    return false;
  }
  return true;
}

} // namespace vel::sources
