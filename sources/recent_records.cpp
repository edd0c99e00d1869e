// Two generations: when the recent one is full it becomes the older one, which is forgotten as a whole.
#include "sources/recent_records.h"

#include <cstring>
#include <utility>

namespace vel::sources {

namespace {

std::uint64_t hashOf(const unsigned char* record) {
  constexpr std::uint64_t odd = 0x9E3779B97F4A7C15; // spreads over the high bits
  std::uint64_t hash = 0;
  for (std::size_t at = 0; at < recordSize; at += sizeof(std::uint64_t)) {
    std::uint64_t word;
    std::memcpy(&word, record + at, sizeof word);
    hash = (hash ^ word) * odd;
    hash ^= hash >> 32;
  }
  return hash;
}

} // namespace

std::size_t RecentRecords::Generation::find(std::uint64_t hash, const unsigned char* record) const {
  std::size_t place = hash % places;
  while (table_[place] != none && std::memcmp(records_[table_[place]].data(), record, recordSize) != 0) {
    place = (place + 1) % places;
  }
  return place;
}

bool RecentRecords::Generation::holds(std::uint64_t hash, const unsigned char* record) const {
  return table_[find(hash, record)] != none;
}

void RecentRecords::Generation::add(std::uint64_t hash, const unsigned char* record) {
  table_[find(hash, record)] = static_cast<std::uint16_t>(records_.size());
  std::memcpy(records_.emplace_back().data(), record, recordSize);
}

void RecentRecords::Generation::clear() {
  records_.clear();
  table_.assign(places, none);
}

bool RecentRecords::add(const unsigned char* record) {
  const std::uint64_t hash = hashOf(record);
  if (recent_.holds(hash, record)) {
    return false;
  }
  if (recent_.isFull()) {
    std::swap(recent_, older_);
    recent_.clear();
  }
  // Also one of the older generation, so that it is remembered anew.
  recent_.add(hash, record);
  return !older_.holds(hash, record);
}

} // namespace vel::sources
