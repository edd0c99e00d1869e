// Reads the records, and chooses blocks of them for the page.
#include "velstat/report/page_records.h"

#include <profile/record_view.h>
#include <profile/wall_time.h>
#include <sources/record.h>

#include <algorithm>
#include <ctime>
#include <memory>
#include <set>

namespace vel::stat {

namespace {

using sources::Details;
using sources::Location;
using sources::recordSize;

constexpr std::size_t readAtOnce = 4096; // records
constexpr std::uint64_t blockSize = 64;  // records that are taken together
constexpr std::uint64_t around = 4;      // blocks before and after a record
constexpr std::uint64_t atEnds = 16;     // blocks at the beginning and at the end

// Calls take(number of the first, bytes, count, details) for all records.
template <class Take>
void readAll(sources::Sources& sources, bool withDetails, const Take& take) {
  const auto stream = sources.records();
  std::vector<unsigned char> room(readAtOnce * recordSize);
  std::vector<Details> details(withDetails ? readAtOnce : 0);
  std::uint64_t number = 1;
  while (const std::size_t count = stream->read(room, details)) {
    take(number, room.data(), count, details);
    number += count;
  }
}

// The chosen blocks, by their places; at most `most` of them.
class Blocks {
public:
  Blocks(std::uint64_t records, std::uint64_t most) : last_((records - 1) / blockSize), most_(most) {}

  void add(std::uint64_t block) {
    if (block <= last_ && chosen_.size() < most_) {
      chosen_.insert(block);
    }
  }
  void addAround(std::uint64_t number) {
    const std::uint64_t block = blockOf(number);
    add(block);
    for (std::uint64_t i = 1; i <= around; ++i) {
      add(block + i);
      if (i <= block) {
        add(block - i);
      }
    }
  }
  void addSpan(std::uint64_t first, std::uint64_t last) {
    for (std::uint64_t block = blockOf(first); block <= blockOf(last) && chosen_.size() < most_; ++block) {
      add(block);
    }
  }
  void addEnds() {
    for (std::uint64_t i = 0; i < atEnds; ++i) {
      add(i);
      if (i <= last_) {
        add(last_ - i);
      }
    }
  }
  void addEvenly() {
    const std::uint64_t left = most_ - chosen_.size();
    for (std::uint64_t i = 0; i < left; ++i) {
      add(i * (last_ + 1) / left);
    }
  }
  const std::set<std::uint64_t>& chosen() const { return chosen_; }

  static std::uint64_t blockOf(std::uint64_t number) { return (number - 1) / blockSize; }

private:
  const std::uint64_t last_;
  const std::uint64_t most_;
  std::set<std::uint64_t> chosen_;
};

void append(PageRecords& records, std::uint64_t number, const unsigned char* bytes, std::size_t count) {
  if (records.parts.empty() || records.parts.back().first + records.parts.back().second != number) {
    records.parts.emplace_back(number, 0);
  }
  records.parts.back().second += count;
  records.bytes.insert(records.bytes.end(), bytes, bytes + count * recordSize);
}

} // namespace

PageRecords countRecords(sources::Sources& sources, std::size_t most) {
  PageRecords records;
  readAll(sources, false, [&](std::uint64_t number, const unsigned char* bytes, std::size_t count, const auto&) {
    records.count += count;
    for (std::size_t i = 0; i < count; ++i) {
      ++records.categories[profile::category(bytes + i * recordSize)];
    }
    if (records.count <= most) {
      append(records, number, bytes, count);
    }
  });
  if (records.count > most) {
    records.parts.clear();
    records.bytes = {};
  }
  return records;
}

std::vector<std::optional<std::uint64_t>> numbersOf(sources::Sources& sources,
                                                    std::span<const std::optional<Location>> locations) {
  std::vector<std::optional<std::uint64_t>> numbers(locations.size());
  if (std::none_of(locations.begin(), locations.end(), [](const auto& location) { return location.has_value(); })) {
    return numbers;
  }
  readAll(sources, true, [&](std::uint64_t number, const unsigned char*, std::size_t count, const auto& details) {
    for (std::size_t i = 0; i < count; ++i) {
      for (std::size_t j = 0; j < locations.size(); ++j) {
        if (locations[j] == details[i].location) {
          numbers[j] = number + i;
        }
      }
    }
  });
  return numbers;
}

void sampleRecords(PageRecords& records, sources::Sources& sources, std::span<const std::uint64_t> wanted,
                   std::span<const std::pair<std::uint64_t, std::uint64_t>> spans, std::size_t most) {
  Blocks blocks(records.count, most / blockSize);
  for (const std::uint64_t number : wanted) {
    blocks.addAround(number);
  }
  blocks.addEnds();
  for (const auto& [first, last] : spans) {
    blocks.addSpan(first, last);
  }
  blocks.addEvenly();
  readAll(sources, false, [&](std::uint64_t number, const unsigned char* bytes, std::size_t count, const auto&) {
    // The chosen blocks that overlap these records.
    auto block = blocks.chosen().lower_bound(Blocks::blockOf(number));
    for (; block != blocks.chosen().end() && *block * blockSize + 1 < number + count; ++block) {
      const std::uint64_t first = std::max(number, *block * blockSize + 1);
      const std::uint64_t end = std::min(number + count, (*block + 1) * blockSize + 1);
      append(records, first, bytes + (first - number) * recordSize, end - first);
    }
  });
}

std::vector<std::pair<std::size_t, long>> timeZones(const PageRecords& records, const profile::TimePolicy& times) {
  std::vector<std::pair<std::size_t, long>> zones;
  if (!times.sync) {
    return zones;
  }
  for (std::size_t i = 0; i * recordSize < records.bytes.size(); ++i) {
    const std::uint64_t timestamp = profile::timestamp(records.bytes.data() + i * recordSize);
    const auto second = static_cast<std::time_t>(profile::wall_microseconds(timestamp, *times.sync) / 1'000'000);
    std::tm local{};
    localtime_r(&second, &local);
    if (zones.empty() || zones.back().second != local.tm_gmtoff) {
      zones.emplace_back(i, local.tm_gmtoff);
    }
  }
  return zones;
}

} // namespace vel::stat
