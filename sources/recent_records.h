// Detects records that repeat a recent one, in constant memory. [one thread at a time]
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

  // Remembers the record. Returns false if it was remembered already.
  bool add(const unsigned char* record);

private:
  // A hash table of records; at least half of its slots stay free.
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
    // The low half is the index of a record. The high half holds bits of its hash, which rule out most other records.
    std::vector<std::uint32_t> table_ = std::vector<std::uint32_t>(places, none);
  };

  Generation recent_;
  Generation older_;
};

} // namespace vel::sources
