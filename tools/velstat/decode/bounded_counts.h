// Counts by key in bounded memory, for any number of keys. [one thread at a time]
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace vel::stat {

// Counts the first `capacity` keys separately; all further keys share one count.
class BoundedCounts {
public:
  static constexpr std::size_t capacity = 4096;

  BoundedCounts() : slots_(slotCount, Slot{0, 0}) {}

  void add(std::uint32_t key) noexcept;

  std::vector<std::pair<std::uint32_t, std::uint64_t>> inOrder() const; // by key
  std::uint64_t rest() const noexcept { return rest_; }

private:
  static constexpr std::size_t slotCount = capacity * 2; // never full, so every search ends

  struct Slot {
    std::uint32_t key;
    std::uint64_t count; // 0: free
  };

  std::vector<Slot> slots_;
  std::size_t used_ = 0;
  std::uint64_t rest_ = 0;
};

} // namespace vel::stat
