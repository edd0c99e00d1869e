// The judgement of records, and the search after damage.
#include "recovery.h"

#include "json_fields.h"
#include "renderer.h"

#include <algorithm>
#include <bitset>

namespace vel::decode {

namespace {

using Bytes = std::span<const unsigned char>;

std::bitset<256> ids(profile::NameTable table) {
  std::bitset<256> known;
  for (const profile::NameRow& row : table) {
    known.set(row.id);
  }
  return known;
}

// A zeroed stretch of a file would otherwise read as the report of category 0 and type 0.
bool is_plausible(const unsigned char* record) {
  static const std::bitset<256> categories = ids(profile::category_names());
  static const std::bitset<256> types = ids(profile::datatype_names());
  return categories[record[3]] && types[record[0]] &&
         std::any_of(record, record + record_size, [](unsigned char byte) { return byte != 0; });
}

// Sequence numbers wrap around.
bool rises(std::uint32_t from, std::uint32_t to) {
  return to - from - 1 < largest_step;
}

bool ends_here(Bytes bytes, std::size_t at, bool at_end) {
  return at_end && bytes.size() == at;
}

} // namespace

bool RecordFinder::continues_last(const unsigned char* record) const {
  return last_ && rises(*last_, sequence_number(record));
}

// Whole records at the front that agree. At the end of the file fewer are enough, and a single one if it closes the
// file and its number follows.
bool RecordFinder::begins_run(Bytes bytes, bool at_end) const {
  const std::size_t count = std::min(agreeing_records, bytes.size() / record_size);
  if (count == 0 || (count < agreeing_records && !at_end) || !is_plausible(bytes.data())) {
    return false;
  }
  if (count == 1) {
    return ends_here(bytes, record_size, at_end) && continues_last(bytes.data());
  }
  for (std::size_t i = 1; i < count; ++i) {
    const unsigned char* const record = bytes.data() + i * record_size;
    if (!is_plausible(record) || !rises(sequence_number(record - record_size), sequence_number(record))) {
      return false;
    }
  }
  return true;
}

bool RecordFinder::is_late(Bytes bytes, bool at_end) const {
  for (std::size_t i = 0; i < agreeing_records; ++i) {
    const std::size_t at = i * record_size;
    if (i != 0 && ends_here(bytes, at, at_end)) {
      return true;
    }
    if (bytes.size() < at + record_size || !is_plausible(bytes.data() + at)) {
      return false;
    }
    if (i != 0 && continues_last(bytes.data() + at)) {
      return true;
    }
    if (!last_ || *last_ - sequence_number(bytes.data() + at) > largest_delay) {
      return false;
    }
  }
  return false;
}

RecordFinder::Proof RecordFinder::judge(Bytes bytes, bool at_end) const {
  if (bytes.size() < record_size || !is_plausible(bytes.data())) {
    return Proof::none;
  }
  if (continues_last(bytes.data())) {
    return Proof::continues;
  }
  if (begins_run(bytes, at_end)) {
    return Proof::run;
  }
  if (is_late(bytes, at_end)) {
    return Proof::late;
  }
  return !last_ && ends_here(bytes, record_size, at_end) ? Proof::alone : Proof::none;
}

RecordFinder::Found RecordFinder::search(Bytes window, std::size_t from, bool at_end) const {
  const std::size_t needed = at_end ? record_size : agreeing_records * record_size;
  std::size_t at = from;
  for (; at + needed <= window.size(); ++at) {
    if (begins_run(window.subspan(at), at_end)) {
      return {at, true};
    }
  }
  return {at_end ? window.size() : at, false};
}

// Damage at the front, or the rest of one.
RecordFinder::Step RecordFinder::leave(Bytes window, std::size_t from, bool at_end) {
  const Found found = search(window, from, at_end);
  inside_damage_ = !found.is_record;
  front_ = found.is_record ? Proof::run : Proof::none;
  return {false, found.at, !found.is_record && !at_end};
}

RecordFinder::Step RecordFinder::next(Bytes window, bool at_end) {
  if (inside_damage_) {
    return leave(window, 0, at_end);
  }
  if (front_ == Proof::none) {
    front_ = judge(window, at_end);
    if (front_ == Proof::none) {
      return leave(window, 1, at_end);
    }
  }
  const std::optional<std::uint32_t> before = last_;
  if (front_ != Proof::late) {
    last_ = sequence_number(window.data());
  }
  const Bytes rest = window.subspan(record_size);
  front_ = judge(rest, at_end);
  if (front_ != Proof::none || (rest.empty() && at_end)) {
    return {true, 0, false};
  }
  // Damage after this record, or inside it: if bytes were lost, the next record begins before this one's end.
  const Found found = search(window, 1, at_end);
  inside_damage_ = !found.is_record;
  front_ = found.is_record ? Proof::run : Proof::none;
  if (found.is_record && found.at < record_size) {
    last_ = before;
    return {false, found.at, false};
  }
  return {true, std::max(found.at, record_size) - record_size, !found.is_record && !at_end};
}

} // namespace vel::decode
