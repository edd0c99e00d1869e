// Judges records, and searches for the next ones after damage.
#include "sources/recovery.h"

#include <profile/names.h>

#include <algorithm>
#include <bitset>

namespace vel::sources {

namespace {

using Bytes = std::span<const unsigned char>;

std::bitset<256> ids(profile::NameTable table) {
  std::bitset<256> known;
  for (const profile::NameRow& row : table) {
    known.set(row.id);
  }
  return known;
}

// Records of zeros only are not plausible: otherwise a zeroed stretch of a file would be taken for records.
bool isPlausible(const unsigned char* record) {
  static const std::bitset<256> categories = ids(profile::category_names());
  static const std::bitset<256> types = ids(profile::datatype_names());
  return categories[profile::category(record)] && types[profile::type(record)] &&
         std::any_of(record, record + recordSize, [](unsigned char byte) { return byte != 0; });
}

bool endsHere(Bytes bytes, std::size_t at, bool atEnd) {
  return atEnd && bytes.size() == at;
}

} // namespace

RecordFinder::Stamp RecordFinder::stampOf(const unsigned char* record) {
  return {sequenceNumber(record), timeStamp(record)};
}

// Numbers and times wrap around.
bool RecordFinder::agree(const Stamp& first, const unsigned char* second, std::uint32_t most) {
  const Stamp stamp = stampOf(second);
  return stamp.number - first.number - 1 < most &&
         stamp.time - first.time + largestDisorder <= largestPause + largestDisorder && isPlausible(second);
}

bool RecordFinder::followsLast(const unsigned char* record) const {
  return last_ && agree(*last_, record, usualStep);
}

// Whether the bytes are a file's first record. Its place is probably right, so two records that agree suffice.
bool RecordFinder::begins(Bytes bytes, bool atEnd) {
  return bytes.size() >= recordSize && isPlausible(bytes.data()) &&
         (endsHere(bytes, recordSize, atEnd) ||
          (bytes.size() >= 2 * recordSize && agree(stampOf(bytes.data()), bytes.data() + recordSize, largestStep)));
}

// A penalty for a run of agreeing records at the front; lower is better. Nothing if they do not agree. At the end of
// the file fewer records suffice, even a single one if it ends with the file and its number follows the last one's.
std::optional<std::uint64_t> RecordFinder::runDoubt(Bytes bytes, bool atEnd) const {
  const std::size_t count = std::min(agreeingRecords, bytes.size() / recordSize);
  if (count == 0 || (count < agreeingRecords && !atEnd) || !isPlausible(bytes.data())) {
    return std::nullopt;
  }
  // Judged only by its number: the time of a cut record may be anything.
  const bool isNext = last_ && sequenceNumber(bytes.data()) - last_->number - 1 < largestStep;
  if (count == 1 && !(isNext && endsHere(bytes, recordSize, atEnd))) {
    return std::nullopt;
  }
  for (std::size_t i = 1; i < count; ++i) {
    const unsigned char* const record = bytes.data() + i * recordSize;
    if (!agree(stampOf(record - recordSize), record, largestStep)) {
      return std::nullopt;
    }
  }
  const std::uint32_t first = sequenceNumber(bytes.data());
  const std::uint32_t rise = sequenceNumber(bytes.data() + (count - 1) * recordSize) - first;
  return std::uint64_t{rise} + (isNext ? first - last_->number : largestStep);
}

// Whether the first record is late: a slightly lower number at about the same time, with the numbers going on after it.
bool RecordFinder::isLate(Bytes bytes, bool atEnd) const {
  for (std::size_t i = 0; i < agreeingRecords; ++i) {
    const std::size_t at = i * recordSize;
    if (i != 0 && endsHere(bytes, at, atEnd)) {
      return true;
    }
    if (!last_ || bytes.size() < at + recordSize || !isPlausible(bytes.data() + at)) {
      return false;
    }
    const unsigned char* const record = bytes.data() + at;
    if (i != 0 && followsLast(record)) {
      return true;
    }
    const std::uint64_t ahead = timeStamp(record) - last_->time;
    if (last_->number - sequenceNumber(record) > largestDelay || ahead + largestDisorder > 2 * largestDisorder) {
      return false;
    }
  }
  return false;
}

RecordFinder::Proof RecordFinder::judge(Bytes bytes, bool atEnd) const {
  if (bytes.size() < recordSize) {
    return Proof::none;
  }
  if (followsLast(bytes.data())) {
    return Proof::follows;
  }
  return isLate(bytes, atEnd) ? Proof::late : Proof::none;
}

// Rising numbers are also found at wrong places: time stamps rise, and so do counters in payloads. So the search does
// not stop at the first place where records agree, but takes the best one within the next three records, of which one
// or two may be damaged.
RecordFinder::Found RecordFinder::search(Bytes window, std::size_t from, bool atEnd) const {
  constexpr std::size_t span = 3 * recordSize;
  const std::size_t needed = atEnd ? recordSize : agreeingRecords * recordSize;
  std::size_t at = from;
  while (at + needed <= window.size() && !runDoubt(window.subspan(at), atEnd)) {
    ++at;
  }
  if (at + needed > window.size()) {
    return {atEnd ? window.size() : at, false};
  }
  if (at + span - 1 + needed > window.size() && !atEnd) {
    return {at, false};
  }
  std::size_t best = at;
  std::uint64_t least = *runDoubt(window.subspan(at), atEnd);
  for (std::size_t other = at + 1; other < at + span && other + needed <= window.size(); ++other) {
    const std::optional<std::uint64_t> doubt = runDoubt(window.subspan(other), atEnd);
    if (doubt && *doubt < least) {
      best = other;
      least = *doubt;
    }
  }
  while (best >= at + recordSize) { // the run may have begun earlier, with a small gap in it
    const std::optional<std::uint64_t> doubt = runDoubt(window.subspan(best - recordSize), atEnd);
    if (!doubt || *doubt > least + usualStep) {
      break;
    }
    best -= recordSize;
    least = *doubt;
  }
  return {best, true};
}

static_assert(recordSize - 1 + 3 * recordSize - 1 + agreeingRecords * recordSize <= RecordFinder::viewSize,
              "whether the front is cut is decided in one step");

// The step for damage at the front.
RecordFinder::Step RecordFinder::leave(Bytes window, bool atEnd) {
  const Found found = search(window, 0, atEnd);
  insideDamage_ = !found.isRecord;
  front_ = found.isRecord ? Proof::run : Proof::none;
  return {false, found.at, !found.isRecord && !atEnd};
}

RecordFinder::Step RecordFinder::next(Bytes window, bool atEnd) {
  if (insideDamage_ || (front_ == Proof::none && !begins(window, atEnd))) {
    return leave(window, atEnd);
  }
  const std::optional<Stamp> before = last_;
  if (front_ != Proof::late) {
    last_ = stampOf(window.data());
  }
  const Bytes rest = window.subspan(recordSize);
  front_ = judge(rest, atEnd);
  if (front_ != Proof::none || (rest.empty() && atEnd)) {
    return {true, 0, false};
  }
  // There is damage after this record, or inside it: if bytes were lost, the next record begins before this one's end.
  // Or there is no damage: the next record is where it should be, but its number is far away.
  const Found found = search(window, 1, atEnd);
  insideDamage_ = !found.isRecord;
  front_ = found.isRecord ? Proof::run : Proof::none;
  if (found.isRecord && found.at < recordSize) {
    last_ = before;
    return {false, found.at, false};
  }
  return {true, std::max(found.at, recordSize) - recordSize, !found.isRecord && !atEnd};
}

} // namespace vel::sources
