// The records that came last, in constant memory: which of them have come before. [one thread at a time]
#pragma once

#include <sources/record.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vel::sources {

// Remembers at least the last `reach` different records, and at most twice as many.
class RecentRecords {
public:
  static constexpr std::size_t reach = 4096;

  // False if the record is among those that are remembered; it is from now on.
  bool add(const unsigned char* record);

private:
  // Records by their hash; half of the places stay free.
  class Generation {
  public:
    bool holds(std::uint64_t hash, const unsigned char* record) const;
    void add(std::uint64_t hash, const unsigned char* record);
    bool isFull() const { return records_.size() == reach; }
    void clear();

  private:
    static constexpr std::size_t places = reach * 2;
    static constexpr std::uint32_t none = 0xffffffff;

    std::size_t find(std::uint64_t hash, const unsigned char* record) const;

    std::vector<std::array<unsigned char, recordSize>> records_;
    // The place of a record in its low half, bits of its hash in the other: most records that differ are not looked at.
    std::vector<std::uint32_t> table_ = std::vector<std::uint32_t>(places, none);
  };

  Generation recent_;
  Generation older_;
};

} // namespace vel::sources
