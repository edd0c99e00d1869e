// Two generations: when the recent one is full, it replaces the older one.
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

constexpr std::uint32_t highHalf = 0xffff0000;
static_assert(RecentRecords::reach <= 0xffff);

std::uint32_t markOf(std::uint64_t hash) {
  return static_cast<std::uint32_t>(hash >> 32) & highHalf;
}

} // namespace

std::size_t RecentRecords::Generation::find(std::uint64_t hash, const unsigned char* record) const {
  const std::uint32_t mark = markOf(hash);
  std::size_t place = hash % places;
  while (table_[place] != none) {
    const std::uint32_t entry = table_[place];
    if ((entry & highHalf) == mark && std::memcmp(records_[entry & ~highHalf].data(), record, recordSize) == 0) {
      break;
    }
    place = (place + 1) % places;
  }
  return place;
}

bool RecentRecords::Generation::holds(std::uint64_t hash, const unsigned char* record) const {
  return table_[find(hash, record)] != none;
}

void RecentRecords::Generation::add(std::uint64_t hash, const unsigned char* record) {
  table_[find(hash, record)] = markOf(hash) | static_cast<std::uint32_t>(records_.size());
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
  // A record of the older generation is added too, so that it stays remembered.
  recent_.add(hash, record);
  return !older_.holds(hash, record);
}

} // namespace vel::sources
