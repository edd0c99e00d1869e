// Sorts records into kinds by the decoder's rows.
#include "velstat/diff/record_kinds.h"

#include <formats/value_path.h>
#include <profile/names.h>
#include <profile/record_view.h>

#include <algorithm>
#include <bitset>

namespace vel::stat {

namespace {

using profile::Field;
using profile::FieldKind;

// Several layouts of a record may read the same bytes. A field is compared only if it has a byte that no field before
// it has read.
class Bytes {
public:
  bool take(const profile::Row& row) {
    bool isNew = false;
    for (std::size_t i = row.offset; i < std::size_t{row.offset} + row.size && i < taken_.size(); ++i) {
      isNew = isNew || !taken_[i];
      taken_.set(i);
    }
    return isNew;
  }

private:
  std::bitset<profile::record_size> taken_;
};

bool isCompared(FieldKind kind) {
  return kind == FieldKind::number || kind == FieldKind::quoted_number || kind == FieldKind::character ||
         kind == FieldKind::fixed_point || kind == FieldKind::text;
}

std::string nameOf(profile::NameTable table, std::uint32_t id) {
  profile::DecimalText digits;
  return std::string(name_of(table, id, digits));
}

} // namespace

void RecordKinds::add(const unsigned char* record) {
  constexpr std::size_t most = 48; // no record has more fields than bytes
  Field fields[most];
  std::size_t count = 0;
  KindIds ids{profile::category(record), profile::component(record), profile::event(record), profile::type(record), 0};
  const profile::Row* action = nullptr;
  Bytes bytes;
  profile::FieldCursor cursor(record);
  for (Field field; cursor.next(field);) {
    if (field.row->kind == FieldKind::subtype_name && action == nullptr) {
      action = field.row;
      ids.action = static_cast<std::uint32_t>(field.number);
      bytes.take(*field.row);
    } else if (isCompared(field.row->kind) && count != most && bytes.take(*field.row)) {
      fields[count++] = field;
    }
  }
  ++count_;
  auto known = kinds_.find(ids);
  if (known == kinds_.end()) {
    if (kinds_.size() == mostKinds) {
      addFurther(record);
      return;
    }
    known = kinds_.try_emplace(ids).first;
    known->second.action = action;
  }
  RecordKind& kind = known->second;
  ++kind.count;
  bool whole = true;
  for (std::size_t i = 0; i < count; ++i) {
    whole = addField(kind, i, fields[i], profile::timestamp(record)) && whole;
  }
  if (!whole) {
    addFurther(record);
  }
}

void RecordKinds::addFurther(const unsigned char* record) {
  ++further_;
  constexpr std::uint64_t prime = 1099511628211; // FNV-1a, 64 bits
  std::uint64_t hash = 14695981039346656037U;
  for (std::size_t i = 0; i < profile::record_size; ++i) {
    const bool inSequence = i - offsetof(_VelProfileReport, sequence_num) < sizeof(_VelProfileReport::sequence_num);
    const bool inTime = i - offsetof(_VelProfileReport, timestamp) < sizeof(_VelProfileReport::timestamp);
    hash = (hash ^ (inSequence || inTime ? 0U : record[i])) * prime;
  }
  furtherSum_ += hash;
}

// False if there is no room for it. `place`: where the field is if all records of the kind have the same layout.
bool RecordKinds::addField(RecordKind& kind, std::size_t place, const Field& field, std::uint64_t time) {
  auto known = kind.fields.begin() + static_cast<std::ptrdiff_t>(std::min(place, kind.fields.size()));
  if (known == kind.fields.end() || known->row != field.row) {
    known =
        std::find_if(kind.fields.begin(), kind.fields.end(), [&](const KindField& f) { return f.row == field.row; });
  }
  if (known == kind.fields.end()) {
    if (fields_ == mostFields) {
      return false;
    }
    ++fields_;
    known = kind.fields.insert(known, KindField{field.row, {}, {}});
  }
  if (field.row->kind != FieldKind::text) {
    known->range.add(field.row->kind == FieldKind::fixed_point ? field.real : static_cast<double>(field.number), time);
    return true;
  }
  const auto text =
      std::lower_bound(known->texts.begin(), known->texts.end(), field.bytes,
                       [](const CountedText& each, std::string_view wanted) { return each.text < wanted; });
  if (text != known->texts.end() && text->text == field.bytes) {
    ++text->count;
  } else if (known->texts.size() == mostTexts) {
    known->hasMore = true;
  } else {
    known->texts.insert(text, {std::string(field.bytes), 1});
  }
  return true;
}

std::string kindPath(const KindIds& ids, const RecordKind& kind) {
  formats::ValuePath path;
  path.push(nameOf(profile::category_names(), ids.category));
  path.push(nameOf(profile::component_names(ids.category), ids.component));
  const std::string event = nameOf(profile::event_names(ids.category, ids.component), ids.event);
  const std::string action =
      kind.action == nullptr ? event : nameOf(profile::subtype_names(ids.category, ids.component), ids.action);
  // Most events with an action have the same name as the action's field; such a name adds nothing.
  if (action == event || event != kind.action->key) {
    path.push(event);
  }
  if (action != event) {
    path.push(action);
  }
  path.push(nameOf(profile::datatype_names(), ids.type));
  return std::string(path.text());
}

} // namespace vel::stat
