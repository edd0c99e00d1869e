// The judgement of records, and the search after damage.
#include <decode/recovery.h>

#include <decode/json_fields.h>
#include <decode/renderer.h>

#include <algorithm>
#include <bitset>

namespace vel::stat {

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
bool isPlausible(const unsigned char* record) {
  static const std::bitset<256> categories = ids(profile::category_names());
  static const std::bitset<256> types = ids(profile::datatype_names());
  return categories[record[3]] && types[record[0]] &&
         std::any_of(record, record + recordSize, [](unsigned char byte) { return byte != 0; });
}

// Sequence numbers wrap around.
bool rises(std::uint32_t from, std::uint32_t to) {
  return to - from - 1 < largestStep;
}

bool endsHere(Bytes bytes, std::size_t at, bool atEnd) {
  return atEnd && bytes.size() == at;
}

} // namespace

bool RecordFinder::continuesLast(const unsigned char* record) const {
  return last_ && rises(*last_, sequenceNumber(record));
}

// Whole records at the front that agree. At the end of the file fewer are enough, and a single one if it closes the
// file and its number follows.
bool RecordFinder::beginsRun(Bytes bytes, bool atEnd) const {
  const std::size_t count = std::min(agreeingRecords, bytes.size() / recordSize);
  if (count == 0 || (count < agreeingRecords && !atEnd) || !isPlausible(bytes.data())) {
    return false;
  }
  if (count == 1) {
    return endsHere(bytes, recordSize, atEnd) && continuesLast(bytes.data());
  }
  for (std::size_t i = 1; i < count; ++i) {
    const unsigned char* const record = bytes.data() + i * recordSize;
    if (!isPlausible(record) || !rises(sequenceNumber(record - recordSize), sequenceNumber(record))) {
      return false;
    }
  }
  return true;
}

bool RecordFinder::isLate(Bytes bytes, bool atEnd) const {
  for (std::size_t i = 0; i < agreeingRecords; ++i) {
    const std::size_t at = i * recordSize;
    if (i != 0 && endsHere(bytes, at, atEnd)) {
      return true;
    }
    if (bytes.size() < at + recordSize || !isPlausible(bytes.data() + at)) {
      return false;
    }
    if (i != 0 && continuesLast(bytes.data() + at)) {
      return true;
    }
    if (!last_ || *last_ - sequenceNumber(bytes.data() + at) > largestDelay) {
      return false;
    }
  }
  return false;
}

RecordFinder::Proof RecordFinder::judge(Bytes bytes, bool atEnd) const {
  if (bytes.size() < recordSize || !isPlausible(bytes.data())) {
    return Proof::none;
  }
  if (continuesLast(bytes.data())) {
    return Proof::continues;
  }
  if (beginsRun(bytes, atEnd)) {
    return Proof::run;
  }
  if (isLate(bytes, atEnd)) {
    return Proof::late;
  }
  return !last_ && endsHere(bytes, recordSize, atEnd) ? Proof::alone : Proof::none;
}

RecordFinder::Found RecordFinder::search(Bytes window, std::size_t from, bool atEnd) const {
  const std::size_t needed = atEnd ? recordSize : agreeingRecords * recordSize;
  std::size_t at = from;
  for (; at + needed <= window.size(); ++at) {
    if (beginsRun(window.subspan(at), atEnd)) {
      return {at, true};
    }
  }
  return {atEnd ? window.size() : at, false};
}

// Damage at the front, or the rest of one.
RecordFinder::Step RecordFinder::leave(Bytes window, std::size_t from, bool atEnd) {
  const Found found = search(window, from, atEnd);
  insideDamage_ = !found.isRecord;
  front_ = found.isRecord ? Proof::run : Proof::none;
  return {false, found.at, !found.isRecord && !atEnd};
}

RecordFinder::Step RecordFinder::next(Bytes window, bool atEnd) {
  if (insideDamage_) {
    return leave(window, 0, atEnd);
  }
  if (front_ == Proof::none) {
    front_ = judge(window, atEnd);
    if (front_ == Proof::none) {
      return leave(window, 1, atEnd);
    }
  }
  const std::optional<std::uint32_t> before = last_;
  if (front_ != Proof::late) {
    last_ = sequenceNumber(window.data());
  }
  const Bytes rest = window.subspan(recordSize);
  front_ = judge(rest, atEnd);
  if (front_ != Proof::none || (rest.empty() && atEnd)) {
    return {true, 0, false};
  }
  // Damage after this record, or inside it: if bytes were lost, the next record begins before this one's end.
  const Found found = search(window, 1, atEnd);
  insideDamage_ = !found.isRecord;
  front_ = found.isRecord ? Proof::run : Proof::none;
  if (found.isRecord && found.at < recordSize) {
    last_ = before;
    return {false, found.at, false};
  }
  return {true, std::max(found.at, recordSize) - recordSize, !found.isRecord && !atEnd};
}

} // namespace vel::stat
