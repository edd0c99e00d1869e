// A hash table with open addressing that never grows.
#include "velstat/decode/bounded_counts.h"

#include <algorithm>

namespace vel::stat {

void BoundedCounts::add(std::uint32_t key) noexcept {
  std::size_t place = (key * std::uint32_t{0x9E3779B1} >> 16) % slotCount;
  while (slots_[place].count != 0 && slots_[place].key != key) {
    place = (place + 1) % slotCount;
  }
  Slot& slot = slots_[place];
  if (slot.count == 0) {
    if (used_ == capacity) {
      ++rest_;
      return;
    }
    ++used_;
    slot.key = key;
  }
  ++slot.count;
}

std::vector<std::pair<std::uint32_t, std::uint64_t>> BoundedCounts::inOrder() const {
  std::vector<std::pair<std::uint32_t, std::uint64_t>> result;
  for (const Slot& slot : slots_) {
    if (slot.count != 0) {
      result.emplace_back(slot.key, slot.count);
    }
  }
  std::sort(result.begin(), result.end());
  return result;
}

} // namespace vel::stat
